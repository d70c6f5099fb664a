// From the flood sets that the LTL manager holds to those that it is to hold.
#pragma once

#include "flood_set.h"

#include <cstdint>
#include <vector>

namespace feed {

// One VLAN. What is in both lists stays.
struct flood_change {
    std::uint32_t vlan = 0;
    std::vector<std::uint32_t> older; // sorted, as the set's interfaces
    std::vector<std::uint32_t> newer;
    std::vector<std::uint32_t> vlan_interfaces; // of the newer list, to be passed over

    std::vector<std::uint32_t> added() const;
    std::vector<std::uint32_t> removed() const;
};

// One for each VLAN of either, also for one that stays as it is, in their order.
std::vector<flood_change> flood_changes(const std::vector<flood_set> &older,
                                        const std::vector<flood_set> &newer);

} // namespace feed
