// How often the switch was asked for the counters of routes.
#pragma once

#include "comparison.h"
#include "stats_answer.h"
#include "text_input.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace feed {

struct asked_counter {
    std::size_t entry = 0; // of the table, counted from 0
    stats_route key;
    std::uint32_t requests = 0;
};

// "(10.0.0.9, 239.1.1.2) in table 253"
std::string key_text(const stats_route &key);

// What `vellsim show stats --json` prints, without the routes that nobody has asked about. Throws
// input_error.
std::vector<asked_counter> parse_asked_counters(const text_input &input);

comparison compare_counters(const std::vector<asked_counter> &asked,
                            const std::vector<asked_counter> &held);

} // namespace feed
