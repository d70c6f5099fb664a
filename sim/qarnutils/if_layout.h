// What an interface index is made of, for whoever takes one apart or makes one.
#pragma once

#include <qarnutils.h>
#include <qarnutils_sim.h>

#include <cstdint>

namespace sim {

inline constexpr unsigned if_type_shift = 26;

struct if_parts {
    std::uint8_t type;
    std::uint32_t number; // what bits 25..0 hold
};

constexpr std::uint32_t to_if_index(const if_parts &parts) {
    return std::uint32_t{parts.type} << if_type_shift | parts.number;
}

struct if_kind {
    std::uint8_t type;
    const char *prefix; // of its names
    std::uint32_t least;
    std::uint32_t most;
};

inline constexpr if_kind if_kinds[] = {
    {IF_INDEX_TYPE_PHY_ETH, "Eth", 0, 0xffffff},
    {QARNUTILS_SIM_TYPE_PORT_CHANNEL, "Po", 0, 0xffff},
    {QARNUTILS_SIM_TYPE_SVI, "Vlan", 1, 4094},
    {QARNUTILS_SIM_TYPE_KERNEL, "if", 1, 0x3ffffff},
};

// Null when the parts make no interface index.
constexpr const if_kind *find_kind(const if_parts &parts) {
    for (const if_kind &kind : if_kinds)
        if (kind.type == parts.type)
            return parts.number >= kind.least && parts.number <= kind.most ? &kind : nullptr;
    return nullptr;
}

// They may make no interface index.
constexpr if_parts take_apart(std::uint32_t if_index) {
    constexpr std::uint32_t number_bits = (1u << if_type_shift) - 1;
    return {static_cast<std::uint8_t>(if_index >> if_type_shift), if_index & number_bits};
}

// The number of a physical Ethernet port.
struct eth_fields {
    std::uint8_t slot;
    std::uint8_t port;
    std::uint8_t lane;
};

constexpr eth_fields to_eth_fields(std::uint32_t number) {
    return {static_cast<std::uint8_t>(number >> 16), static_cast<std::uint8_t>(number >> 8),
            static_cast<std::uint8_t>(number)};
}

constexpr std::uint32_t to_number(const eth_fields &fields) {
    return std::uint32_t{fields.slot} << 16 | std::uint32_t{fields.port} << 8 | fields.lane;
}

} // namespace sim
