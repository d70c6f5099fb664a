// Requests to the LTL manager.
#include "feed/records.h"
#include "sim/wire/protocol.h"

#include <nerb_sim.h>
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

bool ltl_change::says_more() const {
    return opcode == NERB_SIM_OPCODE_ALLOCATION;
}

const char *operation_name(const ltl_change &change) {
    return change.opcode == NERB_SIM_OPCODE_ALLOCATION     ? "allocation"
           : change.opcode == NERB_SIM_OPCODE_MODIFICATION ? "modification"
                                                           : "release";
}

bool send_ltl_change(const ltl_change &change, std::uint32_t cookie) {
    const auto count = static_cast<std::uint32_t>(change.row.interfaces.size());
    const std::uint32_t *const interfaces = change.row.interfaces.data();
    const auto &[key, row] = std::tie(change.key, change.row);
    switch (change.opcode) {
    case NERB_SIM_OPCODE_ALLOCATION:
        return vell_nerb_l2_ltl_alloc(key.vlan, count, interfaces, key.tag, cookie) == 1;
    case NERB_SIM_OPCODE_MODIFICATION:
        return vell_nerb_l2_ltl_modify(row.index, count, interfaces, key.tag, cookie) == 1;
    default:
        return vell_nerb_l2_ltl_dealloc(row.index, key.tag, cookie) == 1;
    }
}

} // namespace feed
