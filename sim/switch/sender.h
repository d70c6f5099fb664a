// Who sent a request: a process, and its client id, which is 0 for a peer that has a queue only.
#pragma once

#include <cstdint>

namespace sim {

struct sender_name {
    std::uint8_t client = 0;
    std::uint32_t pid = 0;
};

} // namespace sim
