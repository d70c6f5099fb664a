#include "commands.h"
#include "common_options.h"
#include "counted.h"
#include "l2_changes.h"
#include "l2_message.h"
#include "send_all.h"
#include "sim/base/print.h"

#include <vell.h>

#include <CLI/CLI.hpp>
#include <algorithm>

namespace feed {

namespace {

// What the records do not say.
void print_left_out(const l2_plan &plan, std::ostream &out) {
    if (plan.other_bridges > 0) {
        fmt::print(
            out, "vellfeed: left out {}\n",
            counted(plan.other_bridges, "entry of another bridge", "entries of other bridges"));
    }
    if (plan.router_ports > 0) {
        fmt::print(out, "vellfeed: left out {}: a layer-2 entry has no place for them\n",
                   counted(plan.router_ports, "router port"));
    }
    if (plan.ports_without > 0) {
        fmt::print(out,
                   "vellfeed: left out {} that the kernel does not send to: blocked, or for listed "
                   "sources only\n",
                   counted(plan.ports_without, "port"));
    }
}

std::string download_text(const std::vector<l2_change> &records) {
    std::size_t ports = 0;
    for (const l2_change &record : records)
        ports += record.entry.ports.size();
    return fmt::format("{} with {}", counted(records.size(), "entry", "entries"),
                       counted(ports, "port"));
}

std::string changes_text(const std::vector<l2_change> &records) {
    const auto removals = static_cast<std::size_t>(
        std::count_if(records.begin(), records.end(), [](const l2_change &record) {
            return record.operation == l2_operation::remove;
        }));
    return fmt::format("{} and {}", counted(removals, "deletion"),
                       counted(records.size() - removals, "addition"));
}

} // namespace

void l2_command::add_to(CLI::App &command) {
    mdb.add_to(command);
    older.add_to(command);
    add_number(command, "--value", value, "16-bit value in the head of every message (default 0)")
        ->option_text("N");
    command.add_flag("--no-markers", no_markers,
                     "Do not bracket the messages with out-of-band markers");
    add_message_bytes(command, message_bytes, "record");
    add_session_options(command, session);
    command.footer("A record is sent for each VLAN, group and source, with its ports, in that "
                   "order. The VLAN is the entries'\n"
                   "\"vid\", else what --vlan says of the bridge, else the number in its name. The "
                   "bridge itself, as a port,\n"
                   "is marked as a VLAN interface. A port that is blocked for a source, or takes "
                   "listed sources only, is left\n"
                   "out. With --older, what is gone is deleted first, what came is added, and an "
                   "entry that became permanent or\n"
                   "learned is made anew; else the end of the download is told behind the records. "
                   "Everything is read and\n"
                   "checked before anything is sent; `vellfeed l2-compare` tells what arrived.\n"
                   "Example: vellfeed l2 snooping.mdb.json --links snooping.links.json");
}

int l2_command::run(std::ostream &out) const {
    older.check(mdb);
    const l2_plans plans = load_l2(mdb, older, out);
    const bool download = older.mdb_path.empty();
    const std::vector<l2_change> records = download
                                               ? all_added(plans.newer.entries)
                                               : changes(plans.older.entries, plans.newer.entries);
    if (!download && records.empty()) {
        if (!mdb.quiet)
            fmt::print(out, "vellfeed: nothing has changed since {}: nothing was sent\n",
                       older.mdb_path);
        return 0;
    }
    client_session client(session);
    l2_messages messages(message_bytes, !no_markers,
                         [&](std::span<std::uint8_t> message, std::uint16_t count) {
                             return client.send_l2(message, count, value);
                         });
    send_all(records, messages, "record");
    if (download)
        require_sent(vell_send_igmp_download_complete() == 1, "end of the download");
    client.close("`vellfeed l2-compare`");
    if (mdb.quiet)
        return 0;
    print_left_out(plans.newer, out);
    fmt::print(out, "vellfeed: sent {} in {}\n",
               download ? download_text(records) : changes_text(records),
               counted(messages.messages_sent(), "message"));
    return 0;
}

} // namespace feed
