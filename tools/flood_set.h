// To which interfaces a VLAN is flooded.
#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace feed {

struct flood_key {
    std::uint32_t vlan = 0;

    friend auto operator<=>(const flood_key &, const flood_key &) = default;
};

// "VLAN 10"
std::string key_text(const flood_key &key);

struct flood_set {
    std::size_t entry = 0; // where the VLAN appears first in the list of ports, counted from 0
    flood_key key;
    std::vector<std::uint32_t> interfaces;      // as the switch counts them, sorted, each once
    std::vector<std::uint32_t> vlan_interfaces; // the same, of those that are no ports to flood to
    std::uint32_t line_card_mask = 0;           // of the interfaces' line cards
};

} // namespace feed
