#include "stats_request.h"

#include "input_error.h"
#include "sim/wire/protocol.h"

#include <vell.h>

#include <fmt/format.h>

namespace feed {

namespace {

// A request that the service answers under the same opcode.
struct stats_request {
    const char *name;
    std::uint32_t opcode;
    int (*send)(const stats_route &route);
    const char *teller =
        nullptr; // of one that changes something, the command that shows what became of it
};

template <auto Send, auto... Last>
int send_ipv4(const stats_route &route) {
    return Send(route.table, ipv4_number(route.source), route.source_length,
                ipv4_number(route.group), route.group_length, Last...);
}

template <auto Send>
int send_ipv6(const stats_route &route) {
    return Send(route.table, route.source.bytes.data(), route.source_length,
                route.group.bytes.data(), route.group_length);
}

constexpr char stats_name[] = "statistics request";
constexpr char clear_name[] = "clear request";

constexpr char show_stats[] = "`vellsim show stats`";

constexpr stats_request ipv4_stats = {stats_name, VELL_SIM_OPCODE_IPV4_STATS,
                                      send_ipv4<vell_send_v4_mroute_stats_req, 0>};
constexpr stats_request ipv4_stats_and_clear = {stats_name, VELL_SIM_OPCODE_IPV4_STATS,
                                                send_ipv4<vell_send_v4_mroute_stats_req, 1>,
                                                show_stats};
constexpr stats_request ipv4_clear = {clear_name, VELL_SIM_OPCODE_IPV4_CLEAR,
                                      send_ipv4<vell_send_v4_mroute_clear_req>, show_stats};
constexpr stats_request ipv6_stats = {stats_name, VELL_SIM_OPCODE_IPV6_STATS,
                                      send_ipv6<vell_send_v6_mroute_stats_req>};
constexpr stats_request ipv6_clear = {clear_name, VELL_SIM_OPCODE_IPV6_CLEAR,
                                      send_ipv6<vell_send_v6_mroute_clear_req>, show_stats};

stats_answer ask(client_session &client, const stats_request &request, const stats_route &route) {
    require_sent(request.send(route) == 1, request.name);
    const expected_action action = {fmt::format("answer the {}", request.name),
                                    fmt::format("answering the {}", request.name), request.teller};
    const received_message message = client.await(action, [&](const received_message &answer) {
        return is_stats_answer(answer, request.opcode, route);
    });
    const stats_answer answer = parse_stats_answer(message, request.opcode, route, request.name);
    if (!answer.found)
        throw refused_request(fmt::format("the switch has no route {}", route_text(route)));
    return answer;
}

} // namespace

// The counters as they were when they were cleared, so that nothing counted in between is lost.
stats_answer ask_stats(client_session &client, const stats_route &route, stats_clearing clearing) {
    const bool ipv4 = route.group.kind == address_kind::ipv4;
    if (clearing == stats_clearing::alone)
        return ask(client, ipv4 ? ipv4_clear : ipv6_clear, route);
    if (ipv4)
        return ask(client, clearing == stats_clearing::as_well ? ipv4_stats_and_clear : ipv4_stats,
                   route);
    // Of an IPv6 route the statistics request does not clear.
    const stats_answer answer = ask(client, ipv6_stats, route);
    return clearing == stats_clearing::as_well ? ask(client, ipv6_clear, route) : answer;
}

} // namespace feed
