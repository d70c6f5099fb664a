#include "sim/switch/l2.h"

#include "sim/switch/byte_reader.h"
#include "sim/switch/limits.h"
#include "sim/switch/request.h"
#include "sim/wire/protocol.h"

#include <algorithm>
#include <fmt/format.h>
#include <string>

namespace sim {

namespace {

mbd_key key_of(const l2_record &record) {
    return {record.vlan, record.addresses[0], record.addresses[1]};
}

std::string key_text(const mbd_key &key) {
    return fmt::format("({}, {}) in VLAN {}", is_zero(key.source) ? "*" : address_text(key.source),
                       address_text(key.group), key.vlan);
}

bool is_flood_list(const l2_record &record) {
    return record.type >= 12 && record.type <= 15;
}

void add_entry(l2_tables &tables, const l2_record &record, const sender_name &from) {
    mbd_entry &entry = tables.entries[key_of(record)];
    entry.bridge = record.words.front();
    entry.flags = record.flags;
    entry.from = from;
    for (const l2_oif &port : record.oifs) {
        tables.ports += entry.ports.insert_or_assign(port.if_index, port.flags).second ? 1 : 0;
    }
}

// Returns whether everything that the record deletes was there.
bool delete_ports(l2_tables &tables, const l2_record &record) {
    const auto found = tables.entries.find(key_of(record));
    if (found == tables.entries.end()) {
        return false;
    }
    auto &ports = found->second.ports;
    std::size_t deleted = 0;
    for (const l2_oif &port : record.oifs) {
        deleted += ports.erase(port.if_index);
    }
    tables.ports -= deleted;
    if (record.oifs.empty() || ports.empty()) {
        tables.ports -= ports.size();
        tables.entries.erase(found);
    }
    return deleted == record.oifs.size();
}

void change_lookup_modes(l2_tables &tables, const l2_record &record) {
    tables.lookup_mode_word = record.words.front();
    for (const auto &[vlan, mode] : record.pairs) {
        tables.lookup_modes[vlan] = mode;
    }
}

// The record of the same VLAN or type that this one replaces, if there is one.
const l2_record *replaced_by(const l2_tables &tables, const l2_record &record) {
    const auto find = [](const auto &kept, auto key) {
        const auto found = kept.find(key);
        return found == kept.end() ? nullptr : &found->second.record;
    };
    return is_flood_list(record) ? find(tables.flood, record.vlan)
                                 : find(tables.pairs, record.type);
}

void keep_record(l2_tables &tables, const l2_record &record, const sender_name &from) {
    const l2_record *replaced = replaced_by(tables, record);
    tables.record_bytes += record_size(record) - (replaced == nullptr ? 0 : record_size(*replaced));
    (is_flood_list(record) ? tables.flood[record.vlan] : tables.pairs[record.type]) = {from,
                                                                                       record};
}

bool apply_record(l2_tables &tables, const l2_record &record, const sender_name &from) {
    switch (record.type) {
    case VELL_SIM_L2_MBD_ADD:
        add_entry(tables, record, from);
        return true;
    case VELL_SIM_L2_MBD_DELETE:
        return delete_ports(tables, record);
    case VELL_SIM_L2_LOOKUP_MODE:
        change_lookup_modes(tables, record);
        return true;
    default:
        keep_record(tables, record, from);
        return true;
    }
}

struct growth {
    std::size_t entries = 0;
    std::size_t ports = 0;
    std::size_t record_bytes = 0;
};

// What a message adds at most: each of its records by itself, deletes left out.
growth growth_by(const l2_tables &tables, const l2_message &message) {
    growth by;
    for (const l2_record &record : message.records) {
        if (record.type == VELL_SIM_L2_MBD_ADD) {
            const auto entry = tables.entries.find(key_of(record));
            const bool is_new = entry == tables.entries.end();
            by.entries += is_new ? 1 : 0;
            by.ports += static_cast<std::size_t>(
                std::ranges::count_if(record.oifs, [&](const l2_oif &port) {
                    return is_new || !entry->second.ports.contains(port.if_index);
                }));
        } else if (record.type != VELL_SIM_L2_MBD_DELETE &&
                   record.type != VELL_SIM_L2_LOOKUP_MODE) {
            const l2_record *replaced = replaced_by(tables, record);
            const std::size_t freed = replaced == nullptr ? 0 : record_size(*replaced);
            by.record_bytes += std::max(record_size(record), freed) - freed;
        }
    }
    return by;
}

void check_limits(const service &vell, const l2_message &message) {
    const growth by = growth_by(vell.l2, message);
    check_limit("layer-2 entries", vell.l2.entries.size(), by.entries, l2_entry_limit);
    check_limit("bytes of flood lists and other layer-2 records", vell.l2.record_bytes,
                by.record_bytes, l2_record_limit);
    check_limit("interfaces in its tables", held_interfaces(vell), by.ports, interface_limit);
}

void apply(request &asked, const l2_message &message) {
    const sender_name from = name_sender(asked);
    line_limit missed(asked, log_level_trace);
    for (const l2_record &record : message.records) {
        if (!apply_record(asked.vell.l2, record, from)) {
            missed.add([&] {
                const mbd_key key = key_of(record);
                return fmt::format("delete of {}: {}", key_text(key),
                                   asked.vell.l2.entries.contains(key) ? "no such port"
                                                                       : "no such entry or port");
            });
        }
    }
    missed.log_rest("deletes of absent layer-2 entries in the same message");
    if (client *sender = asked.vell.clients.find(asked.from.client_of)) {
        sender->missed_deletes += missed.count();
    }
}

// Lookup modes name VLANs in their pairs; the other pairs are not VLANs.
void refuse_by_fault(const request &asked, const l2_message &message) {
    for (const l2_record &record : message.records) {
        if (record.type == VELL_SIM_L2_LOOKUP_MODE) {
            for (const auto &[vlan, mode] : record.pairs) {
                refuse_vlan_by_fault(asked, static_cast<std::uint16_t>(vlan));
            }
        } else {
            refuse_vlan_by_fault(asked, record.vlan);
        }
        if (record.type == VELL_SIM_L2_MBD_ADD || record.type == VELL_SIM_L2_MBD_DELETE) {
            refuse_group_by_fault(asked, record.addresses[0]);
        }
    }
}

} // namespace

void handle_l2_message(request &asked) {
    const l2_message message = decode_l2_message(asked.payload);
    if (message.client_id != 0) {
        require_client(asked, message.client_id);
    }
    refuse_by_fault(asked, message);
    check_limits(asked.vell, message);
    apply(asked, message);
    asked.records = message.records.size();
    if (l2_batch *batch = asked.vell.batches.find(asked.from.batch)) {
        ++batch->messages;
        batch->records += message.records.size();
    }
}

} // namespace sim
