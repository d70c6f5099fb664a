#include "feed/records.h"
#include "sim/wire/protocol.h"

#include <vell.h>

#include <algorithm>
#include <cstring>
#include <iterator>

namespace feed {

namespace {

void fill_address(const sim::l2_address &address, vell_l2_address &block) {
    using enum sim::l2_address_kind;
    block.kind = address.kind == ipv4   ? vell_l2_address_ipv4
                 : address.kind == ipv6 ? vell_l2_address_ipv6
                                        : vell_l2_address_mac;
    if (address.kind == ipv4) {
        // A number, which the library turns over.
        const std::uint32_t number = sim::ipv4_number(address);
        std::memcpy(block.area, &number, sizeof number);
    } else {
        std::ranges::copy(address.bytes, block.area);
    }
}

void fill_port(const group_port &port, vell_l2_oif &oif) {
    oif.kind = vell_l2_oif_if_index;
    oif.flags = port.flags;
    oif.value.if_index = port.if_index;
}

void add_record(message_batch &batch, std::uint8_t type, const group_key &key, const group &shown,
                const std::vector<group_port> &ports) {
    const std::size_t size = VELL_L2_RECORD_BYTES + ports.size() * sizeof(vell_l2_oif);
    std::uint8_t *const room = batch.room(size);
    auto &record = *reinterpret_cast<vell_l2_mbd_record *>(room);
    record.head.type = type;
    record.words[VELL_SIM_MBD_BRIDGE] = shown.bridge;
    record.words[VELL_SIM_MBD_VLAN] = key.vlan;
    record.half = shown.permanent ? VELL_SIM_MBD_PERMANENT : 0;
    fill_address(key.group, record.addresses[0]);
    fill_address(key.source.value_or(sim::l2_address{key.group.kind, {}}), record.addresses[1]);
    record.count = static_cast<std::uint32_t>(ports.size());
    auto *oif = reinterpret_cast<vell_l2_oif *>(room + sizeof(vell_l2_mbd_record));
    for (const group_port &port : ports) {
        fill_port(port, *oif++);
    }
    batch.take(size);
}

std::vector<group_port> without(const std::vector<group_port> &ports,
                                const std::vector<group_port> &others) {
    std::vector<group_port> left;
    std::ranges::set_difference(ports, others, std::back_inserter(left));
    return left;
}

// A group keeps the bridge and the permanence that it was added with, so another one is deleted
// first; a deletion that lists no port removes all of it.
void add_change(message_batch &batch, const change<group> &change) {
    const auto &[key, before, after] = change;
    if (before == nullptr) {
        add_record(batch, vell_l2_mbd_add, *key, *after, after->ports);
        return;
    }
    const bool again = after == nullptr || before->bridge != after->bridge ||
                       before->permanent != after->permanent || after->ports.empty();
    if (again) {
        add_record(batch, vell_l2_mbd_delete, *key, *before, {});
        if (after != nullptr) {
            add_record(batch, vell_l2_mbd_add, *key, *after, after->ports);
        }
        return;
    }
    const std::vector<group_port> come = without(after->ports, before->ports);
    const std::vector<group_port> gone = without(before->ports, after->ports);
    // Added first, so that the group is never without the ports that it keeps. A port that only gets
    // other flags is added again, and must not be removed after that.
    std::vector<group_port> removed;
    std::ranges::copy_if(gone, std::back_inserter(removed), [&](const group_port &port) {
        return std::ranges::find(come, port.if_index, &group_port::if_index) == come.end();
    });
    if (!come.empty()) {
        add_record(batch, vell_l2_mbd_add, *key, *after, come);
    }
    if (!removed.empty()) {
        add_record(batch, vell_l2_mbd_delete, *key, *after, removed);
    }
}

} // namespace

void send_group_changes(session &client, const std::vector<change<group>> &changes,
                        const sending &how) {
    // The library's own markers around a message say nothing of a failure, and after one the transport
    // would connect again, as nobody's client.
    const auto mark = [&](std::uint32_t marker) {
        client.require_sent(vell_send_igmp_oob_notification(marker) == 1, "out-of-band marker");
    };
    std::size_t filled = 0;
    message_batch batch(sizeof(vell_l2_message), how.message_bytes,
                        [&](const full_message &message) {
                            client.send_groups(message.bytes, message.records);
                            how.sent(filled);
                        });
    mark(VELL_SIM_MARKER_BEGIN);
    for (const change<group> &change : changes) {
        add_change(batch, change);
        ++filled;
    }
    batch.finish();
    mark(VELL_SIM_MARKER_END);
    if (how.download) {
        client.require_sent(vell_send_igmp_download_complete() == 1, "end of the download");
    }
}

} // namespace feed
