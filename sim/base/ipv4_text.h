// IPv4 addresses as the simulator takes them, numbers in host byte order, and as people write them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace sim {

std::string ipv4_text(std::uint32_t address);

// Dotted decimal only: four numbers, no shorthand.
std::optional<std::uint32_t> parse_ipv4(const std::string &text);

} // namespace sim
