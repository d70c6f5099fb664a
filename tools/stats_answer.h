// What the service answers to a statistics or clear request.
#pragma once

#include "net_address.h"
#include "transport_queue.h"

#include <compare>
#include <cstdint>
#include <string>

namespace feed {

// A route of either family. Source and group are of one kind.
struct stats_route {
    std::uint32_t table = 0;
    net_address source;
    std::uint8_t source_length = 0;
    net_address group;
    std::uint8_t group_length = 0;

    friend auto operator<=>(const stats_route &, const stats_route &) = default;
};

// "(10.0.0.9, 239.1.1.2) in table 253", "(*, ff0e::1/64) in table 100"
std::string route_text(const stats_route &route);

struct stats_answer {
    bool found = false;
    bool cleared = false;
    std::uint64_t packets = 0; // these as they were before a clearing
    std::uint64_t bytes = 0;
    std::uint64_t wrong_interface = 0;
};

// Whether a message is the answer to a request of that opcode for that route.
bool is_stats_answer(const received_message &message, std::uint32_t opcode,
                     const stats_route &route);

// Reads the answer to a request of that opcode for that route; `request` is what it is called.
// Throws session_error when the message is anything else.
stats_answer parse_stats_answer(const received_message &message, std::uint32_t opcode,
                                const stats_route &route, const char *request);

} // namespace feed
