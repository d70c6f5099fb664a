// The counters as JSON.
#pragma once

#include "sim/switch/service.h"
#include "sim/switch/show_query.h"

#include <nlohmann/json_fwd.hpp>
#include <string>

namespace sim {

nlohmann::ordered_json stats_row(const counter_key &key, const route_counters &counters);

std::string show_stats(const service &vell, const show_query &query);

} // namespace sim
