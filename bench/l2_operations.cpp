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
    const char *name;
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

void add(operations &table, const shape &made, bool on_curve, bool guarded = false) {
    constexpr std::size_t room = 16384;
    const bytes one = message_of(made);
    const auto copies = static_cast<unsigned>(std::max(room / one.size(), std::size_t{1}));
    const auto all = std::make_shared<messages>();
    all->size = one.size();
    for (unsigned i = 0; i < copies; ++i)
        all->fresh.insert(all->fresh.end(), one.begin(), one.end());

    operation op = {.name = made.name,
                    .size = made.entries,
                    .unit = "entries",
                    .batch = copies,
                    .restore = [all] { all->sent = all->fresh; },
                    .guarded = guarded,
                    .on_curve = on_curve};
    if (made.records > 1)
        op.name += ", " + std::to_string(made.records) + " records";
    // The plain version differs from the floor in the trace of a record only.
    const bool traced = made.type == vell_l2_mbd_add;
    const versions calls(vell_send_l2_mc_update, traced ? floor_send_l2_mc_update : nullptr,
                         plain_send_l2_mc_update);
    table.push_back(with(std::move(op), calls, [all, count = made.records](auto &send, unsigned i) {
        static kyt_msg_ref reference;
        return send(all->sent.data() + i * all->size, all->size, count, 0,
                    reinterpret_cast<std::uintptr_t>(&reference));
    }));
}

} // namespace

void add_l2_messages(operations &table) {
    constexpr char pairs[] = "layer-2 pairs", oifs[] = "layer-2 OIFs",
                   traced[] = "layer-2 OIFs, traced";
    for (const std::uint32_t entries : {1U, 8U, 120U, 1000U, 8000U, 65536U}) {
        const bool on_curve = entries == 1000 || entries == 65536;
        add(table, {pairs, pairs_type, 1, entries}, on_curve);
        add(table, {traced, vell_l2_mbd_add, 1, entries}, on_curve, entries == 8);
    }
    constexpr std::uint16_t records = 200;
    for (const std::uint32_t entries : {1U, 8U}) {
        add(table, {pairs, pairs_type, records, entries}, false);
        add(table, {oifs, oifs_type, records, entries}, false, entries == 1);
        add(table, {traced, vell_l2_mbd_add, records, entries}, false);
    }
}

} // namespace bench
