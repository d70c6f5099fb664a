// How an entry of a request to the LTL manager ended, and what it was that made it end so.
#pragma once

#include "sim/wire/nerb_messages.h"

#include <cstdint>
#include <string>

namespace sim {

struct ltl_outcome {
    nerb_sim_status status = NERB_SIM_DONE;
    std::uint32_t culprit =
        0; // the interface, tag, operation or VLAN id that the status is about, if it is about one
};

// For the log: "status 6: a removed interface is absent: Vlan20".
std::string outcome_text(const ltl_outcome &outcome);

} // namespace sim
