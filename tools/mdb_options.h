// The options with which a snooping database is read and turned into layer-2 entries, alike for feeding it and for
// comparing it.
#pragma once

#include "l2_plan.h"

#include <CLI/CLI.hpp>
#include <ostream>
#include <set>
#include <string>
#include <vector>

namespace feed {

struct mdb_options {
    std::string mdb_path;
    bool live = false;
    std::string links_path;
    bool number_interfaces = false;
    std::vector<std::string> vlans;   // BRIDGE=N
    std::vector<std::string> bridges; // all, when none
    bool quiet = false;

    void add_to(CLI::App &command);

    // Throws usage_error when the options do not fit together. `other_inputs` are further files that the command reads.
    void check(const std::vector<std::string> &other_inputs) const;

    std::set<std::string> wanted_bridges() const; // empty: all
};

// The database as it was before, and its links where they are not the other one's.
struct older_options {
    std::string mdb_path; // empty: there is none
    std::string links_path;

    void add_to(CLI::App &command);
    void check(const mdb_options &newer) const;
};

struct l2_plans {
    l2_plan newer;
    l2_plan older; // empty when there is none
};

// Reads the whole databases and checks them; the numbers given to interfaces are printed unless it is to be quiet.
l2_plans load_l2(const mdb_options &options, const older_options &older, std::ostream &out);

} // namespace feed
