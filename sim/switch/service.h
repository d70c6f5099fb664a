// The vell service of the simulator: its tables, and what a request does to them. Knows nothing of
// sockets.
#pragma once

#include "sim/switch/client.h"
#include "sim/switch/fault_modes.h"
#include "sim/switch/l2.h"
#include "sim/switch/ltl.h"
#include "sim/switch/notices.h"
#include "sim/switch/overlay.h"
#include "sim/switch/route.h"
#include "sim/switch/stats.h"
#include "sim/wire/frame.h"

#include <cstddef>
#include <cstdint>
#include <fmt/format.h>
#include <functional>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace sim {

inline constexpr std::uint32_t log_level_error = 102; // refusals and errors
inline constexpr std::uint32_t log_level_trace = 104; // the rest

// A test makes a switch in a line, and hands it requests as its peers send them:
//
//     service vell;
//     session peer{.pid = 1};
//     const std::vector<reply> answers = handle_request(vell, peer, head, payload);
struct service {
    fault_modes faults;
    std::function<void(std::uint32_t level, const std::string &text)> log =
        [](std::uint32_t, const std::string &) {};

    template <typename... Values>
    void error(fmt::format_string<Values...> format, Values &&...values) const {
        log(log_level_error, fmt::format(format, std::forward<Values>(values)...));
    }
    template <typename... Values>
    void trace(fmt::format_string<Values...> format, Values &&...values) const {
        log(log_level_trace, fmt::format(format, std::forward<Values>(values)...));
    }

    client_table clients;
    std::map<route_key, route> routes;
    std::size_t route_list_bytes = 0; // of all routes
    l2_tables l2{};
    batch_table batches{};
    counter_table counters{};
    overlay_state overlay{};
    ltl_table ltls{};
    flood_table floods{};    // of the LTL manager; the flood lists of layer-2 messages are in l2
    bool is_stopped = false; // was asked to end
};

// One connection, as the service knows it.
struct session {
    std::uint32_t pid = 0;
    client_key client_of = 0; // 0 while not registered
    client_key peer = 0;      // its row while it is not registered; 0 until it sends something
    batch_key batch = 0;      // 0 while none is open
};

// The interfaces of all layer-2 entries, LTLs and flood sets.
std::size_t held_interfaces(const service &vell);

// Handles one request of a peer, whole or not at all: what is malformed is refused with a line in
// the log.
std::vector<reply> handle_request(service &vell, session &from, const frame_head &head,
                                  std::span<const std::byte> payload);

// What fault modes are on.
void log_faults(const service &vell);

// The peer's connection is gone; `how` says why, for the log.
void handle_loss(service &vell, session &from, std::string_view how);

// "client 3 (pid 4711)"
std::string describe(service &vell, const session &who);

} // namespace sim
