// The markers that bracket a batch of layer-2 updates.
#pragma once

#include <cstdint>

namespace vell {

inline constexpr std::uint32_t oob_begin_marker = 1;
inline constexpr std::uint32_t oob_end_marker = 2;

// vell_send_igmp_oob_notification, for callers inside the library.
bool send_oob_marker(std::uint32_t marker);

} // namespace vell
