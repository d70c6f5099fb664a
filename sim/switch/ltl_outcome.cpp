#include "sim/switch/ltl_outcome.h"

#include "sim/base/if_name.h"

#include <fmt/format.h>

namespace sim {

namespace {

std::string culprit_text(const ltl_outcome &outcome) {
    switch (outcome.status) {
    case nerb_status::interface_present:
    case nerb_status::interface_absent:
    case nerb_status::interface_twice:
        return ": " + if_name(outcome.culprit);
    case nerb_status::tag_mismatch:
    case nerb_status::no_vlan_id:
    case nerb_status::no_operation:
        return fmt::format(": {}", outcome.culprit);
    case nerb_status::done:
    case nerb_status::refused_by_fault_mode:
    case nerb_status::no_such_ltl:
    case nerb_status::pool_exhausted:
        break;
    }
    return {};
}

} // namespace

std::string outcome_text(const ltl_outcome &outcome) {
    return fmt::format("status {}: {}{}", static_cast<std::uint32_t>(outcome.status),
                       nerb_status_name(outcome.status), culprit_text(outcome));
}

} // namespace sim
