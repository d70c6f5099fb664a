#include "sim/base/if_name.h"

#include <charconv>
#include <fmt/format.h>

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
    for (const if_kind &kind : if_kinds) {
        if (kind.type == if_index >> type_shift) {
            return number >= kind.least && number <= kind.most ? &kind : nullptr;
        }
    }
    return nullptr;
}

// Takes a number off the front of the text.
template <class Number>
bool take_number(std::string_view &text, Number &number) {
    const char *end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    const auto length = static_cast<std::size_t>(stop - text.data());
    if (error != std::errc() || (text.front() == '0' && length > 1)) {
        return false;
    }
    text.remove_prefix(length);
    return true;
}

bool take_slash(std::string_view &text) {
    const bool there = text.starts_with('/');
    text.remove_prefix(there ? 1 : 0);
    return there;
}

// "3/7" or "3/7/2".
bool take_port(std::string_view &text, std::uint32_t &number) {
    ethernet_port fields{};
    if (!take_number(text, fields.slot) || !take_slash(text) || !take_number(text, fields.port)) {
        return false;
    }
    if (!text.empty() &&
        (!take_slash(text) || !take_number(text, fields.lane) || fields.lane == 0)) {
        return false;
    }
    number = std::uint32_t{fields.slot} << 16 | std::uint32_t{fields.port} << 8 | fields.lane;
    return true;
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
    for (const if_kind &kind : if_kinds) {
        if (!name.starts_with(kind.prefix)) {
            continue;
        }
        name.remove_prefix(kind.prefix.size());
        std::uint32_t number = 0;
        const bool taken =
            kind.type == if_type_ethernet ? take_port(name, number) : take_number(name, number);
        return taken && name.empty() && number >= kind.least && number <= kind.most
                   ? std::optional(std::uint32_t{kind.type} << type_shift | number)
                   : std::nullopt;
    }
    return std::nullopt;
}

} // namespace sim
