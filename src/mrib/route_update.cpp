#include "client/client_state.h"
#include "client/log.h"
#include "client/transport.h"
#include "mrib/route_tlvs.h"

#include <kyt.h>
#include <tlv.h>
#include <vell.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

static_assert(sizeof(vell_mrib_message) == 8 && alignof(vell_mrib_message) == 1 &&
              offsetof(vell_mrib_message, route_count) == 2 &&
              offsetof(vell_mrib_message, marker) == 4);

namespace vell {

namespace {

struct ipv6_route_notice {
    std::uint8_t client_id;
    std::uint8_t reserved1;
    std::uint16_t third;
    std::uint32_t reserved2;
    std::uint32_t first;
    std::uint32_t second;
};
static_assert(sizeof(ipv6_route_notice) == 16 && offsetof(ipv6_route_notice, third) == 2 &&
              offsetof(ipv6_route_notice, first) == 8 && offsetof(ipv6_route_notice, second) == 12);

struct dux_role_message {
    vell_mrib_message head;
    vell_mrib_route route;
    std::uint8_t tlvs[52];
};
static_assert(sizeof(dux_role_message) == 100 && offsetof(dux_role_message, route) == 8 &&
              offsetof(dux_role_message, tlvs) == 48);

constexpr std::uint16_t dux_role_marker = 0x5aa5;
constexpr std::uint8_t dux_role_opcode = 23;

#define ROLE_FLAG(value, name)                                                                     \
    case value:                                                                                    \
        return vell_mrib_flag_dux_##name;
std::uint64_t dux_role_flag(std::uint32_t role) {
    switch (role) {
    default:
        return 0;
        VELL_DUX_ROLE_TABLE(ROLE_FLAG)
    }
}
#undef ROLE_FLAG

std::uint32_t send_dux_role(std::uint32_t role) {
    if (!client_acknowledged())
        return 0;

    dux_role_message message = {};
    message.head.client_id = vell_client_id;
    message.head.route_count = 1;
    message.head.marker = dux_role_marker;
    message.route.opcode = dux_role_opcode;
    message.route.flags = dux_role_flag(role);

    const auto length = sizeof(message.head) + route_size(&message.route);
    return send_and_release(request::dux_role_update, vell_client_q, &message, length);
}

} // namespace

} // namespace vell

using namespace vell;

std::uint32_t vell_send_v4_mroute_update(void *message, std::uint32_t length,
                                         std::uint16_t route_count, std::uint16_t marker,
                                         kyt_msg_ref *reference) {
    if (!client_acknowledged())
        return 0;

    auto *const head = static_cast<vell_mrib_message *>(message);
    head->client_id = vell_client_id;
    head->route_count = route_count;
    head->marker = marker;

    const bool sent =
        send_request(request::ipv4_route_update, vell_client_q, message, length, reference);
    p_current_tlv_addr = 0;
    current_tlv_size = 0;
    return sent;
}

std::uint32_t vell_send_v6_mroute_update(std::uint32_t first, std::uint32_t second,
                                         std::uint16_t third) {
    if (!client_acknowledged()) {
        vell_log(log_error, "vell_send_v6_mroute_update", 700,
                 "%s(%d):ERROR: Client not registered\n");
        return 0;
    }

    ipv6_route_notice notice = {};
    notice.client_id = vell_client_id;
    notice.third = third;
    notice.first = first;
    notice.second = second;
    return send_and_release(request::ipv6_route_notice, vell_client_q, &notice, sizeof(notice));
}

std::uint32_t vell_mrib_send_dux_role_update(std::uint32_t role) {
    return send_dux_role(role);
}

#define DEFINE_ROLE_SENDER(value, name)                                                            \
    std::uint32_t vell_mrib_send_dux_role_##name(void) {                                           \
        return send_dux_role(value);                                                               \
    }
VELL_DUX_ROLE_TABLE(DEFINE_ROLE_SENDER)
#undef DEFINE_ROLE_SENDER

std::uint32_t vell_mrib_get_mroute_tlv_info(const vell_mrib_route *route, std::uint32_t *n_oif,
                                            std::uint32_t *n_mti, std::uint32_t *n_glt) {
    if (route == nullptr)
        return 0;

    std::uint32_t *const counts[list_types] = {n_oif, n_mti, n_glt};
    for (std::uint32_t *count : counts)
        *count = 0;

    std::uint32_t cursor = 0;
    const void *value = nullptr;
    for (std::uint8_t i = 0;; ++i) {
        // Asked before every step, since the array belongs to the platform.
        const std::int32_t tlvs = tlv_aligned_array_get_num_tlvs(tlv_array(route), 0);
        if (i >= tlvs)
            return static_cast<std::uint32_t>(tlvs);

        std::uint16_t type = 0;
        std::uint16_t length = 0;
        const std::uint32_t status =
            tlv_aligned_array_get_next_tlv(tlv_array(route), &type, &length, &value, 0, &cursor);
        if (status != 0)
            return status;
        if (type >= list_types)
            return type;
        std::memcpy(counts[type], value, sizeof(*counts[type]));
    }
}
