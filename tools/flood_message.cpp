#include "flood_message.h"

#include <vell.h>

#include <algorithm>
#include <cstring>

namespace feed {

namespace {

constexpr std::uint8_t record_type = 12;

// The entries begin inside the fixed bytes and end behind them by as much.
constexpr std::size_t fixed_bytes = 80;
static_assert(sizeof(vell_l2_vlan_record) < fixed_bytes);

vell_l2_oif entry_of(std::uint32_t if_index, std::uint32_t flags) {
    vell_l2_oif entry{};
    entry.kind = vell_l2_oif_if_index;
    entry.flags = flags;
    entry.value.if_index = if_index;
    return entry;
}

using entries = std::vector<vell_l2_oif>;

entries entries_of(const std::vector<std::uint32_t> &interfaces) {
    entries made;
    for (const std::uint32_t if_index : interfaces)
        made.push_back(entry_of(if_index, 0));
    return made;
}

// The library passes over a VLAN interface while there are old entries left to compare with, or as
// long as it has not come to a port; then it would add it, though it was never to be flooded to.
bool is_passed_over(std::uint32_t vlan_interface, const flood_change &change) {
    const bool old_ones_left = !change.older.empty() && change.older.back() > vlan_interface;
    const bool before_all_ports = change.newer.empty() || change.newer.front() > vlan_interface;
    return old_ones_left || before_all_ports;
}

entries newer_entries(const flood_change &change) {
    entries made = entries_of(change.newer);
    for (const std::uint32_t if_index : change.vlan_interfaces) {
        if (is_passed_over(if_index, change))
            made.push_back(entry_of(if_index, VELL_L2_OIF_SVI));
    }
    return made;
}

void append_record(std::vector<std::uint8_t> &message, std::uint32_t vlan, const entries &ports) {
    const std::size_t port_bytes = ports.size() * sizeof(vell_l2_oif);
    const std::size_t start = message.size();
    message.resize(start + fixed_bytes + port_bytes);
    vell_l2_vlan_record record{};
    record.head.type = record_type;
    record.head.length = static_cast<std::uint32_t>(fixed_bytes + port_bytes);
    record.vlan = vlan;
    record.count = static_cast<std::uint32_t>(ports.size());
    std::memcpy(message.data() + start, &record, sizeof record);
    if (!ports.empty())
        std::memcpy(message.data() + start + sizeof record, ports.data(), port_bytes);
}

} // namespace

flood_messages make_flood_messages(const std::vector<flood_change> &changes) {
    flood_messages messages;
    messages.older.resize(sizeof(vell_l2_message));
    messages.newer.resize(sizeof(vell_l2_message));
    messages.vlans = static_cast<std::uint16_t>(changes.size());
    for (const flood_change &change : changes) {
        append_record(messages.older, change.vlan, entries_of(change.older));
        append_record(messages.newer, change.vlan, newer_entries(change));
    }
    return messages;
}

} // namespace feed
