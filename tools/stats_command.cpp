#include "commands.h"
#include "common_options.h"
#include "counted.h"
#include "input_error.h"
#include "printable.h"
#include "sim/base/print.h"
#include "stats_request.h"

#include <CLI/CLI.hpp>

namespace feed {

namespace {

net_address parse_option(const char *option, const std::string &text) {
    const auto address = parse_ip(text);
    if (!address)
        throw usage_error(
            fmt::format("{} {}: expected an IPv4 or an IPv6 address", option, in_quotes(text)));
    return *address;
}

std::uint8_t checked_length(const char *option, std::optional<std::uint8_t> length,
                            std::uint8_t most) {
    if (length.value_or(0) > most)
        throw usage_error(fmt::format("{} {}: an address has {} bits", option, *length, most));
    return length.value_or(most);
}

stats_route route_of(const stats_command &command) {
    stats_route route;
    route.table = command.table;
    route.source = parse_option("--source", command.source);
    route.group = parse_option("--group", command.group);
    if (route.source.kind != route.group.kind)
        throw usage_error("--source and --group are of different families; a route is of one");
    const std::uint8_t most = route.group.kind == address_kind::ipv4 ? 32 : 128;
    route.source_length = checked_length("--source-len", command.source_length, most);
    route.group_length = checked_length("--group-len", command.group_length, most);
    return route;
}

} // namespace

void stats_command::add_to(CLI::App &command) {
    command.add_option("--source", source, "Source of the route, an IPv4 or IPv6 address")
        ->option_text("ADDRESS REQUIRED")
        ->required();
    command.add_option("--group", group, "Group of the route, of the same family")
        ->option_text("ADDRESS REQUIRED")
        ->required();
    add_number(command, "--table", table, "Table id of the route (default 253)")->option_text("N");
    add_number(command, "--source-len", source_length,
               "Mask length of the source (default 32 or 128)")
        ->option_text("N");
    add_number(command, "--group-len", group_length, "Mask length of the group (default 32 or 128)")
        ->option_text("N");
    CLI::Option *clearing =
        command.add_flag("--clear", clear, "Clear the counters once they are read");
    command.add_flag("--clear-only", clear_only, "Send the clear request alone")
        ->excludes(clearing);
    add_session_options(command, session);
    command.footer("Prints the counters as they were before they were cleared. A route for any "
                   "source is named with\n"
                   "--source 0.0.0.0 --source-len 0.\n"
                   "Example: vellfeed stats --source 10.0.0.9 --group 239.1.1.2 --clear");
}

int stats_command::run(std::ostream &out) const {
    const stats_route route = route_of(*this);
    client_session client(session);
    const stats_clearing clearing = clear_only ? stats_clearing::alone
                                    : clear    ? stats_clearing::as_well
                                               : stats_clearing::none;
    const stats_answer answer = ask_stats(client, route, clearing);
    fmt::print(out, "{}: {}, {}, {}{}\n", route_text(route), counted(answer.packets, "packet"),
               counted(answer.bytes, "byte"),
               counted(answer.wrong_interface, "wrong-interface packet"),
               answer.cleared ? "; cleared" : "");
    if ((clear || clear_only) && !answer.cleared)
        throw session_error("the switch did not clear the counters");
    client.close("`vellsim show stats`");
    return 0;
}

} // namespace feed
