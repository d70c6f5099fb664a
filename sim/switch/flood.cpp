#include "sim/base/if_name.h"
#include "sim/switch/answer.h"
#include "sim/switch/ltl.h"
#include "sim/switch/service.h"

#include <algorithm>
#include <optional>
#include <vector>

namespace sim {

namespace {

// The first of the updates that cannot be applied decides.
ltl_outcome check_updates(const std::set<std::uint32_t> &present,
                          const std::vector<interface_update> &updates) {
    std::set<std::uint32_t> named;
    for (const auto &[if_index, operation] : updates) {
        if (operation != VELL_SIM_FLOOD_ADD && operation != VELL_SIM_FLOOD_REMOVE) {
            return {NERB_SIM_NO_OPERATION, operation};
        }
        if (!named.insert(if_index).second) {
            return {NERB_SIM_INTERFACE_TWICE, if_index};
        }
        const bool adds = operation == VELL_SIM_FLOOD_ADD;
        if (present.contains(if_index) == adds) {
            return {adds ? NERB_SIM_INTERFACE_PRESENT : NERB_SIM_INTERFACE_ABSENT, if_index};
        }
    }
    return {};
}

// The mask has 32 bits, which the line cards above share. The indexes of Ethernet interfaces are
// sorted by slot, and none of another kind lies between them.
bool has_shared_bits(const std::set<std::uint32_t> &interfaces) {
    constexpr std::uint32_t first_of_slot_32 = if_type_ethernet << 26 | 32 << 16;
    const auto found = interfaces.lower_bound(first_of_slot_32);
    return found != interfaces.end() && ethernet_port_of(*found);
}

void print_line_cards(output &out, const flood_set &shown) {
    out.json("line_card_mask", shown.line_card_mask);
    out.open_wrapped_list("line_cards",
                          fmt::format("    line cards ({:#010x}): ", shown.line_card_mask));
    for (unsigned card = 0; card < 32; ++card) {
        if ((shown.line_card_mask >> card & 1) != 0) {
            out.field({}, "{}", card);
        }
    }
    if (shown.line_card_mask == 0) {
        out.text("none");
    }
    out.close_list();
    if (!out.is_json() && has_shared_bits(shown.interfaces)) {
        out.text("      slots above 31 count as those 32, 64, ... below them\n");
    }
}

struct flood_printer {
    std::optional<std::uint64_t> vlan; // the only one that is shown

    bool head(output &out, row_count &rows, std::uint16_t id, const flood_set &shown) const {
        if ((vlan && *vlan != id) || !rows.take()) {
            return false;
        }
        out.open_object();
        out.field("vlan", "VLAN {}  ", id);
        print_sender(out, shown.from);
        out.text("\n");
        print_line_cards(out, shown);
        open_items(out, "interfaces", "interfaces", shown.interfaces.size());
        return true;
    }
    const auto &items(const flood_set &shown) const { return shown.interfaces; }
    void item(output &out, std::uint32_t if_index) const {
        out.open_object();
        print_interface(out, if_index);
        out.close_object();
    }
};

} // namespace

// Checked first and then changed in place: what an update costs depends on its own length, not on
// how large the set is.
ltl_outcome flood_table::apply(const flood_update &update, const sender_name &from,
                               std::size_t room) {
    if (!VELL_SIM_IS_VLAN(update.vlan)) {
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
        std::ranges::count(update.updates, VELL_SIM_FLOOD_ADD, &interface_update::operation));
    const std::size_t removed = update.updates.size() - added;
    if (added > room + removed) {
        return {NERB_SIM_NO_ROOM};
    }
    flood_set &changed = sets_[vlan];
    changed.line_card_mask = update.line_card_mask;
    changed.from = from;
    for (const auto &[if_index, operation] : update.updates) {
        if (operation == VELL_SIM_FLOOD_ADD) {
            changed.interfaces.insert(if_index);
        } else {
            changed.interfaces.erase(if_index);
        }
    }
    interfaces_ += added - removed;
    return {};
}

answer show_flood(service &vell, const question &asked) {
    answer made(asked);
    made.begin_rows("flood");
    made.each_with_items(vell.floods.all(), flood_printer{asked.number("vlan")});
    made.end_rows("flood set");
    return made;
}

} // namespace sim
