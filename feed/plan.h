// What a snapshot of a kernel's multicast state wants the switch to have.
#pragma once

#include "feed/state.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace feed {

// Which tables are looked at, or are said something about.
struct table_choice {
    bool routes = false;
    bool groups = false;
    bool floods = false;
    bool ltls = false;

    bool any() const { return routes || groups || floods || ltls; }
};
inline constexpr table_choice all_tables = {true, true, true, true};

// Where a table is, and what it is called in options and JSON, and in text.
template <typename Row>
struct table_place {
    const char *name;
    const char *title;
    table<Row> state::*rows;
    bool table_choice::*choice;
};
inline constexpr table_place<flood_set> flood_table = {"floods", "flood sets", &state::floods,
                                                       &table_choice::floods};
inline constexpr table_place<group> group_table = {"groups", "groups", &state::groups,
                                                   &table_choice::groups};
inline constexpr table_place<ltl> ltl_table = {"ltls", "LTLs", &state::ltls, &table_choice::ltls};
inline constexpr table_place<route> route_table = {"routes", "routes", &state::routes,
                                                   &table_choice::routes};

// In the order in which they are sent.
template <typename Visit>
void for_each_table(Visit visit) {
    visit(flood_table);
    visit(group_table);
    visit(ltl_table);
    visit(route_table);
}

struct plan_options {
    table_choice only = all_tables;
    std::map<std::string, std::uint16_t>
        vlans;                     // of bridges whose names do not say it, as br10 does
    std::set<std::string> bridges; // only these; empty: all
    bool may_lack_bridges = false; // of those; otherwise one that is not there is mistyped
};

// A directory with what the kernel's own tools print, or, without one, this machine. Any of the files
// may be missing; then the snapshot says nothing of that table.
//
//     routes.json   ip -j mroute show table all
//     links.json    ip -j link show
//     mdb.json      bridge -j -d mdb show
//     ports.json    bridge -j -d link show
//     vlans.json    bridge -j vlan show
struct snapshot {
    std::string directory;
};

struct left_out {
    std::size_t unresolved_routes = 0;
    std::size_t routes_without_iif = 0; // the incoming interface is gone
    std::size_t ttl_thresholds = 0;     // of outgoing interfaces, above 1
    std::size_t router_ports = 0;
    std::size_t blocked_members = 0;      // entries of a database that the kernel does not send to
    std::size_t ports_not_forwarding = 0; // members or flooded ports that are disabled or blocking
    std::size_t flooded_vlan_interfaces = 0;
    std::size_t of_other_bridges = 0;
};

struct plan {
    state wanted;
    table_choice said;
    std::set<std::uint16_t> vlans; // of the bridges, also those that have no row
    left_out without;
    std::vector<std::pair<std::string, std::uint32_t>> made_numbers; // interfaces.h
};

// Takes the tables that something is said about; the others remain.
void take_said(state &into, state from, const table_choice &said);

// Throws input_error when the snapshot cannot be read, or holds what a record could not carry or the
// service could not tell apart.
plan read_plan(const snapshot &from, const plan_options &options);

// Writes the snapshot of this machine into a directory, which is made when it is missing. Throws
// input_error.
void record_snapshot(const std::string &directory);

// "left out 3 router ports: not carried by a layer-2 entry" and so on, one per line; made
// numbers as well.
std::vector<std::string> notes(const plan &made);

} // namespace feed
