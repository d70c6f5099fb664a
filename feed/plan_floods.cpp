#include "feed/failure.h"
#include "feed/kernel.h"

#include <algorithm>
#include <fmt/format.h>
#include <iterator>

namespace feed {

namespace {

bool read_forwarding(const json_view &row) {
    constexpr std::string_view states[] = {"disabled", "listening", "learning", "forwarding",
                                           "blocking"};
    constexpr char expected[] =
        "\"disabled\", \"listening\", \"learning\", \"forwarding\" or \"blocking\"";
    const auto view = row.find("state");
    if (!view) {
        return true;
    }
    const std::string &state = view->string(expected);
    if (std::ranges::find(states, state) == std::end(states)) {
        view->reject(expected);
    }
    return state == "forwarding";
}

void read_port(planning &now, unique_names &names, const json_view &row) {
    constexpr char expected[] = "the port's name";
    row.expect_object("a port, an object");
    // A network card that switches between its own functions is listed once more, not as a port of
    // the bridge.
    if (row.find("hwmode")) {
        return;
    }
    if (!row.find("master")) {
        row.member("ifname", expected); // else it is another list, and no port would be in it
        return;
    }
    const std::string &bridge = read_name(row, "master", "the bridge's name");
    if (!now.takes_bridge(bridge, now.options.only.floods)) {
        return;
    }
    const std::string &name = names.read(row, expected);
    now.tables.learn(name, row.member("ifindex", "the port's index"));
    constexpr char flooding[] = "true or false; `bridge` prints it with -d only";
    const bool is_flooded = row.member("mcast_flood", flooding).boolean(flooding);
    now.ports.push_back({bridge, name, is_flooded, read_forwarding(row), row_place(row)});
}

void read_vlans(const json_view &row, std::set<std::uint16_t> &vlans) {
    constexpr char expected[] = "a VLAN id";
    for (const json_view &range :
         row.member("vlans", "an array of VLANs").elements("an array of VLANs")) {
        range.expect_object("a VLAN, an object");
        const json_view view = range.member("vlan", expected);
        const auto first = view.number<std::uint16_t>(1, largest_vlan, expected);
        const auto end = range.find("vlanEnd");
        const auto last = end ? end->number<std::uint16_t>(first, largest_vlan, expected) : first;
        for (std::uint16_t vlan = first; vlan <= last; ++vlan) {
            if (!vlans.insert(vlan).second) {
                view.fail(fmt::format("the port has VLAN {} twice", vlan));
            }
        }
    }
}

void read_port_vlans(planning &now) {
    unique_names names;
    now.tables.read("vlans.json", [&](const json_view &row) {
        row.expect_object("a port, an object");
        read_vlans(row, now.port_vlans[names.read(row, "the port's name")]);
    });
    // A bridge that does not look at VLANs may be listed too: each of its ports with VLAN 1.
    static const std::set<std::uint16_t> by_default = {1};
    for (const bridge_port &port : now.ports) {
        const auto listed = now.port_vlans.find(port.name);
        if (listed != now.port_vlans.end() && !listed->second.empty() &&
            listed->second != by_default) {
            now.aware_bridges.insert(port.bridge);
        }
    }
}

class flood_planner {
public:
    explicit flood_planner(planning &now) : now_(now) {}

    void run() {
        for (const bridge_port &port : now_.ports) {
            add(port);
        }
        for (auto &[key, set] : now_.made.wanted.floods) {
            std::ranges::sort(set.interfaces);
        }
    }

private:
    void add(const bridge_port &port) {
        const std::set<std::uint16_t> vlans = vlans_of(port);
        for (const std::uint16_t vlan : vlans) {
            check_bridge(vlan, port);
        }
        if (!port.is_flooded) {
            return;
        }
        if (!port.is_forwarding) {
            ++now_.made.without.ports_not_forwarding;
            return;
        }
        const std::uint32_t index = number_or_fail(
            now_.numbers, port.name, [&](const char *what) { port.place.fail("/ifname", what); });
        if (is_vlan_interface(index)) {
            ++now_.made.without.flooded_vlan_interfaces;
            return;
        }
        // A VLAN that is flooded nowhere gets no set: the manager could not tell it from one that it
        // does not know.
        for (const std::uint16_t vlan : vlans) {
            flood_set &set = now_.made.wanted.floods[{vlan}];
            set.interfaces.push_back(index);
            set.line_cards |= line_card_bit(index);
        }
    }

    void check_bridge(std::uint16_t vlan, const bridge_port &port) {
        const bridge_port &first = *first_.emplace(vlan, &port).first->second;
        if (first.bridge != port.bridge) {
            port.place.fail("/master",
                            fmt::format("VLAN {} is the bridge {} here and {} in entry {}; "
                                        "a VLAN has one bridge",
                                        vlan, in_quotes(port.bridge), in_quotes(first.bridge),
                                        first.place.entry));
        }
    }

    std::set<std::uint16_t> vlans_of(const bridge_port &port) {
        const std::uint16_t vlan = now_.vlan_of(port.bridge);
        const bool is_aware = now_.aware_bridges.contains(port.bridge);
        if (vlan != 0 && (!is_aware || now_.options.vlans.contains(port.bridge))) {
            return {vlan};
        }
        const auto listed = now_.port_vlans.find(port.name);
        if (listed != now_.port_vlans.end()) {
            return listed->second;
        }
        if (!is_aware) {
            port.place.fail("/master",
                            fmt::format("the bridge {} has no VLAN in its name, as br10 "
                                        "has; {}",
                                        in_quotes(port.bridge), vlan_remedy(port.bridge)));
        }
        return {};
    }

    planning &now_;
    std::map<std::uint16_t, const bridge_port *> first_; // of each VLAN
};

} // namespace

void read_ports(planning &now) {
    unique_names names;
    const auto around =
        now.tables.read("ports.json", [&](const json_view &row) { read_port(now, names, row); });
    now.made.said.floods = around && now.options.only.floods;
    if (now.options.only.floods || !now.options.bridges.empty()) {
        read_port_vlans(now);
    }
}

void plan_floods(planning &now) {
    flood_planner(now).run();
}

} // namespace feed
