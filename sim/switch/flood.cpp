#include "sim/switch/flood.h"

#include <algorithm>
#include <vector>

namespace sim {

namespace {

// The first of the updates that cannot be applied decides.
ltl_outcome check_updates(const std::set<std::uint32_t> &present,
                          const std::vector<interface_update> &updates) {
    std::set<std::uint32_t> named;
    for (const auto &[if_index, operation] : updates) {
        if (operation != flood_operation_add && operation != flood_operation_remove) {
            return {NERB_SIM_NO_OPERATION, operation};
        }
        if (!named.insert(if_index).second) {
            return {NERB_SIM_INTERFACE_TWICE, if_index};
        }
        const bool adds = operation == flood_operation_add;
        if (present.contains(if_index) == adds) {
            return {adds ? NERB_SIM_INTERFACE_PRESENT : NERB_SIM_INTERFACE_ABSENT, if_index};
        }
    }
    return {};
}

} // namespace

// Checked first and then changed in place: what an update costs depends on its own length, not on
// how large the set is.
ltl_outcome flood_table::apply(const flood_update &update, const sender_name &from,
                               std::size_t room) {
    if (!is_vlan_id(update.vlan)) {
        return {NERB_SIM_NO_VLAN_ID, update.vlan};
    }
    static const std::set<std::uint32_t> none;
    const auto vlan = static_cast<std::uint16_t>(update.vlan);
    const auto held = sets_.find(vlan);
    if (const ltl_outcome checked =
            check_updates(held == sets_.end() ? none : held->second.interfaces, update.updates);
        checked.status != NERB_SIM_DONE) {
        return checked;
    }
    const auto added = static_cast<std::size_t>(
        std::ranges::count(update.updates, flood_operation_add, &interface_update::operation));
    const std::size_t removed = update.updates.size() - added;
    if (added > room + removed) {
        return {NERB_SIM_NO_ROOM};
    }
    flood_set &changed = sets_[vlan];
    changed.line_card_mask = update.line_card_mask;
    changed.from = from;
    for (const auto &[if_index, operation] : update.updates) {
        if (operation == flood_operation_add) {
            changed.interfaces.insert(if_index);
        } else {
            changed.interfaces.erase(if_index);
        }
    }
    interfaces_ += added - removed;
    return {};
}

} // namespace sim
