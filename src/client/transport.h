// The way out: every request to the service is one kyt_send made here.
#pragma once

#include <kyt.h>

#include <cstdint>

namespace vell {

// Where a request goes, what it is, and word 1 of its send options.
struct service_request {
    std::uint32_t sap;
    std::uint32_t opcode;
    std::uint32_t option_word1;
};

inline constexpr std::uint32_t sap_registration = 212;
inline constexpr std::uint32_t sap_notifications = 213;
inline constexpr std::uint32_t sap_routes = 214;

inline constexpr std::uint32_t opcode_ipv4_route_message = 75831;
inline constexpr std::uint32_t opcode_overlay_disable = 75820;

namespace request {

inline constexpr service_request client_register = {sap_registration, 75796, 0};
inline constexpr service_request client_deregister = {sap_registration, 75797, 0};
inline constexpr service_request ipv4_route_update = {sap_routes, opcode_ipv4_route_message, 1};
inline constexpr service_request ipv6_route_notice = {sap_routes, 75779, 1};
// A route message too, but with option word 1 left at 0.
inline constexpr service_request dux_role_update = {sap_routes, opcode_ipv4_route_message, 0};
inline constexpr service_request ipv4_stats = {sap_routes, 75785, 0};
inline constexpr service_request ipv4_stats_clear = {sap_routes, 75798, 0};
inline constexpr service_request ipv6_stats = {sap_routes, 75786, 0};
inline constexpr service_request ipv6_stats_clear = {sap_routes, 75799, 0};
inline constexpr service_request igmp_oob_marker = {sap_notifications, 75804, 0};
inline constexpr service_request igmp_download_complete = {sap_notifications, 75789, 0};
inline constexpr service_request l2_update = {sap_notifications, 75821, 1};
inline constexpr service_request overlay_feature_disable = {sap_notifications,
                                                            opcode_overlay_disable, 0};
inline constexpr service_request overlay_vlans_disable = {sap_notifications, opcode_overlay_disable,
                                                          1};
inline constexpr service_request overlay_route_update = {sap_notifications, 75818, 1};

} // namespace request

inline constexpr std::uint32_t service_node = 0xfe000000;
inline constexpr std::uint32_t no_send_flags = 0;
inline constexpr std::int32_t send_failed = -1;

// Both are part of every sender, so that a request costs what kyt_send does and hardly more.

// Sends `length` bytes of payload from `queue`. When it returns true, `reference` holds a message
// reference that somebody must release: the caller of the library, or the sender with kyt_drop.
[[gnu::always_inline]] inline bool send_request(const service_request &request, std::uint32_t queue,
                                                const void *payload, std::uint32_t length,
                                                kyt_msg_ref *reference) {
    const std::uint32_t options[KYT_SEND_OPTION_WORDS] = {1, request.option_word1};
    return kyt_send(queue, service_node, request.sap, request.opcode, payload, length, reference,
                    no_send_flags, options) != send_failed;
}

// Sends as above and releases the message reference at once.
[[gnu::always_inline]] inline bool send_and_release(const service_request &request,
                                                    std::uint32_t queue, const void *payload,
                                                    std::uint32_t length) {
    kyt_msg_ref reference;
    if (!send_request(request, queue, payload, length, &reference))
        return false;
    kyt_drop(queue, &reference);
    return true;
}

} // namespace vell
