#include "feed/plan.h"

#include "feed/failure.h"
#include "feed/kernel.h"
#include "sim/base/if_name.h"
#include "sim/base/text.h"

#include <charconv>
#include <fmt/format.h>

namespace feed {

namespace {

void read_links(planning &now) {
    unique_names names;
    now.tables.read("links.json", [&](const json_view &link) {
        link.expect_object("an interface, an object");
        const std::string &name = names.read(link, "the interface's name");
        now.tables.learn(name, link.member("ifindex", "the interface's index"));
    });
}

// A bridge that is named and not there is mistyped. One without entries or ports is in the links.
void check_named_bridges(const planning &now) {
    const auto check = [&](const char *option, const std::string &bridge) {
        if (!now.options.may_lack_bridges && !now.bridges.contains(bridge) &&
            !now.tables.indexes().contains(bridge)) {
            throw input_error(fmt::format("{} {}: no such bridge is in {}", option,
                                          in_quotes(bridge), now.tables.name()));
        }
    };
    for (const std::string &bridge : now.options.bridges) {
        check("--bridge", bridge);
    }
    for (const auto &[bridge, vlan] : now.options.vlans) {
        check("--vlan", bridge);
    }
}

template <typename Rows>
void add_vlans(std::set<std::uint16_t> &vlans, const Rows &rows) {
    for (const auto &row : rows) {
        vlans.insert(row.first.vlan);
    }
}

// Those that the tables, or the bridges' names, say of the bridges that are looked at.
void add_all_vlans(planning &now) {
    std::set<std::uint16_t> &vlans = now.made.vlans;
    add_vlans(vlans, now.made.wanted.floods);
    add_vlans(vlans, now.made.wanted.groups);
    add_vlans(vlans, now.made.wanted.ltls);
    const auto add_listed = [&](const std::string &interface) {
        if (const auto listed = now.port_vlans.find(interface); listed != now.port_vlans.end()) {
            vlans.insert(listed->second.begin(), listed->second.end());
        }
    };
    for (const std::string &bridge : now.options.bridges) {
        if (now.aware_bridges.contains(bridge)) {
            add_listed(bridge);
        } else if (const std::uint16_t vlan = now.vlan_of(bridge); vlan != 0) {
            vlans.insert(vlan);
        }
    }
    for (const bridge_port &port : now.ports) {
        if (now.aware_bridges.contains(port.bridge)) {
            add_listed(port.name);
        }
    }
}

} // namespace

bool planning::takes_bridge(const std::string &bridge, bool is_counted) {
    bridges.insert(bridge);
    const bool is_taken = options.bridges.empty() || options.bridges.contains(bridge);
    made.without.of_other_bridges += is_counted && !is_taken ? 1 : 0;
    return is_taken;
}

std::uint16_t planning::vlan_of(const std::string &bridge) const {
    if (const auto named = options.vlans.find(bridge); named != options.vlans.end()) {
        return named->second;
    }
    std::uint16_t vlan = 0;
    if (!bridge.starts_with("br") || bridge.starts_with("br0")) {
        return 0;
    }
    const char *end = bridge.data() + bridge.size();
    const auto result = std::from_chars(bridge.data() + 2, end, vlan);
    return result.ec == std::errc() && result.ptr == end && vlan <= largest_vlan ? vlan : 0;
}

std::string vlan_remedy(const std::string &bridge) {
    return fmt::format(
        "name the VLAN with --vlan {}=N, or take other bridges alone with --bridge NAME",
        shortened(bridge));
}

const std::string &read_name(const json_view &row, const char *member, std::string_view expected) {
    const json_view view = row.member(member, expected);
    const std::string &name = view.string(expected);
    if (name.empty()) {
        view.reject(expected);
    }
    return name;
}

bool is_first(const json_view &view, std::string_view first, std::string_view second) {
    const std::string expected = fmt::format("\"{}\" or \"{}\"", first, second);
    const std::string &text = view.string(expected);
    if (text != first && text != second) {
        view.reject(expected);
    }
    return text == first;
}

const std::string &unique_names::read(const json_view &row, std::string_view expected) {
    const std::string &name = read_name(row, "ifname", expected);
    const auto [first, is_new] = entries_.emplace(name, row.entry());
    if (!is_new) {
        row.member("ifname", expected)
            .fail(fmt::format("{} is already in entry {}", in_quotes(name), first->second));
    }
    return name;
}

plan plan_tables(kernel_tables tables, const plan_options &options) {
    planning now = {options, std::move(tables)};
    const bool needs_bridges = now.plans_groups() || options.only.floods;
    read_links(now);
    // Of a machine the links say all indexes; of a directory the links may be missing.
    if (now.plans_groups() || !now.tables.is_machine()) {
        read_members(now);
    }
    if (needs_bridges || !now.tables.is_machine()) {
        read_ports(now);
    }
    if (needs_bridges) {
        check_named_bridges(now);
    }
    now.numbers = interfaces(now.tables.indexes());
    if (options.only.routes) {
        plan_routes(now);
    }
    if (now.plans_groups()) {
        plan_groups(now);
    }
    if (options.only.floods) {
        plan_floods(now);
    }
    add_all_vlans(now);
    now.made.made_numbers = now.numbers.made();
    return std::move(now.made);
}

void take_said(state &into, state from, const table_choice &said) {
    for_each_table([&](const auto &one) {
        if (said.*one.choice) {
            into.*one.rows = std::move(from.*one.rows);
        }
    });
}

std::vector<std::string> notes(const plan &made) {
    struct {
        std::size_t count;
        const char *one;
        const char *many;
        const char *why;
    } const left_out[] = {
        {made.without.unresolved_routes, "unresolved route", "unresolved routes",
         "the routing daemon has not decided"},
        {made.without.routes_without_iif, "route", "routes", "the incoming interface is gone"},
        {made.without.ttl_thresholds, "TTL threshold", "TTL thresholds",
         "not carried by a route record"},
        {made.without.router_ports, "router port", "router ports",
         "not carried by a layer-2 entry"},
        {made.without.blocked_members, "member of a group", "members of groups",
         "blocked, or filtered by source"},
        {made.without.ports_not_forwarding, "port of a group or a flood set",
         "ports of groups or flood sets", "not in forwarding state"},
        {made.without.flooded_vlan_interfaces, "VLAN interface", "VLAN interfaces",
         "a flood set has ports only"},
        {made.without.of_other_bridges, "entry or port", "entries and ports",
         "not of the bridges of --bridge"},
    };
    std::vector<std::string> lines;
    for (const auto &row : left_out) {
        if (row.count > 0) {
            lines.push_back(fmt::format("left out {}: {}",
                                        sim::counted(row.count, row.one, row.many), row.why));
        }
    }
    for (const auto &[name, number] : made.made_numbers) {
        lines.push_back(fmt::format("interface {} has no index in the snapshot: it is {}, a number "
                                    "made from its name",
                                    shortened(name), sim::if_name(number)));
    }
    return lines;
}

} // namespace feed
