// The flood sets of the LTL manager: to which interfaces each VLAN is flooded, as the flood LTL
// updates have made them. The flood lists of layer-2 messages are in l2.h.
#pragma once

#include "sim/switch/ltl.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <set>

namespace sim {

struct flood_set {
    std::uint32_t line_card_mask = 0; // as sent with the last update
    sender_name from;                 // of the last update
    std::set<std::uint32_t> interfaces{};
};

class flood_table {
public:
    // Updates one VLAN whole or not at all. A VLAN stays in the table when its last interface
    // goes. `room` is how many more interfaces the switch may hold.
    ltl_outcome apply(const flood_update &update, const sender_name &from, std::size_t room);

    const std::map<std::uint16_t, flood_set> &all() const { return sets_; } // by VLAN

    // How many all VLANs have together.
    std::size_t interfaces() const { return interfaces_; }

private:
    std::map<std::uint16_t, flood_set> sets_;
    std::size_t interfaces_ = 0;
};

} // namespace sim
