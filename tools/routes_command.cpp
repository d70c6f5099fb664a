#include "commands.h"
#include "input_error.h"
#include "route_message.h"

#include <fmt/ostream.h>

namespace feed {

namespace {

// "1 route", "2 routes"
std::string counted(std::size_t count, const char *what) {
    return fmt::format("{} {}{}", count, what, count == 1 ? "" : "s");
}

void feed_routes(const route_plan &plan, route_messages &messages) {
    bool sent = true;
    for (auto route = plan.routes.begin(); sent && route != plan.routes.end(); ++route)
        sent = messages.add(*route);
    if (sent && messages.flush())
        return;
    throw session_error(
        fmt::format("message {} could not be sent: the switch went away; {} of {} in {} went out before",
                    messages.messages_sent() + 1, messages.routes_sent(), counted(plan.routes.size(), "route"),
                    counted(messages.messages_sent(), "message")));
}

} // namespace

int routes_command::run(std::ostream &out) const {
    table.check();
    const route_plan plan = load_plan(table, deletion, out);
    client_session client(session);
    route_messages messages(message_bytes, [&](std::span<std::uint8_t> message, std::uint16_t routes) {
        return client.send_routes(message, routes);
    });
    feed_routes(plan, messages);
    client.close();
    if (table.quiet)
        return 0;
    if (plan.ttl_thresholds > 0) {
        fmt::print(out, "vellfeed: {} with a TTL threshold above 1: a route record has no place for it\n",
                   counted(plan.ttl_thresholds, "outgoing interface"));
    }
    const std::string skipped = skipped_text(plan);
    // What the service makes of them is not known here: a delete may find no route.
    fmt::print(out, "vellfeed: sent {} in {}{}{}\n", counted(messages.routes_sent(), deletion ? "delete" : "route"),
               counted(messages.messages_sent(), "message"), skipped.empty() ? "" : ", ", skipped);
    return 0;
}

} // namespace feed
