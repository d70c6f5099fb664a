#include "sim/switch/show_overlay.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace sim {

namespace {

using json = nlohmann::ordered_json;

std::string hex(const std::vector<std::byte> &bytes) {
    std::string text;
    for (const std::byte byte : bytes) {
        text += fmt::format("{:02x}", std::to_integer<unsigned>(byte));
    }
    return text;
}

} // namespace

std::string show_overlay(const service &vell, const show_query &) {
    const overlay_state &overlay = vell.overlay;
    json routes = json::array();
    for (const overlay_route &route : overlay.routes) {
        json row;
        row["type"] = route.type;
        row["body"] = hex(route.body);
        row["client"] = route.client;
        row["pid"] = route.pid;
        routes.push_back(std::move(row));
    }
    json shown;
    shown["feature"] = overlay_feature_name(overlay.feature);
    shown["vlans_disabled"] = overlay.vlans_disabled;
    shown["routes"] = std::move(routes);
    shown["route_updates"] = overlay.route_updates;
    return json{{"overlay", std::move(shown)}}.dump();
}

} // namespace sim
