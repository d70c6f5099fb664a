// The options with which the ports of bridges are read and turned into flood sets, alike for
// feeding them and for comparing them.
#pragma once

#include "flood_plan.h"
#include "sim/base/cli_fwd.h"

#include <ostream>
#include <string>
#include <vector>

namespace feed {

struct flood_options {
    bool live = false;
    std::vector<std::string> vlans;   // BRIDGE=N
    std::vector<std::string> bridges; // all, when none
    bool quiet = false;

    void add_to(CLI::App &command);

    // Throws usage_error when they make no sense. `inputs` are the files that the command reads.
    void check(const std::vector<std::string> &inputs) const;

    // Reads the ports of this file, or of this machine, and checks them.
    flood_plan load(const std::string &path) const;
    flood_plan load_live() const;

    // Throws input_error when an option names a bridge that has a port in neither plan: it is
    // mistyped then.
    void check_bridges(const flood_plan &newer, const flood_plan &older = {}) const;

    // What the sets do not say, unless it is to be quiet.
    void print_left_out(const flood_plan &plan, std::ostream &out) const;
};

} // namespace feed
