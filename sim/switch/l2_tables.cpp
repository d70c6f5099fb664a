#include "sim/switch/l2_tables.h"

#include "sim/wire/protocol.h"

#include <fmt/format.h>

namespace sim {

namespace {

void add_entry(l2_tables &tables, const l2_record &record, const sender_name &from) {
    mbd_entry &entry = tables.entries[key_of(record)];
    entry.bridge = record.words.front();
    entry.flags = record.flags;
    entry.from = from;
    for (const l2_oif &port : record.oifs) {
        entry.ports[port.if_index] = port.flags;
    }
}

bool delete_ports(l2_tables &tables, const l2_record &record) {
    const auto found = tables.entries.find(key_of(record));
    if (found == tables.entries.end()) {
        return false;
    }
    auto &ports = found->second.ports;
    bool all_there = true;
    for (const l2_oif &port : record.oifs) {
        all_there &= ports.erase(port.if_index) > 0;
    }
    if (record.oifs.empty() || ports.empty()) {
        tables.entries.erase(found);
    }
    return all_there;
}

void change_lookup_modes(l2_tables &tables, const l2_record &record) {
    tables.lookup_mode_word = record.words.front();
    for (const auto &[vlan, mode] : record.pairs) {
        tables.lookup_modes[vlan] = mode;
    }
}

} // namespace

mbd_key key_of(const l2_record &record) {
    return {record.vlan, record.addresses[0], record.addresses[1]};
}

std::string key_text(const mbd_key &key) {
    return fmt::format("({}, {}) in VLAN {}", is_zero(key.source) ? "*" : address_text(key.source),
                       address_text(key.group), key.vlan);
}

bool apply_l2_record(l2_tables &tables, const l2_record &record, const sender_name &from) {
    switch (record.type) {
    case l2_record_mbd_add:
        add_entry(tables, record, from);
        return true;
    case l2_record_mbd_delete:
        return delete_ports(tables, record);
    case l2_record_lookup_mode:
        change_lookup_modes(tables, record);
        return true;
    case 12:
    case 13:
    case 14:
    case 15:
        tables.flood[record.vlan] = {from, record};
        return true;
    default:
        tables.pairs[record.type] = {from, record};
        return true;
    }
}

} // namespace sim
