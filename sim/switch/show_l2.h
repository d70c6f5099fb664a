// The layer-2 tables as JSON.
#pragma once

#include "service.h"
#include "show_query.h"

#include <string>

namespace sim {

std::string show_l2(const service &vell, const show_query &query);

} // namespace sim
