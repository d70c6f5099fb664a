// The tables as text for a terminal of 80 columns.
#pragma once

#include "sim/wire/log_line.h"

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

namespace sim {

// Each takes the table's JSON, as the switch gave it.
std::string clients_text(const nlohmann::ordered_json &table);
std::string routes_text(const nlohmann::ordered_json &table);
std::string route_summary_text(const nlohmann::ordered_json &table);

// `matched` is how many lines there are; `lines` may be fewer.
std::string log_text(const std::vector<log_line> &lines, std::size_t matched);

} // namespace sim
