#include "feed/failure.h"
#include "feed/kernel.h"
#include "sim/base/if_name.h"

#include <fmt/format.h>

namespace feed {

namespace {

sim::l2_address read_group(const json_view &row) {
    constexpr char expected[] = "the group, an IPv4, IPv6 or MAC address";
    const json_view view = row.member("grp", expected);
    const auto group = sim::parse_l2_address(view.string(expected));
    if (!group) {
        view.reject(expected);
    }
    if (!sim::is_multicast(*group)) {
        view.fail(
            fmt::format("the group {} is not a multicast address", sim::address_text(*group)));
    }
    return *group;
}

std::optional<sim::l2_address> read_source(const json_view &row, const sim::l2_address &group) {
    const auto view = row.find("src");
    if (!view) {
        return std::nullopt;
    }
    if (group.kind == sim::l2_address_kind::mac) {
        view->fail("a MAC group has no source");
    }
    const char *expected = group.kind == sim::l2_address_kind::ipv4
                               ? "the source, an IPv4 address as the group is"
                               : "the source, an IPv6 address as the group is";
    const auto source = sim::parse_l2_address(view->string(expected));
    if (!source || source->kind != group.kind) {
        view->reject(expected);
    }
    if (sim::is_multicast(*source) || sim::is_zero(*source)) {
        view->fail(
            fmt::format("the source {} is not the address of a host", sim::address_text(*source)));
    }
    return source;
}

bool is_blocked(const json_view &row) {
    bool blocked = false;
    if (const auto flags = row.find("flags")) {
        for (const json_view &flag : flags->elements("an array of flags")) {
            blocked = flag.string("the name of a flag") == "blocked" || blocked;
        }
    }
    return blocked;
}

void read_member(planning &now, const json_view &row) {
    row.expect_object("an entry, an object");
    const std::string &bridge = read_name(row, "dev", "the bridge's name");
    if (!now.takes_bridge(bridge, now.plans_groups())) {
        return;
    }
    now.tables.learn(bridge, row.member("index", "the bridge's index"));
    const std::string &port = read_name(row, "port", "the port's name");
    if (const auto remote = row.find("dst")) {
        remote->fail("is the far end of a tunnel; a layer-2 entry has ports only: leave the bridge "
                     "out with --bridge");
    }
    group_member member = {bridge, port, read_group(row), {}, {}, false, false, row_place(row)};
    member.source = read_source(row, member.group);
    if (const auto vlan = row.find("vid")) {
        member.vlan = vlan->number<std::uint16_t>(1, largest_vlan, "a VLAN id");
    }
    member.is_permanent =
        is_first(row.member("state", "\"permanent\" or \"temp\""), "permanent", "temp");
    // Without a source, a port in mode "include" is there for its list of sources, which have
    // entries of their own.
    const auto mode = row.find("filter_mode");
    const bool is_include = mode && is_first(*mode, "include", "exclude");
    member.is_sent_to = !is_blocked(row) && (!is_include || member.source);
    now.members.push_back(std::move(member));
}

// A group as it grows, port by port.
struct growing_group {
    const group_member *first;
    bool is_permanent = false;
    std::map<std::uint32_t, const group_member *> ports = {};
};

// Gathers the ports of each group, and counts the members that get none.
class group_planner {
public:
    explicit group_planner(planning &now) : now_(now) {
        for (const bridge_port &port : now.ports) {
            if (!port.is_forwarding) {
                not_forwarding_.insert(port.name);
            }
        }
    }

    table<group> run() {
        for (const group_member &member : now_.members) {
            add(member);
        }
        table<group> groups;
        for (const auto &[key, grown] : groups_) {
            group made;
            const group_member &first = *grown.first;
            made.bridge = number_or_fail(now_.numbers, first.bridge,
                                         [&](const char *what) { first.place.fail("/dev", what); });
            made.permanent = grown.is_permanent;
            for (const auto &[index, member] : grown.ports) {
                made.ports.push_back(
                    {index, is_bridge(*member) ? std::uint32_t{VELL_SIM_PORT_SVI} : 0});
            }
            groups.emplace_hint(groups.end(), key, std::move(made));
        }
        return groups;
    }

private:
    static bool is_bridge(const group_member &member) { return member.port == member.bridge; }

