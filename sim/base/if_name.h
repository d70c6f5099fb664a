// Interface indexes as the simulator makes them, and their names. qarnutils_sim.h describes both.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace sim {

// The types, in bits 31..26 of an index.
inline constexpr std::uint8_t if_type_kernel = 1;
inline constexpr std::uint8_t if_type_svi = 5;
inline constexpr std::uint8_t if_type_port_channel = 6;
inline constexpr std::uint8_t if_type_ethernet = 26;

// Empty for an index that has no type, and so no name.
std::optional<std::uint8_t> if_type(std::uint32_t if_index);

struct ethernet_port {
    std::uint8_t slot;
    std::uint8_t port;
    std::uint8_t lane; // 0: the undivided port
};

// Empty for an index of another type, or of none.
std::optional<ethernet_port> ethernet_port_of(std::uint32_t if_index);

// "Eth3/7"; for an index without a name, its value in hexadecimal: "0x00000007".
std::string if_name(std::uint32_t if_index);

// A name is written in one way only, so that no interface has two: no leading zeros, no other case.
std::optional<std::uint32_t> parse_if_name(std::string_view name);

} // namespace sim
