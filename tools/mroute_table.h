// The kernel's multicast routing table as `ip -j mroute show` prints it.
#pragma once

#include "text_input.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace feed {

struct mroute_oif {
    std::string name;
    std::uint32_t ttl = 1; // a packet has to arrive with more than this to leave here
};

enum class mroute_state {
    resolved,
    unresolved,     // packets wait, and the kernel still asks its daemon what to do with them
    interface_gone, // resolved, but the incoming interface is no more; the kernel forwards nothing
};

struct mroute_entry {
    mroute_state state = mroute_state::resolved;
    std::uint32_t source = 0; // host byte order, as everywhere here
    std::uint32_t group = 0;
    std::string iif; // resolved entries only
    std::vector<mroute_oif> oifs;
    std::optional<std::uint32_t> table; // `ip` names it only when asked for more than one
};

struct mroute_table {
    std::string name;
    std::vector<mroute_entry> entries; // all of them, in the order of the input

    // Where a value stands, for error messages, by the way to it from its entry:
    // "/multipath/2/oif".
    std::string place(std::size_t entry, const std::string &pointer) const;
};

// Throws input_error when the text is anything but such a table.
mroute_table parse_mroute_table(const text_input &input);

} // namespace feed
