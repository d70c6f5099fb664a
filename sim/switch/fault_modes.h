// The ways in which the switch misbehaves when asked to, for people who test their clients.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>

namespace desk {

enum class ack_mode { once, late, twice, never };

struct fault_modes {
    bool reject_registration = false;
    ack_mode ack = ack_mode::once;
    std::chrono::milliseconds ack_delay{0}; // for ack_mode::late
    std::optional<std::uint8_t> ack_id{};   // instead of the smallest free one; 0 is allowed
    std::chrono::milliseconds slow{0};      // pause before each request of a client
    std::uint64_t die_after = 0;            // handled requests; 0 is never
};

} // namespace desk
