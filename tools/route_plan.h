// Which routes a table is to become.
#pragma once

#include "interface_indexes.h"
#include "mroute_table.h"
#include "route.h"

#include <cstdint>
#include <string>
#include <vector>

namespace feed {

struct plan_options {
    std::uint32_t table = 253; // of entries that name none; 253 is the kernel's default one
    std::uint32_t epoch = 0;
    bool deletion = false;
};

struct route_plan {
    std::vector<route> routes;
    std::size_t unresolved = 0;     // entries that are no routes yet
    std::size_t interface_gone = 0; // entries that are no routes any more
    std::size_t ttl_thresholds =
        0; // outgoing interfaces with a threshold, which a route record cannot carry
};

// Throws input_error when the table holds what the service could not tell apart or a record could
// not carry.
route_plan plan_routes(const mroute_table &table, const interface_indexes &interfaces,
                       const plan_options &options);

// "3 unresolved skipped, 1 skipped whose incoming interface is gone", or nothing.
std::string skipped_text(const route_plan &plan);

} // namespace feed
