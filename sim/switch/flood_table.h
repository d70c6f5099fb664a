// The flood sets: to which interfaces each VLAN is flooded, as the flood LTL updates have made
// them.
#pragma once

#include "sim/switch/l2_tables.h"
#include "sim/switch/ltl_decode.h"
#include "sim/switch/ltl_outcome.h"

#include <cstdint>
#include <map>
#include <set>

namespace sim {

struct flood_set {
    std::uint32_t line_card_mask = 0; // as sent with the last update
    sender_name from;                 // of the last update
    std::set<std::uint32_t> interfaces{};
};

using flood_table = std::map<std::uint16_t, flood_set>; // by VLAN

// Updates one VLAN whole or not at all. A VLAN stays in the table when its last interface goes.
ltl_outcome apply_flood_update(flood_table &table, const flood_update &update,
                               const sender_name &from);

} // namespace sim
