// The counters as text for a terminal.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

namespace sim {

// Takes the table's JSON, as the switch gave it.
std::string stats_text(const nlohmann::ordered_json &table);

// The counters of one route, in a line.
std::string stats_row_text(const nlohmann::ordered_json &row);

} // namespace sim
