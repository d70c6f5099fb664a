#include "commands.h"
#include "common_options.h"
#include "compare_flood.h"
#include "compare_l2.h"
#include "compare_routes.h"
#include "counted.h"
#include "flood_update.h"
#include "held_flood.h"
#include "held_input.h"
#include "held_l2.h"
#include "input_error.h"
#include "json_input.h"
#include "l2_changes.h"
#include "l2_message.h"
#include "ltl_book.h"
#include "manager_answer.h"
#include "route_message.h"
#include "send_all.h"
#include "stats_request.h"

#include <vell.h>

#include <fmt/ostream.h>

namespace feed {

namespace {

constexpr std::uint32_t message_bytes = 65536;

// All that the day brings, read and checked before the switch hears of it.
struct day_plan {
    route_plan routes;
    l2_plans groups;
    flood_plan ports;
    flood_plan later_ports;
};

day_plan load_day(const day_command &day, std::ostream &out) {
    table_options table;
    table.table_path = day.routes;
    table.links_path = day.routes_links;
    mdb_options later;
    later.mdb_path = day.later_mdb;
    later.links_path = day.later_mdb_links;
    const older_options before{day.mdb, day.mdb_links};
    const flood_options ports;
    return {load_plan(table, false, out), load_l2(later, before, out), ports.load(day.ports),
            ports.load(day.later_ports)};
}

// The one client of the day, and what it has done.
class day_client {
public:
    day_client(const day_command &day, const day_plan &plan, std::ostream &out)
        : plan_(plan), out_(out), session_(day.session) {
        tell("registered");
    }

    void live() {
        send_routes();
        send_groups(all_added(plan_.groups.older.entries));
        require_sent(vell_send_igmp_download_complete() == 1, "end of the download");
        update_flood_sets({}, plan_.ports.sets);
        ltls.follow(session_, plan_.groups.older.entries);
        tell(fmt::format("allocated {}", counted(ltls.allocated(), "LTL index", "LTL indexes")));

        send_groups(changes(plan_.groups.older.entries, plan_.groups.newer.entries));
        update_flood_sets(plan_.ports.sets, plan_.later_ports.sets);
        const std::size_t before = ltls.allocated();
        ltls.follow(session_, plan_.groups.newer.entries);
        tell(fmt::format("allocated {} more LTL indexes, changed {}, released {}", ltls.allocated() - before,
                         ltls.changed(), ltls.released()));

        ask_counters();
        session_.close("`vellsim show`");
        tell("deregistered");
    }

    ltl_book ltls;
    std::size_t routes_sent = 0;
    std::size_t records_sent = 0;
    std::size_t vlans_sent = 0;
    std::size_t vlans_refused = 0;
    std::size_t counters_asked = 0;

private:
    void tell(const std::string &what) { fmt::print(out_, "vellfeed: {}\n", what); }

    void send_routes() {
        route_messages messages(message_bytes, [&](std::span<std::uint8_t> message, std::uint16_t count) {
            return session_.send_routes(message, count);
        });
        send_all(plan_.routes.routes, messages, "route");
        routes_sent = messages.records_sent();
        tell(fmt::format("sent {} in {}", counted(routes_sent, "route"), counted(messages.messages_sent(), "message")));
    }

    void send_groups(const std::vector<l2_change> &records) {
        l2_messages messages(message_bytes, true, [&](std::span<std::uint8_t> message, std::uint16_t count) {
            return session_.send_l2(message, count, 0);
        });
        send_all(records, messages, "record");
        records_sent += messages.records_sent();
        tell(fmt::format("sent {} in {} between markers", counted(messages.records_sent(), "layer-2 record"),
                         counted(messages.messages_sent(), "message")));
    }

    void update_flood_sets(const std::vector<flood_set> &older, const std::vector<flood_set> &newer) {
        const std::vector<flood_change> vlans = flood_changes(older, newer);
        if (vlans.empty())
            return;
        const flood_answer answer = send_flood_update(session_, vlans);
        const auto acknowledged = static_cast<std::size_t>(std::ranges::count(answer.acknowledged, true));
        vlans_sent += vlans.size();
        vlans_refused += vlans.size() - acknowledged;
        tell(fmt::format("updated the flood sets of {}, {} acknowledged", counted(vlans.size(), "VLAN"), acknowledged));
        for (std::size_t i = 0; i < vlans.size(); ++i)
            if (!answer.acknowledged[i])
                tell(fmt::format("VLAN {}: refused: {}", vlans[i].vlan, status_text(answer.statuses[i])));
    }

