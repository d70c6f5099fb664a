// What the floors and the plain versions start from: the client's state, reached as the library
// reaches its own, and the barest way out.
#pragma once

#include <kyt.h>

#include <cstdint>

namespace bench {

[[gnu::visibility("hidden")]] extern std::uint8_t client_id;
[[gnu::visibility("hidden")]] extern std::uint32_t client_queue;
[[gnu::visibility("hidden")]] extern std::uint32_t client_uuid;

inline constexpr std::uint32_t node = 0xfe000000;
inline constexpr std::uint32_t registration = 212, notifications = 213, routes = 214;

inline bool acknowledged() {
    return client_id != 0 && client_queue != 0;
}

[[gnu::always_inline]] inline bool send(std::uint32_t queue, std::uint32_t sap,
                                        std::uint32_t opcode, unsigned option, const void *payload,
                                        std::uint32_t length, kyt_msg_ref *reference) {
    // Every request has an options block of its own: that is promised to the transport.
    const std::uint32_t options[KYT_SEND_OPTION_WORDS] = {1, option};
    return kyt_send(queue, node, sap, opcode, payload, length, reference, 0, options) != -1;
}

[[gnu::always_inline]] inline bool send_and_drop(std::uint32_t queue, std::uint32_t sap,
                                                 std::uint32_t opcode, unsigned option,
                                                 const void *payload, std::uint32_t length) {
    kyt_msg_ref reference;
    if (!send(queue, sap, opcode, option, payload, length, &reference))
        return false;
    kyt_drop(queue, &reference);
    return true;
}

} // namespace bench
