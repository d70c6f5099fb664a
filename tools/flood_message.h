// The flood sets of a batch of VLANs, as they were and as they are, as the library takes them.
#pragma once

#include "flood_changes.h"

#include <cstdint>
#include <vector>

namespace feed {

// Two messages in host byte order, with a record for each VLAN in the same order.
struct flood_messages {
    std::vector<std::uint8_t> older;
    std::vector<std::uint8_t> newer;
    std::uint16_t vlans = 0;
};

flood_messages make_flood_messages(const std::vector<flood_change> &changes);

} // namespace feed
