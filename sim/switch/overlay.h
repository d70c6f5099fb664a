// The overlay's notifications, all in host byte order.
//
//   overlay notification   u16 type, u16 length of the whole message
//     types 1 and 3        the overlay feature is disabled, without and with the flag: 8 bytes,
//                          u32 0 after the head
//     type 2               VLANs are disabled: their ids after the head, u16 each
//   overlay route update   u16 type, u16 length of the whole message, a body of the sender's making
#pragma once

#include "sim/switch/client.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <set>
#include <vector>

namespace sim {

enum class overlay_feature { enabled, disabled, disabled_with_flag };

struct overlay_route {
    sender_name from{};
    std::uint16_t type = 0;
    std::vector<std::byte> body{};
};

struct overlay_state {
    overlay_feature feature = overlay_feature::enabled;
    std::set<std::uint16_t> vlans_disabled{};
    std::deque<overlay_route> routes{}; // oldest first
    std::uint64_t route_updates = 0;    // forgotten ones included
};

} // namespace sim
