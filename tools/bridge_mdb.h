// The kernel's multicast snooping databases as `bridge -j -d mdb show` prints them.
#pragma once

#include "net_address.h"
#include "text_input.h"

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace feed {

// One port of a group.
struct mdb_entry {
    std::string bridge;
    std::uint32_t bridge_index = 0;
    std::string port; // the bridge itself where the machine is a member
    net_address group;
    std::optional<net_address> source; // of the group's kind; none: any source
    std::optional<std::uint32_t> vid;
    bool permanent = false;
    bool forwards =
        true; // false: kept for what is known of its sources, but the kernel sends nothing there

    std::string label;   // "entry 6 of 55"
    std::string pointer; // to it, in the document

    bool on_bridge_itself() const { return port == bridge; }
};

struct mdb_table {
    std::string name;
    std::vector<mdb_entry> entries;
    std::set<std::string> bridges; // of all entries and router ports, those left out as well
    std::size_t router_ports = 0;
    std::size_t other_bridges = 0; // entries left out

    // Where a value stands, for error messages, by the way to it from its entry: "/port".
    std::string place(const mdb_entry &entry, const std::string &pointer) const;
};

// Throws input_error when the text is anything but such databases. Of bridges other than these,
// unless there are none, nothing is looked at.
mdb_table parse_mdb(const text_input &input, const std::set<std::string> &bridges);

} // namespace feed
