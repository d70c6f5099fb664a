// The IPv6 route notice.
//
//   16 bytes: u8 client id, 1 reserved, u16 third value, 4 reserved, u32 first value, u32 second value
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace sim {

struct ipv6_notice {
    std::uint8_t client_id = 0;
    std::uint32_t first = 0;
    std::uint32_t second = 0;
    std::uint16_t third = 0;
};

// Throws refusal.
ipv6_notice decode_ipv6_notice(std::span<const std::byte> message);

} // namespace sim
