// The tables as text for a terminal of 80 columns.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

namespace sim {

// Each takes the table's JSON, as the switch gave it.
std::string clients_text(const nlohmann::ordered_json &table);
std::string routes_text(const nlohmann::ordered_json &table);
std::string route_summary_text(const nlohmann::ordered_json &table);

} // namespace sim
