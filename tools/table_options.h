// The options with which a table is read and turned into routes, alike for feeding it and for
// comparing it.
#pragma once

#include "interface_source.h"
#include "route_plan.h"
#include "sim/base/cli_fwd.h"

#include <cstdint>
#include <optional>
#include <ostream>
#include <string>

namespace feed {

struct table_options {
    std::string table_path;
    bool live = false;
    std::string links_path;
    bool number_interfaces = false;
    numbering numbering_option = numbering::offered;
    std::optional<std::uint32_t> table;
    std::uint32_t epoch = 0;
    bool quiet = false;

    void add_to(CLI::App &command);

    // Throws usage_error when the options do not fit together. `other_input` is a further file that
    // the command reads.
    void check(const std::string &other_input = {}) const;
};

// Reads the whole table and checks it; the numbers given to interfaces are printed unless it is to
// be quiet.
route_plan load_plan(const table_options &options, bool deletion, std::ostream &out);

} // namespace feed
