#include "switch_port.h"

#include "sim/base/if_name.h"

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
    return sim::parse_if_name(name);
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
    return sim::if_name(if_index);
}

std::string switch_names(const std::vector<std::uint32_t> &if_indexes) {
    std::string names;
    for (const std::uint32_t if_index : if_indexes)
        names += (names.empty() ? "" : " ") + switch_name(if_index);
    return names.empty() ? "none" : names;
}

bool is_vlan_interface(std::uint32_t if_index) {
    return sim::if_type(if_index) == sim::if_type_svi;
}

std::uint32_t line_card_bit(std::uint32_t if_index) {
    const auto port = sim::ethernet_port_of(if_index);
    if (!port)
        return 0;
    // The mask has 32 bits; line cards above 31 share those.
    return std::uint32_t{1} << port->slot % 32;
}

} // namespace feed
