// Which flood sets the ports of bridges are to become.
#pragma once

#include "bridge_ports.h"
#include "bridge_vlan.h"
#include "flood_set.h"

#include <cstddef>
#include <set>
#include <string>
#include <vector>

namespace feed {

struct flood_plan {
    std::vector<flood_set>
        sets; // one for each VLAN, in their order, also for one that is flooded to no port
    std::size_t other_bridges = 0; // ports of bridges that were left out
    std::set<std::string> bridges; // those that have ports, left out or not
};

// Throws input_error when a bridge's VLAN is not known, or when ports contradict each other.
flood_plan plan_flood(const port_table &table, const bridge_vlans &vlans);

} // namespace feed
