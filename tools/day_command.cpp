#include "commands.h"
#include "common_options.h"
#include "compare_flood.h"
#include "compare_l2.h"
#include "compare_routes.h"
#include "counted.h"
#include "day_client.h"
#include "held_flood.h"
#include "held_input.h"
#include "held_l2.h"
#include "input_error.h"
#include "sim/base/print.h"

#include <CLI/CLI.hpp>
#include <algorithm>

namespace feed {

namespace {

route_plan load_routes(const day_command &day, std::ostream &out) {
    table_options table;
    table.table_path = day.routes;
    table.links_path = day.routes_links;
    table.numbering_option = numbering::not_offered;
    return load_plan(table, false, out);
}

loaded_mdbs load_groups(const day_command &day) {
    mdb_options later;
    later.mdb_path = day.later_mdb;
    later.links_path = day.later_mdb_links;
    later.numbering_option = numbering::not_offered;
    later.bridges = day.bridges;
    return read_mdbs(later, {day.mdb, day.mdb_links, "--mdb-links"});
}

// Everything is read and checked before the switch hears of it.
day_plan load_day(const day_command &day, std::ostream &out) {
    const loaded_mdbs groups = load_groups(day);
    const bridge_vlans vlans = parse_vlans(day.vlans);
    flood_options flood;
    flood.vlans = day.vlans;
    flood.bridges = day.bridges;
    const flood_plan ports = flood.load(day.ports);
    const flood_plan later_ports = flood.load(day.later_ports);
    check_named_bridges(
        day.bridges, day.vlans,
        [&](const std::string &bridge) {
            return groups.older.table.bridges.contains(bridge) ||
                   groups.newer.table.bridges.contains(bridge) || ports.bridges.contains(bridge) ||
                   later_ports.bridges.contains(bridge);
        },
        "no such bridge is in the recordings");
    day_plan plan = {load_routes(day, out), plan_entries(groups, vlans),
                     plan_switch_entries(groups, vlans), ports.sets, later_ports.sets};
    flood.print_left_out(later_ports, out);
    return plan;
}

// Each group is to have an LTL index, also one that it was refused.
comparison compare_groups_ltls(const day_plan &plan, const ltl_book &ltls) {
    comparison result = compare_ltls(ltls.all(), parse_held_ltls(read_held({}, "ltl")));
    const std::size_t wanted = std::max(plan.ltls.newer.entries.size(), result.fed);
    result.missing += wanted - result.fed;
    result.fed = wanted;
    return result;
}

// What the manager refused to change is not as it was fed, even where it happens to be equal.
comparison refused_or(comparison result, const std::vector<std::string> &refusals) {
    result.differing += refusals.size();
    if (!refusals.empty())
        result.lines.push_back(
            fmt::format("{} refused", counted(refusals.size(), "request was", "requests were")));
    return result;
}

struct day_row {
    const char *what;
    std::size_t sent;
    comparison result;
};

void print_row(const day_row &row, std::ostream &out) {
    const comparison &result = row.result;
    const std::size_t held = result.fed - result.missing + result.unexpected;
    fmt::print(out, "{:<16} {:>13} {:>11} {:>6}  {}\n", row.what, row.sent, result.fed, held,
               result.equal() ? "yes" : "no");
}

// What differs, as much of it as leaves the table on the screen.
void print_lines(const day_row &row, std::ostream &out) {
    constexpr std::size_t most = 10;
    const auto &lines = row.result.lines;
    for (std::size_t i = 0; i < std::min(lines.size(), most); ++i)
        fmt::print(out, "{}: {}\n", row.what, lines[i]);
    if (lines.size() > most)
        fmt::print(out, "{}: and {} more lines\n", row.what, lines.size() - most);
}

// Returns whether everything agrees.
bool print_agreement(const std::vector<day_row> &rows, std::ostream &out) {
    fmt::print(out, "\n{:<16} {:>13} {:>11} {:>6}  {}\n", "", "Records sent", "To be held", "Held",
               "Agree");
    std::size_t differing = 0;
    for (const day_row &row : rows) {
        print_row(row, out);
        differing += row.result.equal() ? 0 : 1;
    }
    for (const day_row &row : rows)
        print_lines(row, out);
    fmt::print(out, "{}\n",
               differing == 0
                   ? "What was sent and what the service and the LTL manager hold agree."
                   : fmt::format("Of {} kinds, {} not agree.", rows.size(),
                                 differing == 1 ? "1 does" : fmt::format("{} do", differing)));
    return differing == 0;
}

} // namespace

void day_command::add_to(CLI::App &command) {
    const auto add_file = [&command](const char *name, std::string &path, const char *description) {
        command.add_option(name, path, description)->option_text("FILE REQUIRED")->required();
    };
    add_file("--routes", routes, "Multicast routing table: `ip -j mroute show`");
    add_file("--routes-links", routes_links, "The links of its router: `ip -j link show`");
    add_file("--mdb", mdb, "Snooping databases in the morning: `bridge -j -d mdb show`");
    add_file("--mdb-links", mdb_links, "The links of its switch");
    add_file("--later-mdb", later_mdb, "The databases later in the day");
    add_file("--later-mdb-links", later_mdb_links, "The links at that time");
    add_file("--ports", ports, "The bridges' ports in the morning: `bridge -j -d link show`");
    add_file("--later-ports", later_ports, "The ports later in the day");
    add_vlan_option(command, vlans, "whose name does not say it, as br10 does");
    add_bridge_option(command, bridges, "entries and ports");
    add_session_options(command, session);
    command.footer(
        "One client registers, sends the routes, the layer-2 entries and the flood\n"
        "sets of the morning, allocates an LTL index for each layer-2 entry, follows what changes "
        "later, asks\n"
        "for the counters of every route, and deregisters. Then a table tells what was sent, what "
        "the switch\n"
        "is to hold and what it holds, for a switch that held nothing before. Exits with 1 when "
        "that differs.\n"
        "Example: vellfeed day --routes metro.mroute.json --routes-links metro.links.json \\\n"
        "             --mdb snooping.mdb.json --mdb-links snooping.links.json \\\n"
        "             --later-mdb snooping-later.mdb.json --later-mdb-links "
        "snooping-later.links.json \\\n"
        "             --ports flood.ports.json --later-ports flood-later.ports.json");
}

int day_command::run(std::ostream &out) const {
    const std::string *inputs[] = {&routes,    &routes_links,    &mdb,   &mdb_links,
                                   &later_mdb, &later_mdb_links, &ports, &later_ports};
    if (std::ranges::count_if(inputs, [](const std::string *input) { return *input == "-"; }) > 1)
        throw usage_error("standard input (-) can be read only once");
    const day_plan plan = load_day(*this, out);
    // Rather now than after the day: that the switch is there, and that what it holds can be asked
    // for.
    read_held({}, "clients");
    const day_record done = live_day(plan, session, out);
    const bool agree = print_agreement(
        {{"routes", done.routes,
          compare_routes(plan.routes.routes, parse_held_routes(read_held({}, "routes")))},
         {"layer-2 entries", done.layer2_records,
          compare_l2(plan.groups.newer.entries, parse_held_l2(read_held({}, "l2")))},
         {"flood sets", done.flood_sets,
          refused_or(compare_flood(plan.later_ports, parse_held_flood(read_held({}, "flood"))),
                     done.flood_refusals)},
         {"LTL indexes", done.ltls.requests(),
          refused_or(compare_groups_ltls(plan, done.ltls), done.ltls.refusals())},
         {"counters asked", done.counters.size(),
          compare_counters(done.counters, parse_asked_counters(read_held({}, "stats")))}},
        out);
    return agree ? 0 : 1;
}

} // namespace feed
