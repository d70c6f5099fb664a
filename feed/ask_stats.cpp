// `vellfeed stats`: the counters of one route, read or cleared.
#include "feed/command_line.h"
#include "feed/failure.h"
#include "sim/base/address.h"
#include "sim/base/number_option.h"
#include "sim/wire/protocol.h"
#include "sim/wire/vell_sim.h"

#include <vell.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstring>
#include <fmt/format.h>
#include <memory>
#include <optional>
#include <string>

namespace feed {

namespace {

struct stats_options {
    std::uint32_t table = 253;
    sim::l2_address source;
    sim::l2_address group;
    std::optional<std::uint8_t> source_length; // none: all of the address
    std::optional<std::uint8_t> group_length;
    bool clear = false;
    bool clear_only = false;
    session_options client;
    sim::output_form form = sim::output_form::text;
    bool quiet = false;
};

// A route of either family, as requests and answers name it.
struct counted_route {
    std::uint32_t table;
    sim::l2_address source;
    std::uint8_t source_length;
    sim::l2_address group;
    std::uint8_t group_length;

    friend bool operator==(const counted_route &, const counted_route &) = default;

    bool is_ipv4() const { return group.kind == sim::l2_address_kind::ipv4; }
    std::string text() const {
        return fmt::format("{} in table {}",
                           sim::sg_text(source, source_length, group, group_length), table);
    }
};

counted_route route_of(const stats_options &options) {
    const bool is_ipv4 = options.group.kind == sim::l2_address_kind::ipv4;
    if (options.source.kind != options.group.kind) {
        throw CLI::ValidationError("--group", fmt::format("{} is not of the family of source {}",
                                                          sim::address_text(options.group),
                                                          sim::address_text(options.source)));
    }
    const std::uint8_t most = is_ipv4 ? 32 : 128;
    for (const auto &[name, length] : {std::pair("--source-len", options.source_length),
                                       std::pair("--group-len", options.group_length)}) {
        if (length.value_or(0) > most) {
            throw CLI::ValidationError(name,
                                       fmt::format("{} is above {}, the length of an {} address",
                                                   *length, most, is_ipv4 ? "IPv4" : "IPv6"));
        }
    }
    return {options.table, options.source, options.source_length.value_or(most), options.group,
            options.group_length.value_or(most)};
}

sim::l2_address address_of(const vell_sim_stats &answer, const std::uint8_t (&field)[16]) {
    if (answer.family == 4) {
        std::uint32_t number = 0;
        std::memcpy(&number, field, sizeof number);
        return sim::ipv4_address(number);
    }
    sim::l2_address address{sim::l2_address_kind::ipv6, {}};
    std::ranges::copy(field, address.bytes.begin());
    return address;
}

std::optional<vell_sim_stats> read_answer(const received_message &message) {
    vell_sim_stats answer{};
    return vell_sim_stats_answer(static_cast<const kyt_sim_message *>(message.handle()), &answer) ==
                   VELL_SIM_READ
               ? std::optional(answer)
               : std::nullopt;
}

bool is_of(const counted_route &route, const vell_sim_stats &answer) {
    return (answer.family == 4 || answer.family == 6) &&
           counted_route{answer.table, address_of(answer, answer.source), answer.source_length,
                         address_of(answer, answer.group), answer.group_length} == route;
}

bool send(const counted_route &route, std::uint32_t opcode, bool clear) {
    const std::uint32_t source = sim::ipv4_number(route.source);
    const std::uint32_t group = sim::ipv4_number(route.group);
    switch (opcode) {
    case VELL_SIM_OPCODE_IPV4_STATS:
        return vell_send_v4_mroute_stats_req(route.table, source, route.source_length, group,
                                             route.group_length, clear ? 1 : 0) == 1;
    case VELL_SIM_OPCODE_IPV4_CLEAR:
        return vell_send_v4_mroute_clear_req(route.table, source, route.source_length, group,
                                             route.group_length) == 1;
    case VELL_SIM_OPCODE_IPV6_STATS:
        return vell_send_v6_mroute_stats_req(route.table, route.source.bytes.data(),
                                             route.source_length, route.group.bytes.data(),
                                             route.group_length) == 1;
    default:
        return vell_send_v6_mroute_clear_req(route.table, route.source.bytes.data(),
                                             route.source_length, route.group.bytes.data(),
                                             route.group_length) == 1;
    }
}

vell_sim_stats ask(session &client, const counted_route &route, std::uint32_t opcode,
                   bool clear = false) {
    const bool is_clear_request =
        opcode == VELL_SIM_OPCODE_IPV4_CLEAR || opcode == VELL_SIM_OPCODE_IPV6_CLEAR;
    const char *name = is_clear_request ? "clear request" : "statistics request";
    client.require_sent(send(route, opcode, clear), name);
    std::optional<vell_sim_stats> answer;
    client.await(name, [&](const received_message &message) {
        answer = message.opcode() == opcode ? read_answer(message) : std::nullopt;
        return answer && is_of(route, *answer);
    });
    if (answer->status == VELL_SIM_NO_SUCH_ROUTE) {
        throw session_error("the switch has no route " + route.text());
    }
    if (answer->status != VELL_SIM_ROUTE_FOUND) {
        throw session_error(fmt::format("the switch answered the {} with status {}, expected {} or "
                                        "{}",
                                        name, answer->status, int{VELL_SIM_ROUTE_FOUND},
                                        int{VELL_SIM_NO_SUCH_ROUTE}));
    }
    return *answer;
}

// The counters as they were when they were cleared, so that nothing counted in between is lost: an
// IPv6 route is cleared by a request of its own.
vell_sim_stats ask(session &client, const counted_route &route, const stats_options &options) {
    if (route.is_ipv4()) {
        return options.clear_only ? ask(client, route, VELL_SIM_OPCODE_IPV4_CLEAR)
                                  : ask(client, route, VELL_SIM_OPCODE_IPV4_STATS, options.clear);
    }
    vell_sim_stats answer{};
    if (!options.clear_only) {
        answer = ask(client, route, VELL_SIM_OPCODE_IPV6_STATS);
    }
    if (options.clear || options.clear_only) {
        answer = ask(client, route, VELL_SIM_OPCODE_IPV6_CLEAR);
    }
    return answer;
}

void print(sim::output &out, const counted_route &route, const vell_sim_stats &answer) {
    out.open_object();
    out.json("table", route.table);
    out.json("family", sim::kind_name(route.group.kind));
    out.json("source", sim::address_text(route.source));
    out.json("source_len", route.source_length);
    out.json("group", sim::address_text(route.group));
    out.json("group_len", route.group_length);
    out.json("packets", answer.packets);
    out.json("bytes", answer.bytes);
    out.json("wrong_if", answer.wrong_if);
    out.json("cleared", answer.cleared != 0);
    out.text("{}: {}, {}, {}{}\n", route.text(), sim::counted(answer.packets, "packet"),
             sim::counted(answer.bytes, "byte"), sim::counted(answer.wrong_if, "RPF failure"),
             answer.cleared != 0 ? "; cleared" : "");
    out.close_object();
}

int run(const stats_options &options, std::ostream &to) {
    const counted_route route = route_of(options);
    session client(options.client);
    client.register_client();
    const vell_sim_stats answer = ask(client, route, options);
    if (!options.quiet) {
        sim::output out(options.form);
        print(out, route, answer);
        print_result(out, to);
    }
    if ((options.clear || options.clear_only) && answer.cleared == 0) {
        throw session_error("the switch did not clear the counters");
    }
    client.close("`vellsim show stats`");
    return 0;
}

void add_address(CLI::App &app, const char *name, sim::l2_address &address, const char *help) {
    const auto read = [name, &address](const std::string &text) {
        const auto parsed = sim::parse_l2_address(text);
        if (!parsed || parsed->kind == sim::l2_address_kind::mac) {
            throw CLI::ValidationError(name,
                                       in_quotes(text) + " is not an IPv4 or an IPv6 address");
        }
        address = *parsed;
    };
    app.add_option_function<std::string>(name, read, help)
        ->option_text("ADDRESS REQUIRED")
        ->required();
}

} // namespace

action make_stats(CLI::App &app, command_context &context) {
    const auto options = std::make_shared<stats_options>();
    add_address(app, "--source", options->source, "Source of the route, IPv4 or IPv6");
    add_address(app, "--group", options->group, "Group of the route, of the same family");
    sim::add_number(app, "--table", options->table, "Table id of the route (default 253)")
        ->option_text("N");
    sim::add_number(app, "--source-len", options->source_length,
                    "Prefix length of the source (default 32 or 128)")
        ->option_text("N");
    sim::add_number(app, "--group-len", options->group_length,
                    "Prefix length of the group (default 32 or 128)")
        ->option_text("N");
    CLI::Option *clear =
        app.add_flag("--clear", options->clear, "Clear the counters once they are read");
    app.add_flag("--clear-only", options->clear_only, "Send the clear request alone")
        ->excludes(clear);
    app.parse_complete_callback([options] { route_of(*options); });
    add_client_options(app, options->client);
    add_json(app, options->form);
    add_quiet(app, options->quiet);
    app.footer("Prints the counters as they were before they were cleared. A (*, G) route is "
               "named with\n--source 0.0.0.0 --source-len 0.\n"
               "Example: vellfeed stats --source 10.0.0.9 --group 239.1.1.2 --clear");
    return [options, &context] { return run(*options, context.out); };
}

} // namespace feed
