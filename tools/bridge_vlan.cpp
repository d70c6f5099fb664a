#include "bridge_vlan.h"

#include "input_error.h"
#include "printable.h"
#include "vlan.h"

#include <CLI/CLI.hpp>
#include <charconv>
#include <fmt/format.h>
#include <string_view>
#include <utility>

namespace feed {

namespace {

// 0 when the text is no VLAN id.
std::uint32_t parse_id(std::string_view text) {
    std::uint32_t vlan = 0;
    const char *end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, vlan);
    return result.ec == std::errc() && result.ptr == end && vlan <= largest_vlan ? vlan : 0;
}

std::pair<std::string, std::uint32_t> parse_vlan(const std::string &text) {
    const std::size_t equals = text.rfind('=');
    if (equals != 0 && equals != std::string::npos) {
        if (const std::uint32_t vlan = parse_id(std::string_view(text).substr(equals + 1));
            vlan != 0)
            return {text.substr(0, equals), vlan};
    }
    throw usage_error(fmt::format("--vlan {}: expected BRIDGE=N with a VLAN id N from 1 to {}",
                                  printable(text), largest_vlan));
}

} // namespace

std::uint32_t vlan_of_bridge(const std::string &bridge, const bridge_vlans &vlans) {
    const auto named = vlans.find(bridge);
    if (named != vlans.end())
        return named->second;
    return bridge.starts_with("br") && !bridge.starts_with("br0")
               ? parse_id(std::string_view(bridge).substr(2))
               : 0;
}

std::string vlan_remedy(const std::string &bridge) {
    return fmt::format(
        "name the VLAN with --vlan {}=N, or take other bridges alone with --bridge NAME",
        printable(bridge));
}

void add_vlan_option(CLI::App &command, std::vector<std::string> &texts, const std::string &which) {
    command.add_option("--vlan", texts, "VLAN of a bridge " + which)
        ->option_text("BRIDGE=N")
        ->allow_extra_args(false);
}

bridge_vlans parse_vlans(const std::vector<std::string> &texts) {
    bridge_vlans vlans;
    for (const std::string &text : texts) {
        if (!vlans.insert(parse_vlan(text)).second)
            throw usage_error(
                fmt::format("--vlan {}: the bridge has a VLAN already", printable(text)));
    }
    return vlans;
}

void add_bridge_option(CLI::App &command, std::vector<std::string> &bridges,
                       const std::string &what) {
    command
        .add_option("--bridge", bridges,
                    "Take this bridge's " + what + " only; may be given several times")
        ->option_text("NAME")
        ->allow_extra_args(false);
}

void check_named_bridges(const std::vector<std::string> &bridges,
                         const std::vector<std::string> &vlans,
                         const std::function<bool(const std::string &bridge)> &is_known,
                         const std::string &why) {
    const auto check = [&](const char *option, const std::string &bridge) {
        if (!is_known(bridge))
            throw input_error(fmt::format("{} {}: {}", option, in_quotes(bridge), why));
    };
    for (const std::string &bridge : bridges)
        check("--bridge", bridge);
    for (const auto &[bridge, vlan] : parse_vlans(vlans))
        check("--vlan", bridge);
}

} // namespace feed
