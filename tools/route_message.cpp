#include "route_message.h"

#include <vell.h>

#include <algorithm>
#include <limits>
#include <stdexcept>

namespace feed {

namespace {

// vell_mrib_get_max_route_size has room for one TLV head; three lists have three.
constexpr std::size_t tlv_head_margin = 12;

std::size_t most_bytes(const route &route) {
    return vell_mrib_get_max_route_size(static_cast<std::uint32_t>(route.oifs.size()), 0, 0) + tlv_head_margin;
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
    : message_bytes_(message_bytes), send_(std::move(send)) {}

void route_messages::start(std::size_t first_route_bytes) {
    // Zeroed, since the library writes neither the reserved bytes nor the head of a TLV array without lists.
    buffer_.assign(std::max<std::size_t>(message_bytes_, sizeof(vell_mrib_message) + first_route_bytes), 0);
    used_ = sizeof(vell_mrib_message);
}

bool route_messages::add(const route &route) {
    const std::size_t needed = most_bytes(route);
    const bool full = routes_ == std::numeric_limits<std::uint16_t>::max() || buffer_.size() - used_ < needed;
    if (routes_ > 0 && full && !flush())
        return false;
    if (routes_ == 0)
        start(needed);
    auto *record = reinterpret_cast<vell_mrib_route *>(buffer_.data() + used_);
    fill_head(route, record);
    fill_oifs(route, record);
    const std::size_t size = vell_mrib_get_route_size(record);
    if (size > needed)
        throw std::logic_error("a route record came out larger than its bound: this TLV format is not supported");
    used_ += size;
    ++routes_;
    return true;
}

bool route_messages::flush() {
    if (routes_ == 0)
        return true;
    if (!send_(std::span(buffer_).first(used_), routes_))
        return false;
    ++messages_sent_;
    routes_sent_ += routes_;
    routes_ = 0;
    return true;
}

} // namespace feed
