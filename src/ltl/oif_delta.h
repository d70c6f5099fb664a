// What changed in one VLAN's flood set.
#pragma once

#include <vell.h>

#include <cstdint>

namespace vell {

// The entries of one VLAN, in the caller's message.
struct oif_array {
    vell_l2_oif *entries;
    std::uint32_t count;
};

// vell_find_oiflist_delta, for callers inside the library.
std::uint32_t find_oif_delta(const oif_array &was, const oif_array &is, vell_flood_delta *delta);

} // namespace vell
