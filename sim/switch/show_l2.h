// The layer-2 tables as JSON.
#pragma once

#include "sim/switch/service.h"
#include "sim/switch/show_query.h"

#include <string>

namespace sim {

std::string show_l2(const service &vell, const show_query &query);

} // namespace sim
