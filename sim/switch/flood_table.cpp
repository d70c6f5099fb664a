#include "sim/switch/flood_table.h"

#include "sim/wire/protocol.h"

#include <utility>

namespace sim {

namespace {

// The first of the updates that cannot be applied decides.
ltl_outcome check_updates(const std::set<std::uint32_t> &present,
                          const std::vector<interface_update> &updates) {
    std::set<std::uint32_t> named;
    for (const auto &[if_index, operation] : updates) {
        if (operation != flood_operation_add && operation != flood_operation_remove) {
            return {nerb_status::no_operation, operation};
        }
        if (!named.insert(if_index).second) {
            return {nerb_status::interface_twice, if_index};
        }
        const bool adds = operation == flood_operation_add;
        if (present.contains(if_index) == adds) {
            return {adds ? nerb_status::interface_present : nerb_status::interface_absent,
                    if_index};
        }
    }
    return {};
}

ltl_outcome check(const flood_table &table, const flood_update &update) {
    static const flood_set none;
    if (!is_vlan_id(update.vlan)) {
        return {nerb_status::no_vlan_id, update.vlan};
    }
    const auto found = table.find(static_cast<std::uint16_t>(update.vlan));
    return check_updates((found == table.end() ? none : found->second).interfaces, update.updates);
}

} // namespace

ltl_outcome apply_flood_update(flood_table &table, const flood_update &update,
                               const sender_name &from) {
    if (const ltl_outcome checked = check(table, update); checked.status != nerb_status::done) {
        return checked;
    }
    // Nothing is changed before all that takes memory is done.
    const auto vlan = static_cast<std::uint16_t>(update.vlan);
    const auto held = table.find(vlan);
    flood_set updated = held == table.end() ? flood_set{} : held->second;
    updated.line_card_mask = update.line_card_mask;
    updated.from = from;
    for (const auto &[if_index, operation] : update.updates) {
        if (operation == flood_operation_add) {
            updated.interfaces.insert(if_index);
        } else {
            updated.interfaces.erase(if_index);
        }
    }
    table.insert_or_assign(vlan, std::move(updated));
    return {};
}

} // namespace sim
