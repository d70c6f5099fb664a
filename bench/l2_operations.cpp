// Layer-2 messages: of one record with many entries, and of many records with few.
#include "operation.h"
#include "versions/versions.h"

#include <kyt.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <memory>

namespace bench {

namespace {

constexpr std::uint8_t pairs_type = 10, oifs_type = 12;

struct shape {
    std::uint8_t type;
    std::uint16_t records;
    std::uint32_t entries; // of each record
};

template <typename Record, typename Entry>
void fill_record(std::uint8_t *at, const shape &made, Entry entry) {
    Record record = {};
    record.head.type = made.type;
    record.count = made.entries;
    if constexpr (requires { record.addresses; })
        for (auto &address : record.addresses)
            address = {vell_l2_address_ipv4, {10, 1, 2, 3}};
    std::memcpy(at, &record, sizeof(record));
    auto *const entries = reinterpret_cast<Entry *>(at + sizeof(record));
    std::fill(entries, entries + made.entries, entry);
}

using bytes = std::vector<std::uint8_t>;

bytes message_of(const shape &made) {
    const std::size_t entry_size =
        made.type == pairs_type ? sizeof(vell_l2_pair) : sizeof(vell_l2_oif);
    const std::size_t record_size = VELL_L2_RECORD_BYTES + made.entries * entry_size;
    bytes message(sizeof(vell_l2_message) + made.records * record_size);
    for (unsigned i = 0; i < made.records; ++i) {
        std::uint8_t *const record = message.data() + sizeof(vell_l2_message) + i * record_size;
        const vell_l2_oif oif = {vell_l2_oif_if_index, 0, {1, 2}, {0x1a000000}};
        switch (made.type) {
        case pairs_type:
            fill_record<vell_l2_bare_pairs_record>(record, made, vell_l2_pair{{1, 2}});
            break;
        case oifs_type:
            fill_record<vell_l2_vlan_record>(record, made, oif);
            break;
        case vell_l2_mbd_add:
            fill_record<vell_l2_mbd_record>(record, made, oif);
            break;
        }
    }
    return message;
}

// A message is converted where it lies and can be sent once. So a batch has several, in as much
// memory as a first-level cache has room for, or a single one where that is larger.
struct messages {
    bytes fresh, sent;
    std::size_t size;
};

operation l2_message(const shape &made) {
    constexpr std::size_t room = 16384;
    const bytes one = message_of(made);
    const auto copies = static_cast<unsigned>(std::max(room / one.size(), std::size_t{1}));
    const auto all = std::make_shared<messages>();
    all->size = one.size();
    for (unsigned i = 0; i < copies; ++i)
        all->fresh.insert(all->fresh.end(), one.begin(), one.end());

    // What is traced is compared with the floor of a trace as well. Without one, the loops of floor
    // and plain version are the same.
    const bool traced = made.type == vell_l2_mbd_add;
    operation op = {
        .name = made.records == 1 ? "layer-2 message"
                                  : std::to_string(made.records) + " layer-2 records",
        .size = made.entries,
        .unit = made.type == pairs_type ? "pair" : "OIF",
        .batch = copies,
        .restore = [all] { all->sent = all->fresh; },
    };
    if (traced)
        op.name += ", traced";
    const versions calls(vell_send_l2_mc_update, traced ? floor_send_l2_mc_update : nullptr,
                         plain_send_l2_mc_update);
    return with(std::move(op), calls, [all, count = made.records](auto &send, unsigned i) {
        static kyt_msg_ref reference;
        return send(all->sent.data() + i * all->size, all->size, count, 0,
                    reinterpret_cast<std::uintptr_t>(&reference));
    });
}

} // namespace

void add_l2_messages(operations &table) {
    for (const std::uint8_t type : {pairs_type, std::uint8_t{vell_l2_mbd_add}})
        for (const std::uint32_t entries :
             {1U, 8U, 32U, 120U, 500U, 2000U, 8000U, 16000U, 65536U}) {
            operation op = l2_message({type, 1, entries});
            op.on_curve = entries != 1 && entries != 8 && entries != 120 && entries != 8000;
            op.guarded = type != pairs_type && entries == 8;
            table.push_back(std::move(op));
        }
    for (const std::uint8_t type : {pairs_type, oifs_type, std::uint8_t{vell_l2_mbd_add}})
        for (const std::uint32_t entries : {1U, 8U}) {
            operation op = l2_message({type, 200, entries});
            op.target = type == vell_l2_mbd_add ? 0 : 1;
            op.guarded = type == oifs_type && entries == 1;
            table.push_back(std::move(op));
        }
}

} // namespace bench
