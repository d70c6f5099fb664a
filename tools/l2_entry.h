// A layer-2 multicast entry as the service is to hold it.
#pragma once

#include "net_address.h"

#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace feed {

// What the service tells entries apart by.
struct l2_key {
    std::uint32_t vlan = 0;
    net_address group;
    std::optional<net_address> source; // none: any source

    // Within a VLAN by kind, then by group, any source first.
    friend auto operator<=>(const l2_key &, const l2_key &) = default;
};

// "(10.0.0.9, 239.1.1.2) in VLAN 10", "(*, 01:1b:19:00:00:00) in VLAN 30"
std::string key_text(const l2_key &key);

struct l2_port {
    std::uint32_t if_index = 0;
    std::uint32_t flags = 0; // VELL_L2_OIF_SVI: the VLAN's own interface

    friend auto operator<=>(const l2_port &, const l2_port &) = default;
};

struct l2_entry {
    std::size_t entry = 0; // the database's entry where it appears first, counted from 0
    l2_key key;
    std::uint32_t bridge = 0; // interface index
    bool permanent = false;
    std::vector<l2_port> ports; // sorted, each index once
};

} // namespace feed
