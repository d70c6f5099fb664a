#include "sim/base/if_name.h"

#include <algorithm>
#include <cstdio>
#include <fmt/format.h>
#include <iterator>

namespace sim {

namespace {

constexpr unsigned type_shift = 26;
constexpr std::uint32_t number_bits = (1u << type_shift) - 1;

struct if_kind {
    std::uint8_t type;
    std::string_view prefix; // of its names
    std::uint32_t least;     // bits 25..0
    std::uint32_t most;
};

constexpr if_kind if_kinds[] = {
    {if_type_ethernet, "Eth", 0, 0xffffff},
    {if_type_port_channel, "Po", 0, 0xffff},
    {if_type_svi, "Vlan", 1, 4094},
    {if_type_kernel, "if", 1, 0x3ffffff},
};

const if_kind *find_kind(std::uint32_t if_index) {
    const std::uint32_t number = if_index & number_bits;
    const auto found = std::ranges::find(if_kinds, if_index >> type_shift, &if_kind::type);
    return found != std::end(if_kinds) && number >= found->least && number <= found->most ? found
                                                                                          : nullptr;
}

} // namespace

std::optional<std::uint8_t> if_type(std::uint32_t if_index) {
    const if_kind *kind = find_kind(if_index);
    return kind == nullptr ? std::nullopt : std::optional(kind->type);
}

std::optional<ethernet_port> ethernet_port_of(std::uint32_t if_index) {
    if (if_type(if_index) != if_type_ethernet) {
        return std::nullopt;
    }
    return ethernet_port{static_cast<std::uint8_t>(if_index >> 16),
                         static_cast<std::uint8_t>(if_index >> 8),
                         static_cast<std::uint8_t>(if_index)};
}

std::string if_name(std::uint32_t if_index) {
    const if_kind *kind = find_kind(if_index);
    if (kind == nullptr) {
        return fmt::format("{:#010x}", if_index);
    }
    const std::optional<ethernet_port> port = ethernet_port_of(if_index);
    if (!port) {
        return fmt::format("{}{}", kind->prefix, if_index & number_bits);
    }
    const std::string name = fmt::format("{}{}/{}", kind->prefix, port->slot, port->port);
    return port->lane == 0 ? name : fmt::format("{}/{}", name, port->lane);
}

std::optional<std::uint32_t> parse_if_name(std::string_view name) {
    const auto kind = std::ranges::find_if(
        if_kinds, [name](const if_kind &one) { return name.starts_with(one.prefix); });
    if (kind == std::end(if_kinds)) {
        return std::nullopt;
    }
    std::uint32_t numbers[3] = {};
    const std::string digits(name.substr(kind->prefix.size()));
    std::sscanf(digits.c_str(), "%u/%u/%u", &numbers[0], &numbers[1], &numbers[2]);
    const std::uint32_t number = kind->type == if_type_ethernet
                                     ? numbers[0] << 16 | numbers[1] << 8 | numbers[2]
                                     : numbers[0];
    const std::uint32_t if_index = std::uint32_t{kind->type} << type_shift | number;
    return if_name(if_index) == name ? std::optional(if_index) : std::nullopt;
}

} // namespace sim
