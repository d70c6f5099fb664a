// The LTL manager's tables as JSON.
#pragma once

#include "service.h"
#include "show_query.h"

#include <string>

namespace sim {

std::string show_ltls(const service &vell, const show_query &query);
std::string show_flood(const service &vell, const show_query &query);

} // namespace sim
