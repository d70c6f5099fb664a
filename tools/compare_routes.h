// What was fed against what the switch holds.
#pragma once

#include "comparison.h"
#include "held_routes.h"
#include "route.h"

#include <vector>

namespace feed {

comparison compare_routes(const std::vector<route> &fed, const std::vector<held_route> &held);

} // namespace feed
