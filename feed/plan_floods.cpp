#include "feed/failure.h"
#include "feed/kernel.h"

#include <algorithm>
#include <fmt/format.h>
#include <iterator>

namespace feed {

namespace {

// The VLANs of each port of VLAN-aware bridges.
using port_vlans = std::map<std::string, std::set<std::uint16_t>>;

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

port_vlans read_port_vlans(const kernel_tables &tables) {
    port_vlans ports;
    unique_names names;
    tables.read("vlans.json", [&](const json_view &row) {
        row.expect_object("a port, an object");
        read_vlans(row, ports[names.read(row, "the port's name")]);
    });
    return ports;
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
        if (const std::uint16_t vlan = now_.vlan_of(port.bridge); vlan != 0) {
            return {vlan};
        }
        if (!port_vlans_) {
            port_vlans_ = read_port_vlans(now_.tables);
        }
        const auto found = port_vlans_->find(port.name);
        if (found == port_vlans_->end()) {
            port.place.fail("/master",
                            fmt::format("the bridge {} has no VLAN in its name, as br10 "
                                        "has; {}",
                                        in_quotes(port.bridge), vlan_remedy(port.bridge)));
        }
        return found->second;
    }

    planning &now_;
    std::optional<port_vlans> port_vlans_;               // read when it is needed first
    std::map<std::uint16_t, const bridge_port *> first_; // of each VLAN
};

} // namespace

void read_ports(planning &now) {
    unique_names names;
    const auto around =
        now.tables.read("ports.json", [&](const json_view &row) { read_port(now, names, row); });
    now.made.said.floods = around && now.options.only.floods;
}

void plan_floods(planning &now) {
    flood_planner(now).run();
}

} // namespace feed
