#include "sim/switch/ltl_outcome.h"

#include "sim/base/if_name.h"

#include <fmt/format.h>

namespace sim {

namespace {

std::string culprit_text(const ltl_outcome &outcome) {
    switch (outcome.status) {
    case NERB_SIM_INTERFACE_PRESENT:
    case NERB_SIM_INTERFACE_ABSENT:
    case NERB_SIM_INTERFACE_TWICE:
        return ": " + if_name(outcome.culprit);
    case NERB_SIM_TAG_MISMATCH:
    case NERB_SIM_NO_VLAN_ID:
    case NERB_SIM_NO_OPERATION:
        return fmt::format(": {}", outcome.culprit);
    case NERB_SIM_DONE:
    case NERB_SIM_REFUSED_BY_FAULT_MODE:
    case NERB_SIM_NO_SUCH_LTL:
    case NERB_SIM_POOL_EXHAUSTED:
        break;
    }
    return {};
}

} // namespace

std::string outcome_text(const ltl_outcome &outcome) {
    return fmt::format("status {}: {}{}", std::uint32_t{outcome.status},
                       nerb_status_name(outcome.status), culprit_text(outcome));
}

} // namespace sim
