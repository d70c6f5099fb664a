// What was fed against what the switch holds.
#pragma once

#include "held_routes.h"
#include "route.h"

#include <string>
#include <vector>

namespace feed {

struct comparison {
    std::vector<std::string> lines; // one per difference, missing route and unexpected route
    std::size_t fed = 0;
    std::size_t differing = 0; // routes, each of which may have several lines
    std::size_t missing = 0;
    std::size_t unexpected = 0;

    bool equal() const { return differing == 0 && missing == 0 && unexpected == 0; }
};

comparison compare_routes(const std::vector<route> &fed, const std::vector<held_route> &held);

// "all 1200 fed routes arrived", or how many did not.
std::string closing_line(const comparison &result);

} // namespace feed
