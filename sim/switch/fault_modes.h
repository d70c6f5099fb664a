// The ways in which the switch misbehaves when asked to, for people who test their clients.
#pragma once

#include "sim/wire/protocol.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>

namespace sim {

enum class ack_mode { once, late, twice, never };

inline std::size_t copies(ack_mode mode) {
    return mode == ack_mode::never ? 0 : mode == ack_mode::twice ? 2 : 1;
}

struct fault_modes {
    bool reject_registration = false;
    ack_mode ack = ack_mode::once;
    std::chrono::milliseconds ack_delay{0};    // for ack_mode::late
    ack_mode answer = ack_mode::once;          // of statistics and clear requests
    std::chrono::milliseconds answer_delay{0}; // for ack_mode::late
    ack_mode ltl_answer = ack_mode::once;      // of requests to the LTL manager
    std::chrono::milliseconds ltl_answer_delay{0};
    std::set<std::uint16_t>
        ltl_refused_vlans{}; // flood updates and allocations for them are refused
    std::uint32_t ltl_pool = VELL_SIM_LTL_POOL_SIZE; // how many LTL indexes there are
    std::optional<std::uint8_t> ack_id{}; // instead of the smallest free one; 0 is allowed
    std::chrono::milliseconds slow{0};    // pause before each request of a client
    std::uint64_t die_after = 0;          // handled requests; 0 is never
};

} // namespace sim
