// Lists of bridge ports written by hand.
#pragma once

#include "flood_plan.h"

#include <fmt/format.h>
#include <initializer_list>
#include <string>

namespace feed {

// A port as `bridge` prints it, with no more than is looked at.
inline std::string port_text(const std::string &bridge, const std::string &name, unsigned index,
                             bool floods = true) {
    return fmt::format(R"({{"ifindex":{},"ifname":"{}","master":"{}","mcast_flood":{}}})", index,
                       name, bridge, floods);
}

inline std::string ports_text(std::initializer_list<std::string> ports) {
    std::string text;
    for (const std::string &port : ports)
        text += (text.empty() ? "" : ",") + port;
    return "[" + text + "]";
}

inline port_table ports_of(std::initializer_list<std::string> ports,
                           const std::set<std::string> &bridges = {}) {
    return parse_bridge_ports({"ports.json", ports_text(ports)}, bridges);
}

inline std::vector<flood_set> sets_of(std::initializer_list<std::string> ports,
                                      const bridge_vlans &vlans = {}) {
    return plan_flood(ports_of(ports), vlans).sets;
}

} // namespace feed
