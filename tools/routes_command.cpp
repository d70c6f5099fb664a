#include "commands.h"
#include "common_options.h"
#include "counted.h"
#include "route_message.h"
#include "send_all.h"
#include "sim/base/print.h"

#include <CLI/CLI.hpp>

namespace feed {

void routes_command::add_to(CLI::App &command) {
    table.add_to(command);
    command.add_flag("--delete", deletion, "Delete the table's routes instead of adding them");
    add_message_bytes(command, message_bytes, "route");
    add_session_options(command, session);
    command.footer("The whole table is read and checked before anything is sent. Entries that the "
                   "kernel has not\n"
                   "resolved yet, or whose incoming interface is gone, are skipped and counted. "
                   "Sent means handed\n"
                   "to the transport; `vellfeed compare` tells what arrived.\n"
                   "Example: vellfeed routes campus.mroute.json --links campus.links.json");
}

int routes_command::run(std::ostream &out) const {
    table.check();
    const route_plan plan = load_plan(table, deletion, out);
    client_session client(session);
    route_messages messages(message_bytes,
                            [&](std::span<std::uint8_t> message, std::uint16_t routes) {
                                return client.send_routes(message, routes);
                            });
    send_all(plan.routes, messages, "route");
    client.close();
    if (table.quiet)
        return 0;
    if (plan.ttl_thresholds > 0) {
        fmt::print(
            out, "vellfeed: {} with a TTL threshold above 1: a route record has no place for it\n",
            counted(plan.ttl_thresholds, "outgoing interface"));
    }
    const std::string skipped = skipped_text(plan);
    // What the service makes of them is not known here: a delete may find no route.
    fmt::print(out, "vellfeed: sent {} in {}{}{}\n",
               counted(messages.records_sent(), deletion ? "delete" : "route"),
               counted(messages.messages_sent(), "message"), skipped.empty() ? "" : ", ", skipped);
    return 0;
}

} // namespace feed
