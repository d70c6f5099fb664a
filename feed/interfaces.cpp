#include "feed/interfaces.h"

#include "feed/failure.h"
#include "sim/base/if_name.h"

#include <algorithm>
#include <fmt/format.h>
#include <stdexcept>

namespace feed {

namespace {

constexpr std::uint32_t kernel_type = std::uint32_t{sim::if_type_kernel} << 26;
constexpr std::uint32_t first_made = 0x2000000; // the upper half of the kernel type's numbers

// The two notations of a name, and what looks like one of them and so must be one: the prefix and
// digits, with a separator digits and the separator; in the switch's notation any slash.
struct name_pattern {
    std::string_view prefix;
    std::string_view switch_prefix; // of the same name in the switch; empty: it is the switch's own
    char separator;                 // 0: a name has one number
    std::string_view expected;
};

constexpr name_pattern patterns[] = {
    {"eth", "Eth", '-', "ethSLOT-PORT or ethSLOT-PORT-LANE, with numbers up to 255, lanes from 1"},
    {"Eth", "", '/', "EthSLOT/PORT or EthSLOT/PORT/LANE, with numbers up to 255, lanes from 1"},
    {"po", "Po", 0, "poN, with N up to 65535"},
    {"Po", "", 0, "PoN, with N up to 65535"},
    {"vlan", "Vlan", 0, "vlanN, with N from 1 to 4094"},
    {"Vlan", "", 0, "VlanN, with N from 1 to 4094"},
    {"if", "", 0, "ifN, with N from 1 to 67108863"},
};

const name_pattern *find_pattern(std::string_view name) {
    for (const name_pattern &pattern : patterns) {
        if (!name.starts_with(pattern.prefix)) {
            continue;
        }
        name.remove_prefix(pattern.prefix.size());
        const std::size_t digits = std::min(name.find_first_not_of("0123456789"), name.size());
        if (pattern.separator == '/') {
            return name.find('/') == name.npos ? nullptr : &pattern;
        }
        const bool is_near = pattern.separator == 0
                                 ? digits == name.size()
                                 : digits < name.size() && name[digits] == pattern.separator;
        return digits > 0 && is_near ? &pattern : nullptr;
    }
    return nullptr;
}

// FNV-1a, into the upper half.
std::uint32_t number_made_from(std::string_view name) {
    std::uint32_t hash = 2166136261;
    for (const char byte : name) {
        hash = (hash ^ static_cast<unsigned char>(byte)) * 16777619;
    }
    return kernel_type | first_made | (hash % first_made);
}

} // namespace

std::optional<std::uint32_t> index_in_name(std::string_view name) {
    const name_pattern *pattern = find_pattern(name);
    if (pattern == nullptr) {
        return std::nullopt;
    }
    if (pattern->switch_prefix.empty()) {
        return sim::parse_if_name(name);
    }
    std::string translated(pattern->switch_prefix);
    translated += name.substr(pattern->prefix.size());
    if (translated.find('/') != translated.npos) {
        return std::nullopt;
    }
    std::ranges::replace(translated, '-', '/');
    return sim::parse_if_name(translated);
}

std::uint32_t interfaces::number(const std::string &name) {
    if (const auto found = numbers_.find(name); found != numbers_.end()) {
        return found->second;
    }
    const auto known = known_.find(name);
    const name_pattern *pattern = find_pattern(name);
    std::optional<std::uint32_t> number = index_in_name(name);
    // A name like if17 is a place only when it is not the name of an interface that is there.
    const bool is_place =
        number && (sim::if_type(*number) != sim::if_type_kernel || known == known_.end());
    const bool is_made = !is_place && known == known_.end();
    if (!is_place && pattern != nullptr && (pattern->prefix != "if" || is_made)) {
        throw std::invalid_argument(
            fmt::format("the interface {} looks like a place in the switch "
                        "and is not one: expected {}, without leading zeros",
                        in_quotes(name), pattern->expected));
    }
    if (is_made) {
        number = number_made_from(name);
    } else if (!is_place) {
        if (known->second >= first_made) {
            throw std::invalid_argument(fmt::format(
                "the interface {} has the index {}; the switch numbers indexes up to {}",
                in_quotes(name), known->second, first_made - 1));
        }
        number = kernel_type | known->second;
    }
    const auto [other, is_new] = names_.emplace(*number, name);
    if (!is_new) {
        throw std::invalid_argument(
            fmt::format("the interfaces {} and {} are both {} in the switch",
                        in_quotes(other->second), in_quotes(name), sim::if_name(*number)));
    }
    if (is_made) {
        made_.emplace_back(name, *number);
    }
    return numbers_.emplace(name, *number).first->second;
}

std::uint32_t vlan_interface(std::uint16_t vlan) {
    return std::uint32_t{sim::if_type_svi} << 26 | vlan;
}

bool is_vlan_interface(std::uint32_t if_index) {
    return sim::if_type(if_index) == sim::if_type_svi;
}

std::uint32_t line_card_bit(std::uint32_t if_index) {
    const auto port = sim::ethernet_port_of(if_index);
    return port ? std::uint32_t{1} << port->slot % 32 : 0;
}

std::string interface_names(const std::vector<std::uint32_t> &if_indexes) {
    std::string names;
    for (const std::uint32_t if_index : if_indexes) {
        names += (names.empty() ? "" : " ") + sim::if_name(if_index);
    }
    return names.empty() ? "none" : names;
}

} // namespace feed
