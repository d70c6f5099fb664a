// The floors of routes and their statistics: the platform's calls and the bytes that they take, the
// test of the client's state, and nothing else.
#include "client.h"
#include "log_lines.h"
#include "versions.h"

#include <qarnutils.h>
#include <tlv.h>

#include <cstdint>
#include <cstring>

namespace bench {

namespace {

struct v4_key {
    std::uint32_t table_id;
    std::uint8_t source_length, group_length, reserved[2];
    std::uint32_t source, group;
};

struct v6_key {
    std::uint32_t table_id;
    std::uint8_t source_length, group_length, source[16], group[16], reserved[2];
};

struct v6_notice {
    std::uint8_t client_id, reserved1;
    std::uint16_t third;
    std::uint32_t reserved2, first, second;
};

struct VELL_RECORD dux_message {
    vell_mrib_message head;
    vell_mrib_route route;
    std::uint8_t tlvs[52];
};

// With the log line of either version, which is all that makes the plain one.
template <typename Lines>
[[gnu::always_inline]] inline std::uint32_t
send_v6_notice(std::uint32_t first, std::uint32_t second, std::uint16_t third) {
    if (!acknowledged()) {
        Lines::error_700();
        return 0;
    }
    const v6_notice notice = {client_id, 0, third, 0, first, second};
    return send_and_drop(client_queue, routes, 75779, 1, &notice, sizeof(notice));
}

[[gnu::always_inline]] inline int send_v6_key(std::uint32_t opcode, std::uint32_t table_id,
                                              const void *source, std::uint8_t source_length,
                                              const void *group, std::uint8_t group_length) {
    if (!acknowledged())
        return 0;
    v6_key key;
    key.table_id = table_id;
    key.source_length = source_length;
    key.group_length = group_length;
    ipv6_addr_copy(source, key.source);
    ipv6_addr_copy(group, key.group);
    std::memset(key.reserved, 0, sizeof(key.reserved));
    return send_and_drop(client_queue, routes, opcode, 0, &key, sizeof(key));
}

} // namespace

} // namespace bench

using namespace bench;

// Visible like the library's own, which clients may write.
extern "C" {
VELL_API std::uint8_t floor_mrib_buf[VELL_MRIB_BUF_SIZE];
VELL_API vell_oif_list *floor_oifs;
VELL_API std::uint32_t floor_tlv_addr;
VELL_API std::uint32_t floor_tlv_size;
}

void floor_mrib_add_oifs_begin(void) {
    floor_oifs = reinterpret_cast<vell_oif_list *>(floor_mrib_buf);
    floor_oifs->count = 0;
}

void floor_mrib_add_reg_oif(std::uint32_t if_index) {
    vell_oif_list *const list = floor_oifs;
    if (list == nullptr)
        return;
    reinterpret_cast<vell_oif_entry *>(list + 1)[list->count++] = {if_index, vell_oif_kind_reg};
}

void floor_mrib_add_oifs_end(vell_mrib_route *route) {
    vell_oif_list *const list = floor_oifs;
    if (list == nullptr || list->count == 0)
        return;
    tlv_aligned_array_append_tlv(route + 1, &floor_tlv_addr, &floor_tlv_size, VELL_MRIB_BUF_SIZE, 0,
                                 static_cast<std::uint16_t>(4 + list->count * 8), list, 0);
    floor_oifs = nullptr;
}

std::uint32_t floor_send_v4_mroute_update(void *message, std::uint32_t length,
                                          std::uint16_t route_count, std::uint16_t marker,
                                          kyt_msg_ref *reference) {
    if (!acknowledged())
        return 0;
    auto *const head = static_cast<vell_mrib_message *>(message);
    head->client_id = client_id;
    head->route_count = route_count;
    head->marker = marker;
    const bool sent = send(client_queue, routes, 75831, 1, message, length, reference);
    floor_tlv_addr = 0;
    floor_tlv_size = 0;
    return sent;
}

std::uint32_t floor_mrib_send_dux_role_update(std::uint32_t role) {
    if (!acknowledged())
        return 0;
    static constexpr std::uint32_t flags[] = {
        0, vell_mrib_flag_dux_forward_all, vell_mrib_flag_dux_forward_even,
        vell_mrib_flag_dux_forward_odd, vell_mrib_flag_dux_forward_none};
    dux_message message = {};
    message.head = {client_id, 0, 1, 0x5aa5, {}};
    message.route.opcode = 23;
    message.route.flags = role < 5 ? flags[role] : 0;
    const std::uint32_t length = 52 + tlv_aligned_array_size_get(message.tlvs, 0);
    return send_and_drop(client_queue, routes, 75831, 0, &message, length);
}

int floor_send_v4_mroute_stats_req(std::uint32_t table_id, std::uint32_t source,
                                   std::uint8_t source_length, std::uint32_t group,
                                   std::uint8_t group_length, std::uint32_t clear_counters) {
    if (!acknowledged())
        return 0;
    const struct {
        v4_key key;
        std::uint32_t clear_counters;
    } payload = {{table_id, source_length, group_length, {}, source, group}, clear_counters};
    return send_and_drop(client_queue, routes, 75785, 0, &payload, sizeof(payload));
}

int floor_send_v4_mroute_clear_req(std::uint32_t table_id, std::uint32_t source,
                                   std::uint8_t source_length, std::uint32_t group,
                                   std::uint8_t group_length) {
    if (!acknowledged())
        return 0;
    const v4_key key = {table_id, source_length, group_length, {}, source, group};
    return send_and_drop(client_queue, routes, 75798, 0, &key, sizeof(key));
}

int floor_send_v6_mroute_stats_req(std::uint32_t table_id, const void *source,
                                   std::uint8_t source_length, const void *group,
                                   std::uint8_t group_length) {
    return send_v6_key(75786, table_id, source, source_length, group, group_length);
}

int floor_send_v6_mroute_clear_req(std::uint32_t table_id, const void *source,
                                   std::uint8_t source_length, const void *group,
                                   std::uint8_t group_length) {
    return send_v6_key(75799, table_id, source, source_length, group, group_length);
}

std::uint32_t floor_send_v6_mroute_update(std::uint32_t first, std::uint32_t second,
                                          std::uint16_t third) {
    return send_v6_notice<floor_lines>(first, second, third);
}

std::uint32_t plain_send_v6_mroute_update(std::uint32_t first, std::uint32_t second,
                                          std::uint16_t third) {
    return send_v6_notice<plain_lines>(first, second, third);
}
