#include "stats_answer.h"

#include "input_error.h"
#include "sim/wire/vell_sim.h"

#include <cstring>
#include <fmt/format.h>

namespace feed {

namespace {

using answer_record = vell_sim_stats;

net_address answered_address(const answer_record &answer, const std::uint8_t (&field)[16]) {
    if (answer.family != 4)
        return ipv6_address(field);
    std::uint32_t number = 0;
    std::memcpy(&number, field, sizeof number);
    return ipv4_address(number);
}

stats_route answered_route(const answer_record &answer) {
    return {answer.table, answered_address(answer, answer.source), answer.source_length,
            answered_address(answer, answer.group), answer.group_length};
}

std::string prefix_text(const net_address &address, std::uint8_t length) {
    if (length == 0 && is_any(address))
        return "*";
    const bool whole = length == (address.kind == address_kind::ipv4 ? 32 : 128);
    return whole ? address_text(address) : fmt::format("{}/{}", address_text(address), length);
}

void check_route(const answer_record &answer, const stats_route &route, const char *request) {
    if (answer.family != 4 && answer.family != 6) {
        throw session_error(
            fmt::format("the switch answered the {} for a route of family {}, expected 4 or 6",
                        request, answer.family));
    }
    const stats_route answered = answered_route(answer);
    if (answered != route) {
        throw session_error(fmt::format("the switch answered the {} for the route {}, expected {}",
                                        request, route_text(answered), route_text(route)));
    }
}

} // namespace

std::string route_text(const stats_route &route) {
    return fmt::format("({}, {}) in table {}", prefix_text(route.source, route.source_length),
                       prefix_text(route.group, route.group_length), route.table);
}

bool is_stats_answer(const received_message &message, std::uint32_t opcode,
                     const stats_route &route) {
    const auto payload = message.payload();
    if (message.opcode() != opcode || payload.size() != sizeof(answer_record))
        return false;
    answer_record answer;
    std::memcpy(&answer, payload.data(), sizeof answer);
    return answered_route(answer) == route;
}

stats_answer parse_stats_answer(const received_message &message, std::uint32_t opcode,
                                const stats_route &route, const char *request) {
    const auto payload = message.payload();
    if (message.opcode() != opcode || payload.size() != sizeof(answer_record)) {
        throw session_error(fmt::format(
            "the switch answered the {} with a message of opcode {} and {} bytes, expected "
            "opcode {} and {} bytes",
            request, message.opcode(), payload.size(), opcode, sizeof(answer_record)));
    }
    answer_record answer;
    std::memcpy(&answer, payload.data(), sizeof answer);
    check_route(answer, route, request);
    if (answer.status != VELL_SIM_ROUTE_FOUND && answer.status != VELL_SIM_NO_SUCH_ROUTE) {
        throw session_error(fmt::format(
            "the switch answered the {} with the status {}, expected {} for found or {} for "
            "no such route",
            request, answer.status, std::uint32_t{VELL_SIM_ROUTE_FOUND},
            std::uint32_t{VELL_SIM_NO_SUCH_ROUTE}));
    }
    return {answer.status == VELL_SIM_ROUTE_FOUND, answer.cleared != 0, answer.packets,
            answer.bytes, answer.wrong_if};
}

} // namespace feed
