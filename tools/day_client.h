// The one client of a day of a switch, and what it has done.
#pragma once

#include "asked_counters.h"
#include "client_session.h"
#include "flood_changes.h"
#include "l2_changes.h"
#include "ltl_book.h"
#include "mdb_options.h"
#include "route_plan.h"

#include <cstddef>
#include <ostream>
#include <string>
#include <vector>

namespace feed {

// All that the day brings.
struct day_plan {
    route_plan routes;
    l2_plans groups;
    l2_plans ltls; // the same groups, with their ports as the LTL manager knows them
    std::vector<flood_set> ports;
    std::vector<flood_set> later_ports;
};

// What was sent, and what was refused of it.
struct day_record {
    std::size_t routes = 0;
    std::size_t layer2_records = 0;
    std::size_t flood_sets = 0;
    std::vector<std::string> flood_refusals;
    ltl_book ltls;
    std::vector<asked_counter> counters;
};

// Registers, lives the day and deregisters, and tells of each step. Throws session_error when the
// switch does not answer or goes away; what it refuses is part of the record.
day_record live_day(const day_plan &plan, const session_options &session, std::ostream &out);

} // namespace feed
