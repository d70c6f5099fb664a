// `vellsim count`: traffic for a route's counters, which no packet of the simulator moves.
//
// The request is one frame of kind count_request, its payload a JSON object of source, group,
// table, source_len, group_len, packets, bytes and wrong_if. The reply comes as that of a show
// request: the route's counters, or an error.
#pragma once

#include "sim/switch/service.h"
#include "sim/switch/show_answer.h"
#include "sim/switch/statistics.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace sim {

struct count_request {
    std::string source; // IPv4 or IPv6, both of one family
    std::string group;
    std::uint32_t table = 253;
    std::optional<std::uint32_t> source_length{}; // the whole address unless given
    std::optional<std::uint32_t> group_length{};
    traffic added;
};

std::string encode_count_request(const count_request &wanted);

// Nothing when no route has such a key; `error` then says why.
std::optional<counter_key> counter_key_of(const count_request &wanted, std::string &error);

// Counts, and answers with the route's row of `show stats`.
show_answer answer_count(service &vell, std::string_view request);

} // namespace sim
