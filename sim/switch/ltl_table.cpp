#include "sim/switch/ltl_table.h"

#include <algorithm>
#include <optional>
#include <vector>

namespace sim {

namespace {

std::optional<std::uint32_t> find_duplicate(std::vector<std::uint32_t> interfaces) {
    std::ranges::sort(interfaces);
    const auto found = std::ranges::adjacent_find(interfaces);
    return found == interfaces.end() ? std::nullopt : std::optional(*found);
}

std::set<std::uint32_t> set_of(const std::vector<std::uint32_t> &interfaces) {
    return {interfaces.begin(), interfaces.end()};
}

} // namespace

ltl_outcome ltl_table::allocate(const ltl_entry &entry, const sender_name &from, std::uint32_t size,
                                std::uint32_t &index) {
    const auto [vlan, tag] = entry.keys;
    if (!is_vlan_id(vlan)) {
        return {NERB_SIM_NO_VLAN_ID, vlan};
    }
    if (const auto twice = find_duplicate(entry.interfaces)) {
        return {NERB_SIM_INTERFACE_TWICE, *twice};
    }
    if (ltls_.size() >= size) {
        return {NERB_SIM_POOL_EXHAUSTED};
    }
    index = free_index();
    ltls_[index] = {static_cast<std::uint16_t>(vlan), tag, from, set_of(entry.interfaces)};
    released_.erase(index);
    unused_ = std::max(unused_, index + 1);
    return {};
}

ltl_outcome ltl_table::modify(const ltl_entry &entry, const sender_name &from) {
    if (const ltl_outcome checked = check(entry.keys); checked.status != NERB_SIM_DONE) {
        return checked;
    }
    if (const auto twice = find_duplicate(entry.interfaces)) {
        return {NERB_SIM_INTERFACE_TWICE, *twice};
    }
    ltl &changed = ltls_.at(entry.keys.first);
    changed.interfaces = set_of(entry.interfaces);
    changed.from = from;
    return {};
}

ltl_outcome ltl_table::release(const ltl_keys &keys) {
    const ltl_outcome checked = check(keys);
    if (checked.status == NERB_SIM_DONE) {
        released_.insert(keys.first);
        ltls_.erase(keys.first);
    }
    return checked;
}

std::size_t ltl_table::interface_count(std::uint32_t index) const {
    const auto found = ltls_.find(index);
    return found == ltls_.end() ? 0 : found->second.interfaces.size();
}

// Whether there is an LTL of this index that was allocated with this tag.
ltl_outcome ltl_table::check(const ltl_keys &keys) const {
    const auto found = ltls_.find(keys.first);
    if (found == ltls_.end()) {
        return {NERB_SIM_NO_SUCH_LTL};
    }
    if (found->second.tag != keys.second) {
        return {NERB_SIM_TAG_MISMATCH, keys.second};
    }
    return {};
}

// The smallest one. It stays free until an LTL has it.
std::uint32_t ltl_table::free_index() const {
    return released_.empty() ? unused_ : *released_.begin();
}

} // namespace sim
