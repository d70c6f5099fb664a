#include "l2_message.h"

#include <vell.h>

#include <algorithm>
#include <cstring>
#include <utility>

namespace feed {

namespace {

// Which words of a record hold what, and the flags of an entry.
constexpr std::size_t bridge_word = 0;
constexpr std::size_t vlan_word = 3;
constexpr std::uint16_t permanent_flag = 0x0001;

// The entries begin inside the fixed bytes and end behind them by as much.
constexpr std::size_t fixed_bytes = 80;
static_assert(sizeof(vell_l2_mbd_record) < fixed_bytes);

std::size_t record_bytes(const l2_entry &entry) {
    return fixed_bytes + entry.ports.size() * sizeof(vell_l2_oif);
}

vell_l2_address_kind wire_kind(address_kind kind) {
    constexpr vell_l2_address_kind kinds[] = {vell_l2_address_ipv4, vell_l2_address_ipv6,
                                              vell_l2_address_mac};
    return kinds[static_cast<std::size_t>(kind)];
}

void fill_address(const net_address &address, vell_l2_address &block) {
    block.kind = wire_kind(address.kind);
    if (address.kind == address_kind::ipv4) {
        // A number, which the library turns over.
        const std::uint32_t number = ipv4_number(address);
        std::memcpy(block.area, &number, sizeof number);
    } else {
        std::copy(address.bytes.begin(), address.bytes.end(), block.area);
    }
}

void fill_record(const l2_change &change, vell_l2_mbd_record &record) {
    const l2_entry &entry = change.entry;
    record.head.type = change.operation == l2_operation::add ? vell_l2_mbd_add : vell_l2_mbd_delete;
    record.words[bridge_word] = entry.bridge;
    record.words[vlan_word] = entry.key.vlan;
    record.half = entry.permanent ? permanent_flag : 0;
    fill_address(entry.key.group, record.addresses[0]);
    fill_address(entry.key.source.value_or(net_address{entry.key.group.kind, {}}),
                 record.addresses[1]);
    record.count = static_cast<std::uint32_t>(entry.ports.size());
}

void fill_port(const l2_port &port, vell_l2_oif &oif) {
    oif.kind = vell_l2_oif_if_index;
    oif.flags = port.flags;
    oif.value.if_index = port.if_index;
}

bool send_marked(const full_message &message, bool markers, const l2_sender &send) {
    auto &head = *reinterpret_cast<vell_l2_message *>(message.bytes.data());
    if (markers && message.first)
        head.flags |= vell_l2_begin_marker;
    if (markers && message.last)
        head.flags |= vell_l2_end_marker;
    return send(message.bytes, message.records);
}

} // namespace

l2_messages::l2_messages(std::uint32_t message_bytes, bool markers, l2_sender send)
    : batch_(sizeof(vell_l2_message), message_bytes,
             [markers, send = std::move(send)](const full_message &message) {
                 return send_marked(message, markers, send);
             }) {}

bool l2_messages::add(const l2_change &change) {
    const std::size_t size = record_bytes(change.entry);
    std::uint8_t *const room = batch_.room(size);
    if (room == nullptr)
        return false;
    fill_record(change, *reinterpret_cast<vell_l2_mbd_record *>(room));
    auto *oif = reinterpret_cast<vell_l2_oif *>(room + sizeof(vell_l2_mbd_record));
    for (const l2_port &port : change.entry.ports)
        fill_port(port, *oif++);
    batch_.take(size);
    return true;
}

} // namespace feed
