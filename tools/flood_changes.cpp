#include "flood_changes.h"

#include <algorithm>
#include <iterator>
#include <map>

namespace feed {

namespace {

std::vector<std::uint32_t> without(const std::vector<std::uint32_t> &indexes,
                                   const std::vector<std::uint32_t> &others) {
    std::vector<std::uint32_t> left;
    std::ranges::set_difference(indexes, others, std::back_inserter(left));
    return left;
}

} // namespace

std::vector<std::uint32_t> flood_change::added() const {
    return without(newer, older);
}

std::vector<std::uint32_t> flood_change::removed() const {
    return without(older, newer);
}

std::vector<flood_change> flood_changes(const std::vector<flood_set> &older,
                                        const std::vector<flood_set> &newer) {
    std::map<std::uint32_t, flood_change> by_vlan;
    for (const flood_set &set : older)
        by_vlan[set.key.vlan].older = set.interfaces;
    for (const flood_set &set : newer) {
        flood_change &change = by_vlan[set.key.vlan];
        change.newer = set.interfaces;
        change.vlan_interfaces = set.vlan_interfaces;
    }
    std::vector<flood_change> changes;
    for (auto &[vlan, change] : by_vlan) {
        change.vlan = vlan;
        changes.push_back(std::move(change));
    }
    return changes;
}

} // namespace feed
