// The LTL manager's tables as JSON.
#pragma once

#include "sim/switch/service.h"
#include "sim/switch/show_query.h"

#include <string>

namespace sim {

std::string show_ltls(const service &vell, const show_query &query);
std::string show_flood(const service &vell, const show_query &query);

} // namespace sim
