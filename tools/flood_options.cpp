#include "flood_options.h"

#include "common_options.h"
#include "counted.h"
#include "input_error.h"
#include "sim/base/print.h"

#include <CLI/CLI.hpp>
#include <algorithm>

namespace feed {

namespace {

flood_plan plan_of(const text_input &input, const flood_options &options) {
    const port_table table =
        parse_bridge_ports(input, {options.bridges.begin(), options.bridges.end()});
    return plan_flood(table, parse_vlans(options.vlans));
}

} // namespace

void flood_options::add_to(CLI::App &command) {
    command.add_flag("--live", live, "Take this machine's ports instead of NEW; runs `bridge`");
    add_vlan_option(command, vlans, "whose name does not say it, as br10 does");
    add_bridge_option(command, bridges, "ports");
    add_quiet_option(command, quiet);
}

void flood_options::check(const std::vector<std::string> &inputs) const {
    if (std::count(inputs.begin(), inputs.end(), "-") > 1)
        throw usage_error("standard input (-) can be read only once");
    parse_vlans(vlans);
}

flood_plan flood_options::load(const std::string &path) const {
    return plan_of(read_text(path), *this);
}

flood_plan flood_options::load_live() const {
    return plan_of(read_command({"bridge", "-j", "-d", "link", "show"}), *this);
}

void flood_options::check_bridges(const flood_plan &newer, const flood_plan &older) const {
    check_named_bridges(
        bridges, vlans,
        [&](const std::string &bridge) {
            return newer.bridges.contains(bridge) || older.bridges.contains(bridge);
        },
        "no bridge of this name has a port");
}

void flood_options::print_left_out(const flood_plan &plan, std::ostream &out) const {
    if (quiet)
        return;
    if (plan.other_bridges > 0)
        fmt::print(out, "vellfeed: left out {} of other bridges\n",
                   counted(plan.other_bridges, "port"));
    std::size_t vlan_interfaces = 0;
    for (const flood_set &set : plan.sets)
        vlan_interfaces += set.vlan_interfaces.size();
    if (vlan_interfaces > 0)
        fmt::print(out, "vellfeed: passed over {}\n", counted(vlan_interfaces, "VLAN interface"));
}

} // namespace feed
