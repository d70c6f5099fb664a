// IPv4 addresses as numbers in host byte order: 10.0.0.9 is 0x0a000009.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace feed {

// Four decimal numbers with dots between, and nothing else.
std::optional<std::uint32_t> parse_ipv4(const std::string &text);

std::string ipv4_text(std::uint32_t address);

inline bool is_multicast(std::uint32_t address) {
    return address >> 28 == 0xe;
}

// 224.0.0.0/24 is never forwarded off its link.
inline bool is_link_local_group(std::uint32_t address) {
    return address >> 8 == 0xe00000;
}

} // namespace feed
