// The options with which a snooping database is read and turned into layer-2 entries, alike for
// feeding it and for comparing it.
#pragma once

#include "interface_source.h"
#include "l2_plan.h"
#include "sim/base/cli_fwd.h"

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
    numbering numbering_option = numbering::offered;
    std::vector<std::string> vlans;   // BRIDGE=N
    std::vector<std::string> bridges; // all, when none
    bool quiet = false;

    void add_to(CLI::App &command);

    // Throws usage_error when the options do not fit together. `other_inputs` are further files
    // that the command reads.
    void check(const std::vector<std::string> &other_inputs) const;

    std::set<std::string> wanted_bridges() const; // empty: all
};

// The database as it was before, and its links where they are not the other one's.
struct older_options {
    std::string mdb_path; // empty: there is none
    std::string links_path;
    const char *links_option = "--older-links";

    void add_to(CLI::App &command);
    void check(const mdb_options &newer) const;
};

// A database with where its indexes come from.
struct loaded_mdb {
    mdb_table table;
    interface_source source;
};

struct loaded_mdbs {
    loaded_mdb newer;
    loaded_mdb older; // empty when there is none
};

// Reads the databases and checks that the links are theirs.
loaded_mdbs read_mdbs(const mdb_options &options, const older_options &older);

struct l2_plans {
    l2_plan newer;
    l2_plan older; // empty when there is none
};

// The layer-2 entries of databases that were read, without --number-interfaces, and the same with
// their ports as the switch counts them.
l2_plans plan_entries(const loaded_mdbs &loaded, const bridge_vlans &vlans);
l2_plans plan_switch_entries(const loaded_mdbs &loaded, const bridge_vlans &vlans);

// Reads the whole databases and checks them; the numbers given to interfaces are printed unless it
// is to be quiet.
l2_plans load_l2(const mdb_options &options, const older_options &older, std::ostream &out);

} // namespace feed
