#include "feed/records.h"
#include "sim/wire/protocol.h"

#include <vell.h>

namespace feed {

namespace {

// vell_mrib_get_max_route_size has room for one TLV head; three lists have three.
constexpr std::size_t tlv_head_margin = 12;

void fill_head(const change<route> &change, const sending &how, bool last,
               vell_mrib_route *record) {
    const route &shown = change.after == nullptr ? *change.before : *change.after;
    std::uint64_t flags = shown.flags;
    if (how.download && change.after != nullptr) {
        flags |= vell_mrib_flag_download;
        flags |= last ? vell_mrib_flag_download_done : 0;
    }
    vell_mrib_set_opcode(record,
                         change.after == nullptr ? VELL_SIM_ROUTE_DELETE : VELL_SIM_ROUTE_ADD);
    vell_mrib_set_flags(record, flags);
    vell_mrib_set_source(record, change.key->source, change.key->source_length);
    vell_mrib_set_group(record, change.key->group, change.key->group_length);
    vell_mrib_set_epoch(record, how.epoch);
    vell_mrib_set_rpfif(record, shown.rpf_if);
    vell_mrib_set_table_id(record, change.key->table);
}

void fill_oifs(const route &wanted, vell_mrib_route *record) {
    // The route before left the end of its own TLV array there.
    p_current_tlv_addr = 0;
    current_tlv_size = 0;
    // An empty list would be left open, for the next route to find.
    if (wanted.oifs.empty()) {
        return;
    }
    vell_mrib_add_oifs_begin();
    for (const std::uint32_t if_index : wanted.oifs) {
        vell_mrib_add_reg_oif(if_index);
    }
    vell_mrib_add_oifs_end(record);
}

} // namespace

void send_route_changes(session &client, const std::vector<change<route>> &changes,
                        const sending &how) {
    std::size_t filled = 0;
    message_batch batch(sizeof(vell_mrib_message), how.message_bytes,
                        [&](const full_message &message) {
                            client.send_routes(message.bytes, message.records);
                            how.sent(filled);
                        });
    for (const change<route> &change : changes) {
        const std::size_t oifs = change.after == nullptr ? 0 : change.after->oifs.size();
        const std::size_t most =
            vell_mrib_get_max_route_size(static_cast<std::uint32_t>(oifs), 0, 0) + tlv_head_margin;
        auto *record = reinterpret_cast<vell_mrib_route *>(batch.room(most));
        fill_head(change, how, &change == &changes.back(), record);
        if (change.after != nullptr) {
            fill_oifs(*change.after, record);
        }
        const std::size_t size = vell_mrib_get_route_size(record);
        if (size > most) {
            throw std::logic_error("a route record came out larger than its bound: this TLV format "
                                   "is not supported");
        }
        batch.take(size);
        ++filled;
    }
    batch.finish();
}

} // namespace feed
