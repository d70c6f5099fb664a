// Names of interfaces, to and from their indexes.
#include "sim/qarnutils/if_layout.h"

#include <charconv>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string_view>

namespace sim {

namespace {

// Takes a number off the front of the text. It is written in one way only, so that no interface has
// two names.
template <class Number>
bool take_number(std::string_view &text, Number &number) {
    const char *end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    const auto length = static_cast<std::size_t>(stop - text.data());
    if (error != std::errc() || (text.front() == '0' && length > 1))
        return false;
    text.remove_prefix(length);
    return true;
}

bool take_slash(std::string_view &text) {
    const bool there = text.starts_with('/');
    text.remove_prefix(there ? 1 : 0);
    return there;
}

// "3/7" or "3/7/2".
bool take_eth_number(std::string_view &text, std::uint32_t &number) {
    eth_fields fields{};
    if (!take_number(text, fields.slot) || !take_slash(text) || !take_number(text, fields.port))
        return false;
    if (!text.empty() && (!take_slash(text) || !take_number(text, fields.lane) || fields.lane == 0))
        return false;
    number = to_number(fields);
    return true;
}

// Nothing when it is no interface's.
std::optional<if_parts> parse_name(std::string_view name) {
    for (const if_kind &kind : if_kinds) {
        if (!name.starts_with(kind.prefix))
            continue;
        name.remove_prefix(std::strlen(kind.prefix));
        if_parts parts{kind.type, 0};
        const bool taken = kind.type == IF_INDEX_TYPE_PHY_ETH ? take_eth_number(name, parts.number)
                                                              : take_number(name, parts.number);
        return taken && name.empty() && find_kind(parts) != nullptr ? std::optional(parts)
                                                                    : std::nullopt;
    }
    return std::nullopt;
}

struct name_text {
    char text[QARNUTILS_SIM_NAME_SIZE];
};

name_text name_of(const if_kind &kind, std::uint32_t number) {
    name_text name;
    const eth_fields eth = to_eth_fields(number);
    if (kind.type != IF_INDEX_TYPE_PHY_ETH)
        std::snprintf(name.text, sizeof name.text, "%s%u", kind.prefix, number);
    else if (eth.lane == 0)
        std::snprintf(name.text, sizeof name.text, "%s%u/%u", kind.prefix, eth.slot, eth.port);
    else
        std::snprintf(name.text, sizeof name.text, "%s%u/%u/%u", kind.prefix, eth.slot, eth.port,
                      eth.lane);
    return name;
}

} // namespace

} // namespace sim

int qarnutils_sim_if_index(const char *name, uint32_t *if_index) {
    const auto parts = name == nullptr ? std::nullopt : sim::parse_name(name);
    if (!parts || if_index == nullptr)
        return -1;
    *if_index = sim::to_if_index(*parts);
    return 0;
}

int qarnutils_sim_if_name(uint32_t if_index, char *name, size_t size) {
    const sim::if_parts parts = sim::take_apart(if_index);
    const sim::if_kind *kind = sim::find_kind(parts);
    if (kind == nullptr || name == nullptr)
        return -1;
    const sim::name_text made = sim::name_of(*kind, parts.number);
    const std::size_t needed = std::strlen(made.text) + 1;
    if (needed > size)
        return -1;
    std::memcpy(name, made.text, needed);
    return 0;
}
