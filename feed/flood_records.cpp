#include "feed/records.h"
#include "sim/wire/protocol.h"

#include <vell.h>

#include <cstring>

namespace feed {

namespace {

constexpr std::uint8_t flood_list_type = 12;

// A record of one VLAN, as the library reads flood sets: VLAN, count and interfaces.
void append_record(std::vector<std::uint8_t> &message, std::uint16_t vlan,
                   const std::vector<std::uint32_t> &interfaces) {
    const std::size_t size = VELL_L2_RECORD_BYTES + interfaces.size() * sizeof(vell_l2_oif);
    const std::size_t start = message.size();
    message.resize(start + size);
    vell_l2_vlan_record record{};
    record.head.type = flood_list_type;
    record.head.length = static_cast<std::uint32_t>(size);
    record.vlan = vlan;
    record.count = static_cast<std::uint32_t>(interfaces.size());
    std::memcpy(message.data() + start, &record, sizeof record);
    auto *entry = reinterpret_cast<vell_l2_oif *>(message.data() + start + sizeof record);
    for (const std::uint32_t if_index : interfaces) {
        entry->kind = vell_l2_oif_if_index;
        entry->value.if_index = if_index;
        ++entry;
    }
}

} // namespace

void send_flood_update(session &client, const std::vector<flood_change> &changes,
                       std::uint32_t cookie) {
    std::vector<std::uint8_t> before(sizeof(vell_l2_message));
    std::vector<std::uint8_t> after(sizeof(vell_l2_message));
    for (const flood_change &change : changes) {
        append_record(before, change.key.vlan, change.before);
        append_record(after, change.key.vlan, change.after.interfaces);
    }
    const auto vlans = static_cast<std::uint16_t>(changes.size());
    // The answer carries the context as it is: a number, other than an address, is used once.
    void *const context = reinterpret_cast<void *>(std::uintptr_t{cookie});
    client.require_sent(vell_send_l2_mc_update_flood_ltl(
                            before.data(), static_cast<std::uint32_t>(before.size()), vlans,
                            after.data(), static_cast<std::uint32_t>(after.size()), vlans,
                            context) == 1,
                        "flood update");
}

} // namespace feed
