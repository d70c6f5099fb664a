// VLAN ids are numbers from 1 to this one.
#pragma once

#include <cstdint>

namespace feed {

inline constexpr std::uint16_t largest_vlan = 4094;

} // namespace feed
