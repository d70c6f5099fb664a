// The ports of a kernel's bridges as `bridge -j -d link show` prints them.
#pragma once

#include "text_input.h"

#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

namespace feed {

struct bridge_port {
    std::size_t entry = 0; // in the document, counted from 0
    std::string name;
    std::uint32_t index = 0; // the kernel's
    std::string bridge;
    bool floods = false; // multicast that nobody is known to want
};

struct port_table {
    std::string name;
    std::size_t entries = 0;
    std::vector<bridge_port> ports;
    std::set<std::string> bridges; // of all ports, those left out as well
    std::size_t other_bridges = 0; // ports left out

    // Where a value stands, for error messages, by the way to it from its entry: "/ifname".
    std::string place(const bridge_port &port, const std::string &pointer) const;
};

// Throws input_error when the text is anything but such a list. Of bridges other than these, unless
// there are none, nothing is looked at; nor is it of an interface that is no bridge's.
port_table parse_bridge_ports(const text_input &input, const std::set<std::string> &bridges);

} // namespace feed
