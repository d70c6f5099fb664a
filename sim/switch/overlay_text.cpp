#include "sim/switch/overlay_text.h"

#include "sim/base/text.h"

#include <cstdint>
#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <vector>

namespace sim {

namespace {

using json = nlohmann::ordered_json;

// Bytes in lines of 32, indented.
std::string body_lines(const std::string &hex) {
    constexpr std::size_t line_digits = 64;
    std::string text;
    for (std::size_t at = 0; at < hex.size(); at += line_digits) {
        text += fmt::format("    {}\n", hex.substr(at, line_digits));
    }
    return text;
}

std::string route_lines(const json &route) {
    const auto body = route.at("body").get<std::string>();
    const auto client = route.at("client").get<unsigned>();
    const std::string sender = client == 0
                                   ? fmt::format("pid {}", route.at("pid").get<std::uint32_t>())
                                   : fmt::format("client {}", client);
    return fmt::format("Route update of type {}, {}, {}\n", route.at("type").get<unsigned>(),
                       counted(body.size() / 2, "byte"), sender) +
           body_lines(body);
}

} // namespace

std::string overlay_text(const json &table) {
    const json &overlay = table.at("overlay");
    std::vector<std::string> vlans;
    for (const json &vlan : overlay.at("vlans_disabled")) {
        vlans.push_back(fmt::format("{}", vlan.get<unsigned>()));
    }
    std::string text =
        fmt::format("Overlay feature: {}\n", overlay.at("feature").get<std::string>()) +
        wrapped("VLANs disabled: ", vlans.empty() ? std::vector<std::string>{"none"} : vlans);
    for (const json &route : overlay.at("routes")) {
        text += route_lines(route);
    }
    const auto all = overlay.at("route_updates").get<std::uint64_t>();
    const std::uint64_t shown = overlay.at("routes").size();
    return text + (shown == all ? "" : fmt::format("{} of ", shown)) +
           counted(all, "route update") + "\n";
}

} // namespace sim