    void add(const group_member &member) {
        const group_key key = {vlan_of(member), member.group, member.source};
        growing_group &grown = groups_.emplace(key, growing_group{&member}).first->second;
        if (grown.first->bridge != member.bridge) {
            member.place.fail(
                "/dev", fmt::format("{} is on the bridge {} here and on {} in entry {}; "
                                    "a group has one bridge",
                                    key_text(key), in_quotes(member.bridge),
                                    in_quotes(grown.first->bridge), grown.first->place.entry));
        }
        // The kernel has this for each port, the service for the group.
        grown.is_permanent = grown.is_permanent || member.is_permanent;
        if (!member.is_sent_to) {
            ++now_.made.without.blocked_members;
        } else if (not_forwarding_.contains(member.port)) {
            ++now_.made.without.ports_not_forwarding;
        } else {
            add_port(grown, member, key.vlan);
        }
    }

    std::uint16_t vlan_of(const group_member &member) const {
        const std::uint16_t vlan = member.vlan.value_or(now_.vlan_of(member.bridge));
        if (vlan == 0) {
            member.place.fail("/dev",
                              fmt::format("the bridge {} has no VLAN in its name, as br10 "
                                          "has, and its entry no \"vid\"; {}",
                                          in_quotes(member.bridge), vlan_remedy(member.bridge)));
        }
        return vlan;
    }

    // A port is in a group several times when it sends to each of its receivers alone.
    void add_port(growing_group &grown, const group_member &member, std::uint16_t vlan) {
        const std::uint32_t index =
            is_bridge(member) ? vlan_interface(vlan)
                              : number_or_fail(now_.numbers, member.port, [&](const char *what) {
                                    member.place.fail("/port", what);
                                });
        const group_member &first = *grown.ports.emplace(index, &member).first->second;
        if (first.port != member.port) {
            member.place.fail("/port",
                              fmt::format("the port {} is {} in the switch, and so is {} in "
                                          "entry {}",
                                          in_quotes(member.port), sim::if_name(index),
                                          in_quotes(first.port), first.place.entry));
        }
    }

    planning &now_;
    std::set<std::string> not_forwarding_;
    std::map<group_key, growing_group> groups_;
};

// FNV-1a of the addresses, never 0.
std::uint32_t tag_of(const group_key &key) {
    std::uint32_t hash = 2166136261;
    const auto add = [&](const sim::l2_address &address) {
        for (const std::uint8_t byte : address.bytes) {
            hash = (hash ^ byte) * 16777619;
        }
    };
    add(key.group);
    if (key.source) {
        add(*key.source);
    }
    return hash == 0 ? 1 : hash;
}

// One for each group with ports. Of two groups with the same tag in a VLAN the later one gets the next
// free tag.
table<ltl> ltls_of(const table<group> &groups) {
    table<ltl> ltls;
    for (const auto &[key, planned] : groups) {
        if (planned.ports.empty()) {
            continue;
        }
        ltl made;
        for (const group_port &port : planned.ports) {
            made.interfaces.push_back(port.if_index);
        }
        ltl_key next = {key.vlan, tag_of(key)};
        while (!ltls.try_emplace(next, made).second) {
            next.tag = next.tag == UINT32_MAX ? 1 : next.tag + 1;
        }
    }
    return ltls;
}

} // namespace

void read_members(planning &now) {
    const auto around =
        now.tables.read("mdb.json", [&](const json_view &row) { read_member(now, row); });
    if (!around) {
        return;
    }
    now.made.said.groups = now.options.only.groups;
    now.made.said.ltls = now.options.only.ltls;
    for (const json_view &database : json_view(*around).elements("an array with the databases")) {
        database.expect_object("the databases, an object with \"mdb\"");
        database.member("mdb", "an array of entries").expect_array("an array of entries");
        const auto router = database.find("router");
        if (!router) {
            continue;
        }
        for (const auto &[bridge, ports] :
             router->members("the bridges' router ports, an object")) {
            const std::size_t count = ports.elements("an array of router ports").size();
            const bool is_counted = now.takes_bridge(bridge, false) && now.plans_groups();
            now.made.without.router_ports += is_counted ? count : 0;
        }
    }
}

void plan_groups(planning &now) {
    table<group> groups = group_planner(now).run();
    if (now.options.only.ltls) {
        now.made.wanted.ltls = ltls_of(groups);
    }
    if (now.options.only.groups) {
        now.made.wanted.groups = std::move(groups);
    }
}

} // namespace feed
