// The interfaces that an LTL index is to stand for: named one by one, or a group's.
#pragma once

#include "sim/base/cli_fwd.h"

#include <cstdint>
#include <string>
#include <vector>

namespace feed {

struct ltl_ports {
    std::vector<std::string> names;
    bool none = false;
    std::string mdb_path; // empty: no group's
    std::string links_path;
    std::string bridge; // empty: the VLAN's by its name
    std::string group;
    std::string source; // empty: any

    void add_to(CLI::App &command);

    // Throws usage_error when the options do not say which interfaces, or say it twice. A group is
    // one of `vlan`, 0 for none.
    void check(std::uint32_t vlan) const;

    // Their indexes, in the order in which they are named, or sorted when they are a group's.
    // Throws usage_error for what is no interface's name, input_error for databases that are wrong
    // or do not have the group.
    std::vector<std::uint32_t> load(std::uint32_t vlan) const;
};

} // namespace feed
