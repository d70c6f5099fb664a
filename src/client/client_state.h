// The client's registration: what every request starts from.
#pragma once

#include <cstdint>

// C linkage so that a debugger or a core dump reader finds them by these names; hidden so that no
// client depends on them.
extern "C" {

// The id the service gave in its acknowledgment; 0 when none is held.
[[gnu::visibility("hidden")]] extern std::uint8_t vell_client_id;

// The queue that requests are sent from; 0 when none is held.
[[gnu::visibility("hidden")]] extern std::uint32_t vell_client_q;

// The uuid that keys the per-client log.
[[gnu::visibility("hidden")]] extern std::uint32_t vell_client_uuid;
}

namespace vell {

// The uuid that messages are logged under while no client is registered.
inline constexpr std::uint32_t unregistered_uuid = 384;

// Whether the service has acknowledged the client, so that requests that name it may be sent.
inline bool client_acknowledged() {
    return vell_client_id != 0 && vell_client_q != 0;
}

} // namespace vell
