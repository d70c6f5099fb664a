#include "l2_changes.h"

#include <algorithm>
#include <iterator>
#include <map>

namespace feed {

namespace {

std::vector<l2_port> without(const std::vector<l2_port> &ports,
                             const std::vector<l2_port> &others) {
    std::vector<l2_port> left;
    std::set_difference(ports.begin(), ports.end(), others.begin(), others.end(),
                        std::back_inserter(left));
    return left;
}

// An entry is made with its bridge and its permanence, and nothing changes them later.
bool has_to_be_made_anew(const l2_entry &older, const l2_entry &newer) {
    return older.bridge != newer.bridge || older.permanent != newer.permanent;
}

class change_list {
public:
    void remove(const l2_entry &entry, std::vector<l2_port> ports) {
        removals_.push_back({l2_operation::remove, entry});
        removals_.back().entry.ports = std::move(ports);
    }

    void add(const l2_entry &entry, std::vector<l2_port> ports) {
        additions_.push_back({l2_operation::add, entry});
        additions_.back().entry.ports = std::move(ports);
    }

    void change(const l2_entry &older, const l2_entry &newer) {
        if (has_to_be_made_anew(older, newer)) {
            remove(older, older.ports);
            add(newer, newer.ports);
            return;
        }
        const std::vector<l2_port> gone = without(older.ports, newer.ports);
        const std::vector<l2_port> come = without(newer.ports, older.ports);
        if (!gone.empty())
            remove(older, gone);
        // The removal of its last port takes the entry with it, though it is to stay.
        const bool removed = !gone.empty() && newer.ports.empty();
        if (!come.empty() || removed)
            add(newer, come);
    }

    std::vector<l2_change> take() {
        std::ranges::sort(removals_, {}, [](const l2_change &change) { return change.entry.key; });
        std::move(additions_.begin(), additions_.end(), std::back_inserter(removals_));
        return std::move(removals_);
    }

private:
    std::vector<l2_change> removals_;
    std::vector<l2_change> additions_;
};

} // namespace

std::vector<l2_change> all_added(const std::vector<l2_entry> &entries) {
    change_list list;
    for (const l2_entry &entry : entries)
        list.add(entry, entry.ports);
    return list.take();
}

std::vector<l2_change> changes(const std::vector<l2_entry> &older,
                               const std::vector<l2_entry> &newer) {
    std::map<l2_key, const l2_entry *> left;
    for (const l2_entry &entry : older)
        left.emplace(entry.key, &entry);
    change_list list;
    for (const l2_entry &entry : newer) {
        const auto found = left.find(entry.key);
        if (found == left.end()) {
            list.add(entry, entry.ports);
            continue;
        }
        list.change(*found->second, entry);
        left.erase(found);
    }
    for (const auto &[key, entry] : left)
        list.remove(*entry, entry->ports);
    return list.take();
}

} // namespace feed
