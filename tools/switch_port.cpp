#include "switch_port.h"

#include <qarnutils.h>
#include <qarnutils_sim.h>

#include <algorithm>
#include <fmt/format.h>

namespace feed {

namespace {

struct name_pattern {
    const char *linux_prefix;
    const char *switch_prefix;
    char linux_separator; // where the switch has a slash; 0: there is none
};

constexpr name_pattern patterns[] = {{"eth", "Eth", '-'}, {"po", "Po", 0}, {"vlan", "Vlan", 0}};

// Empty when the Linux name is not of this pattern. What is left may still be no name: the switch's
// side knows.
std::string translated(const std::string &interface, const name_pattern &pattern) {
    const bool has_slash = interface.find('/') != std::string::npos;
    if (!interface.starts_with(pattern.linux_prefix) || has_slash)
        return {};
    std::string name =
        pattern.switch_prefix + interface.substr(std::string_view(pattern.linux_prefix).size());
    const auto separator = std::find(name.begin(), name.end(), pattern.linux_separator);
    if (separator != name.end())
        *separator = '/';
    return name;
}

} // namespace

std::optional<std::uint32_t> index_of_name(const std::string &name) {
    std::uint32_t index = 0;
    // What is behind a NUL would not be looked at.
    const bool whole = name.find('\0') == std::string::npos;
    return whole && qarnutils_sim_if_index(name.c_str(), &index) == 0 ? std::optional(index)
                                                                      : std::nullopt;
}

std::optional<std::uint32_t> index_in_link_name(const std::string &interface) {
    for (const name_pattern &pattern : patterns) {
        if (const auto index = index_of_name(translated(interface, pattern)))
            return index;
    }
    return std::nullopt;
}

std::optional<std::uint32_t> index_of_link(const std::string &interface,
                                           std::uint32_t kernel_index) {
    const auto index = index_in_link_name(interface);
    return index ? index : index_of_name(fmt::format("if{}", kernel_index));
}

std::uint32_t index_of_vlan(std::uint32_t vlan) {
    return index_of_name(fmt::format("Vlan{}", vlan)).value();
}

std::string switch_name(std::uint32_t if_index) {
    char name[QARNUTILS_SIM_NAME_SIZE];
    return qarnutils_sim_if_name(if_index, name, sizeof name) == 0
               ? name
               : fmt::format("{:#010x}", if_index);
}

std::string switch_names(const std::vector<std::uint32_t> &if_indexes) {
    std::string names;
    for (const std::uint32_t if_index : if_indexes)
        names += (names.empty() ? "" : " ") + switch_name(if_index);
    return names.empty() ? "none" : names;
}

bool is_vlan_interface(std::uint32_t if_index) {
    std::uint8_t type = 0;
    return if_index_get_type(if_index, &type) == 0 && type == QARNUTILS_SIM_TYPE_SVI;
}

std::uint32_t line_card_bit(std::uint32_t if_index) {
    std::uint8_t slot = 0;
    std::uint8_t port = 0;
    std::uint32_t lane = 0;
    if (if_index_phy_eth_get_fields(if_index, &slot, &port, &lane) != 0)
        return 0;
    // The mask has 32 bits; line cards behind them share those.
    return std::uint32_t{1} << slot % 32;
}

} // namespace feed
