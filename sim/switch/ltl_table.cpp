#include "ltl_table.h"

#include <algorithm>
#include <vector>

namespace desk {

namespace {

bool has_duplicates(std::vector<std::uint32_t> interfaces) {
    std::ranges::sort(interfaces);
    return std::ranges::adjacent_find(interfaces) != interfaces.end();
}

std::set<std::uint32_t> set_of(const std::vector<std::uint32_t> &interfaces) {
    return {interfaces.begin(), interfaces.end()};
}

} // namespace

nerb_status ltl_table::allocate(const ltl_entry &entry, const sender_name &from, std::uint32_t size,
                                std::uint32_t &index) {
    const auto [vlan, tag] = entry.keys;
    if (!is_vlan_id(vlan)) {
        return nerb_status::no_vlan_id;
    }
    if (has_duplicates(entry.interfaces)) {
        return nerb_status::interface_twice;
    }
    if (ltls_.size() >= size) {
        return nerb_status::pool_exhausted;
    }
    index = take_free_index();
    ltls_[index] = {static_cast<std::uint16_t>(vlan), tag, from, set_of(entry.interfaces)};
    return nerb_status::done;
}

nerb_status ltl_table::modify(const ltl_entry &entry, const sender_name &from) {
    if (const nerb_status status = check(entry.keys); status != nerb_status::done) {
        return status;
    }
    if (has_duplicates(entry.interfaces)) {
        return nerb_status::interface_twice;
    }
    ltl &changed = ltls_.at(entry.keys.first);
    changed.from = from;
    changed.interfaces = set_of(entry.interfaces);
    return nerb_status::done;
}

nerb_status ltl_table::release(const ltl_keys &keys) {
    const nerb_status status = check(keys);
    if (status == nerb_status::done) {
        ltls_.erase(keys.first);
        released_.insert(keys.first);
    }
    return status;
}

std::size_t ltl_table::interface_count(std::uint32_t index) const {
    const auto found = ltls_.find(index);
    return found == ltls_.end() ? 0 : found->second.interfaces.size();
}

// Whether there is an LTL of this index that was allocated with this tag.
nerb_status ltl_table::check(const ltl_keys &keys) const {
    const auto found = ltls_.find(keys.first);
    if (found == ltls_.end()) {
        return nerb_status::no_such_ltl;
    }
    return found->second.tag == keys.second ? nerb_status::done : nerb_status::tag_mismatch;
}

std::uint32_t ltl_table::take_free_index() {
    if (released_.empty()) {
        return unused_++;
    }
    return released_.extract(released_.begin()).value();
}

} // namespace desk