    void ask_counters() {
        for (const route &one : plan_.routes.routes) {
            ask_stats(session_, counters_of(one.key), stats_clearing::none);
            ++counters_asked;
        }
        tell(fmt::format("asked for the counters of {}, all answered", counted(counters_asked, "route")));
    }

    static stats_route counters_of(const route_key &key) {
        return {key.table, ipv4_address(key.source), key.source_length, ipv4_address(key.group), key.group_length};
    }

    const day_plan &plan_;
    std::ostream &out_;
    client_session session_;
};

// How many routes the switch was asked about.
std::size_t asked_of_switch() {
    const json_document document = parse_json(read_held({}, "stats"), "`vellsim show stats --json`");
    constexpr char expected[] = "an array of counters";
    constexpr char requests[] = "a number of requests";
    std::size_t asked = 0;
    for (const json_view &row : json_view(document).member("stats", expected).elements(expected))
        asked += row.member("requests", requests).number(0, 0xffffffff, requests) > 0 ? 1 : 0;
    return asked;
}

comparison compare_counters(std::size_t asked) {
    comparison result;
    const std::size_t held = asked_of_switch();
    result.fed = asked;
    result.missing = asked > held ? asked - held : 0;
    result.unexpected = held > asked ? held - asked : 0;
    return result;
}

// A set that the manager refused to change is not as it was fed, even where it happens to be equal.
comparison compare_flood_sets(const day_plan &plan, std::size_t refused) {
    comparison result = compare_flood(plan.later_ports.sets, parse_held_flood(read_held({}, "flood")));
    if (refused > 0) {
        result.differing += refused;
        result.lines.push_back(fmt::format("{} refused", counted(refused, "update was", "updates were")));
    }
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

// Returns whether everything agrees.
bool print_agreement(const std::vector<day_row> &rows, std::ostream &out) {
    fmt::print(out, "\n{:<16} {:>13} {:>11} {:>6}  {}\n", "", "Records sent", "To be held", "Held", "Agree");
    std::size_t differing = 0;
    for (const day_row &row : rows) {
        print_row(row, out);
        differing += row.result.equal() ? 0 : 1;
    }
    for (const day_row &row : rows)
        for (const std::string &line : row.result.lines)
            fmt::print(out, "{}: {}\n", row.what, line);
    fmt::print(out, "{}\n",
               differing == 0 ? "What was sent and what the service and the LTL manager hold agree."
                              : fmt::format("Of {} kinds, {} do not agree.", rows.size(), differing));
    return differing == 0;
}

} // namespace

void day_command::add_to(CLI::App &command) {
    const auto add_file = [&command](const char *name, std::string &path, const char *description) {
        command.add_option(name, path, description)->option_text("FILE")->required();
    };
    add_file("--routes", routes, "Multicast routing table: `ip -j mroute show`");
    add_file("--routes-links", routes_links, "The links of its router: `ip -j link show`");
    add_file("--mdb", mdb, "Snooping databases in the morning: `bridge -j -d mdb show`");
    add_file("--mdb-links", mdb_links, "The links of its switch");
    add_file("--later-mdb", later_mdb, "The databases later in the day");
    add_file("--later-mdb-links", later_mdb_links, "The links at that time");
    add_file("--ports", ports, "The bridges' ports in the morning: `bridge -j -d link show`");
    add_file("--later-ports", later_ports, "The ports later in the day");
    add_session_options(command, session);
    command.footer("One client registers, sends the routes, the layer-2 entries and the flood sets of the morning,\n"
                   "allocates an LTL index for each layer-2 entry, follows what changes later, asks for the counters\n"
                   "of every route, and deregisters. Then a table tells what was sent, what the switch is to hold\n"
                   "and what it holds, for a switch that held nothing before. Exits with 1 when that differs.\n"
                   "Example: vellfeed day with all of these; `./dev demo` shows one");
}

int day_command::run(std::ostream &out) const {
    const day_plan plan = load_day(*this, out);
    day_client client(*this, plan, out);
    client.live();
    const bool agree = print_agreement(
        {{"routes", client.routes_sent, compare_routes(plan.routes.routes, parse_held_routes(read_held({}, "routes")))},
         {"layer-2 entries", client.records_sent,
          compare_l2(plan.groups.newer.entries, parse_held_l2(read_held({}, "l2")))},
         {"flood sets", client.vlans_sent, compare_flood_sets(plan, client.vlans_refused)},
         {"LTL indexes", client.ltls.allocated() + client.ltls.changed() + client.ltls.released(),
          compare_ltls(client.ltls.all(), parse_held_ltls(read_held({}, "ltl")))},
         {"counters asked", client.counters_asked, compare_counters(client.counters_asked)}},
        out);
    return agree ? 0 : 1;
}

} // namespace feed
