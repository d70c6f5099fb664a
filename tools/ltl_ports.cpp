#include "ltl_ports.h"

#include "bridge_mdb.h"
#include "bridge_vlan.h"
#include "input_error.h"
#include "interface_indexes.h"
#include "l2_plan.h"
#include "printable.h"
#include "switch_port.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <limits>
#include <set>

namespace feed {

namespace {

// As many as a request can say.
constexpr std::size_t most_interfaces = std::numeric_limits<std::uint16_t>::max();

std::uint32_t parse_name(const std::string &name) {
    if (const auto index = index_of_name(name))
        return *index;
    if (const auto index = index_in_link_name(name))
        return *index;
    throw usage_error(fmt::format(
        "PORT {}: expected an interface's name: Eth3/7 (slot and port, up to 255), Eth3/7/1 (a "
        "breakout lane of it), Po1 (up to 65535), Vlan10 (up to 4094), or if12 (any other, by "
        "the kernel's index)",
        in_quotes(name)));
}

net_address parse_option(const char *option, const std::string &text,
                         std::optional<net_address> parsed, const char *expected) {
    if (!parsed)
        throw usage_error(fmt::format("{} {}: expected {}", option, in_quotes(text), expected));
    return *parsed;
}

l2_key key_of(const ltl_ports &ports, std::uint32_t vlan) {
    l2_key key;
    key.vlan = vlan;
    key.group = parse_option("--group", ports.group, parse_net_address(ports.group),
                             "an IPv4, IPv6 or MAC address");
    if (!ports.source.empty())
        key.source = parse_option("--source", ports.source, parse_ip(ports.source),
                                  "an IPv4 or an IPv6 address");
    if (key.source && key.source->kind != key.group.kind)
        throw usage_error("--source and --group are of different families; an entry is of one");
    return key;
}

// The entries of one group, which stand for a port each.
mdb_table group_of(mdb_table table, const l2_key &key, const bridge_vlans &vlans) {
    std::erase_if(table.entries, [&](const mdb_entry &entry) {
        const std::uint32_t vlan = entry.vid.value_or(vlan_of_bridge(entry.bridge, vlans));
        return l2_key{vlan, entry.group, entry.source} != key;
    });
    if (table.entries.empty())
        throw input_error(fmt::format("{}: there is no {}", table.name, key_text(key)));
    return table;
}

// Only a port whose name does not say where it is needs the links.
std::vector<interface_use> unnamed_ports(const mdb_table &table) {
    std::vector<interface_use> uses = interface_uses(table);
    std::erase_if(
        uses, [](const interface_use &use) { return index_in_link_name(use.name).has_value(); });
    return uses;
}

interface_indexes kernel_indexes(const mdb_table &table, const std::string &links_path) {
    const std::vector<interface_use> uses = unnamed_ports(table);
    if (uses.empty())
        return {uses, recorded_links("", {}), false};
    const interface_source source = choose_source(false, links_path, numbering::not_offered);
    check_bridges(table, source);
    return {uses, source, false};
}

} // namespace

void ltl_ports::add_to(CLI::App &command) {
    CLI::Option *ports = command
                             .add_option("PORT", names,
                                         "An interface: Eth3/7, Eth3/7/1, Po1, Vlan10 or if12 (by "
                                         "the kernel's index); any number of them")
                             ->option_text("...");
    CLI::Option *no_ports =
        command.add_flag("--no-ports", none, "No interface at all")->excludes(ports);
    CLI::Option *of_group =
        command
            .add_option("--group", group,
                        "The ports of this group, an IPv4, IPv6 or MAC address, in the VLAN")
            ->option_text("ADDRESS")
            ->excludes(ports)
            ->excludes(no_ports);
    CLI::Option *mdb =
        command
            .add_option("--mdb", mdb_path,
                        "What `bridge -j -d mdb show` printed: where the group's ports stand")
            ->option_text("FILE")
            ->needs(of_group);
    of_group->needs(mdb);
    command
        .add_option("--source", source, "Source of the group, of the same family (default: any)")
        ->option_text("ADDRESS")
        ->needs(of_group);
    command
        .add_option("--links", links_path,
                    "What `ip -j link show` printed, for the ports' indexes; without it they are "
                    "this machine's")
        ->option_text("FILE")
        ->needs(mdb);
    command
        .add_option("--bridge", bridge,
                    "The VLAN's bridge, when its name does not say it, as br10 does")
        ->option_text("NAME")
        ->needs(mdb);
}

void ltl_ports::check(std::uint32_t vlan) const {
    if (names.empty() && !none && group.empty())
        throw usage_error("which interfaces? Name them, take a group's with --mdb and --group, or "
                          "say --no-ports");
    if (!group.empty() && vlan == 0)
        throw usage_error("--group: which VLAN's? Name it with --vlan");
    if (mdb_path == "-" && links_path == "-")
        throw usage_error("standard input (-) can be read only once");
    if (names.size() > most_interfaces)
        throw usage_error(
            fmt::format("{} interfaces are too many for a request, which has {} at most",
                        names.size(), most_interfaces));
}

std::vector<std::uint32_t> ltl_ports::load(std::uint32_t vlan) const {
    if (group.empty()) {
        std::vector<std::uint32_t> indexes;
        for (const std::string &name : names)
            indexes.push_back(parse_name(name));
        return indexes;
    }
    const l2_key key = key_of(*this, vlan);
    const bridge_vlans vlans = bridge.empty() ? bridge_vlans{} : bridge_vlans{{bridge, vlan}};
    const std::set<std::string> wanted =
        bridge.empty() ? std::set<std::string>{} : std::set<std::string>{bridge};
    const mdb_table table = group_of(parse_mdb(read_text(mdb_path), wanted), key, vlans);
    const interface_indexes indexes = kernel_indexes(table, links_path);
    // One entry, since all of the table are of one key.
    const l2_plan plan = plan_l2(table, switch_numbering(table, indexes), vlans);
    std::vector<std::uint32_t> interfaces;
    for (const l2_port &port : plan.entries.at(0).ports)
        interfaces.push_back(port.if_index);
    return interfaces;
}

} // namespace feed
