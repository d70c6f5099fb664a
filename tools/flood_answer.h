// What the LTL manager answers to a flood update.
#pragma once

#include "flood_changes.h"
#include "transport_queue.h"

#include <cstdint>
#include <vector>

namespace feed {

struct flood_answer {
    bool all_done = false;               // as the manager says of the whole
    std::vector<bool> acknowledged;      // of each VLAN, in their order
    std::vector<std::uint32_t> statuses; // the same; why one was refused
};

// Has the library read the answer to an update of these VLANs. Throws session_error when it is
// anything else.
flood_answer read_flood_answer(const received_message &message,
                               const std::vector<flood_change> &changes);

} // namespace feed
