#include "route_message.h"

#include <vell.h>

#include <stdexcept>
#include <utility>

namespace feed {

namespace {

// vell_mrib_get_max_route_size has room for one TLV head; three lists have three.
constexpr std::size_t tlv_head_margin = 12;

std::size_t most_bytes(const route &route) {
    return vell_mrib_get_max_route_size(static_cast<std::uint32_t>(route.oifs.size()), 0, 0) +
           tlv_head_margin;
}

struct flag_setter {
    bool route_flags::*flag;
    void (*set)(vell_mrib_route *);
};

constexpr flag_setter flag_setters[] = {
    {&route_flags::download, vell_mrib_set_flags_download},
    {&route_flags::download_done, vell_mrib_set_flags_download_done},
    {&route_flags::wildcard_route, vell_mrib_set_flags_wildcard_route},
    {&route_flags::drop_route, vell_mrib_set_flags_drop_route},
    {&route_flags::local_group, vell_mrib_set_flags_local_group},
};

void fill_head(const route &route, vell_mrib_route *record) {
    vell_mrib_set_opcode(record, route.opcode);
    vell_mrib_set_flag_init(record);
    for (const flag_setter &setter : flag_setters) {
        if (route.flags.*setter.flag)
            setter.set(record);
    }
    vell_mrib_set_source(record, route.key.source, route.key.source_length);
    vell_mrib_set_group(record, route.key.group, route.key.group_length);
    vell_mrib_set_epoch(record, route.epoch);
    vell_mrib_set_rpfif(record, route.rpf_if);
    vell_mrib_set_table_id(record, route.key.table);
}

void fill_oifs(const route &route, vell_mrib_route *record) {
    // The route before left the end of its own TLV array there.
    p_current_tlv_addr = 0;
    current_tlv_size = 0;
    // An empty list would be left open, for the next route to find.
    if (route.oifs.empty())
        return;
    vell_mrib_add_oifs_begin();
    for (const std::uint32_t index : route.oifs)
        vell_mrib_add_reg_oif(index);
    vell_mrib_add_oifs_end(record);
}

} // namespace

route_messages::route_messages(std::uint32_t message_bytes, message_sender send)
    : batch_(sizeof(vell_mrib_message), message_bytes,
             [send = std::move(send)](const full_message &message) {
                 return send(message.bytes, message.records);
             }) {}

bool route_messages::add(const route &route) {
    const std::size_t needed = most_bytes(route);
    std::uint8_t *const room = batch_.room(needed);
    if (room == nullptr)
        return false;
    auto *record = reinterpret_cast<vell_mrib_route *>(room);
    fill_head(route, record);
    fill_oifs(route, record);
    const std::size_t size = vell_mrib_get_route_size(record);
    if (size > needed)
        throw std::logic_error(
            "a route record came out larger than its bound: this TLV format is not supported");
    batch_.take(size);
    return true;
}

} // namespace feed
