#include "sim/switch/ltl.h"

#include "sim/base/if_name.h"
#include "sim/base/text.h"
#include "sim/switch/answer.h"
#include "sim/switch/limits.h"
#include "sim/switch/service.h"

#include <algorithm>
#include <fmt/format.h>
#include <optional>
#include <vector>

namespace sim {

namespace {

std::optional<std::uint32_t> find_duplicate(std::vector<std::uint32_t> interfaces) {
    std::ranges::sort(interfaces);
    const auto found = std::ranges::adjacent_find(interfaces);
    return found == interfaces.end() ? std::nullopt : std::optional(*found);
}

// Whether a set of interfaces may take the place of one of `replaced`.
ltl_outcome check_interfaces(const std::vector<std::uint32_t> &interfaces, std::size_t replaced,
                             std::size_t room) {
    if (const auto twice = find_duplicate(interfaces)) {
        return {NERB_SIM_INTERFACE_TWICE, *twice};
    }
    return {interfaces.size() > replaced + room ? NERB_SIM_NO_ROOM : NERB_SIM_DONE};
}

std::set<std::uint32_t> set_of(const std::vector<std::uint32_t> &interfaces) {
    return {interfaces.begin(), interfaces.end()};
}

std::string detail_text(const ltl_outcome &outcome) {
    switch (outcome.status) {
    case NERB_SIM_INTERFACE_PRESENT:
    case NERB_SIM_INTERFACE_ABSENT:
    case NERB_SIM_INTERFACE_TWICE:
        return ": " + if_name(outcome.culprit);
    case NERB_SIM_TAG_MISMATCH:
    case NERB_SIM_NO_VLAN_ID:
    case NERB_SIM_NO_OPERATION:
        return fmt::format(": {}", outcome.culprit);
    case NERB_SIM_NO_ROOM:
        return fmt::format(": the limit is {} in layer-2 entries, LTLs and flood sets",
                           interface_limit);
    default:
        return {};
    }
}

struct ltl_printer {
    std::optional<std::uint64_t> vlan; // the only one that is shown

    bool head(output &out, row_count &rows, std::uint32_t index, const ltl &shown) const {
        if ((vlan && *vlan != shown.vlan) || !rows.take()) {
            return false;
        }
        out.open_object();
        out.field("index", "LTL {:#x}", index);
        out.field("vlan", "  VLAN {}", shown.vlan);
        out.field("tag", ", tag {}, ", shown.tag);
        print_sender(out, shown.from);
        out.text("\n");
        open_items(out, "interfaces", "interfaces", shown.interfaces.size());
        return true;
    }
    const auto &items(const ltl &shown) const { return shown.interfaces; }
    void item(output &out, std::uint32_t if_index) const {
        out.open_object();
        print_interface(out, if_index);
        out.close_object();
    }
};

} // namespace

std::string outcome_text(const ltl_outcome &outcome) {
    return fmt::format("status {}: {}{}", std::uint32_t{outcome.status},
                       nerb_status_name(outcome.status), detail_text(outcome));
}

ltl_outcome ltl_table::allocate(const ltl_entry &entry, const sender_name &from, std::uint32_t size,
                                std::size_t room, std::uint32_t &index) {
    const auto [vlan, tag] = entry.keys;
    if (!VELL_SIM_IS_VLAN(vlan)) {
        return {NERB_SIM_NO_VLAN_ID, vlan};
    }
    if (const ltl_outcome checked = check_interfaces(entry.interfaces, 0, room);
        checked.status != NERB_SIM_DONE) {
        return checked;
    }
    if (ltls_.size() >= std::min(size, ltl_index_limit)) {
        return {NERB_SIM_POOL_EXHAUSTED};
    }
    index = released_.empty() ? unused_ : *released_.begin();
    ltls_[index] = {static_cast<std::uint16_t>(vlan), tag, from, set_of(entry.interfaces)};
    interfaces_ += entry.interfaces.size();
    released_.erase(index);
    unused_ = std::max(unused_, index + 1);
    return {};
}

ltl_outcome ltl_table::modify(const ltl_entry &entry, const sender_name &from, std::size_t room) {
    const auto [index, tag] = entry.keys;
    ltl_outcome checked = check(entry.keys);
    if (checked.status == NERB_SIM_DONE) {
        checked = check_interfaces(entry.interfaces, interfaces_of(index), room);
    }
    if (checked.status == NERB_SIM_DONE) {
        ltl &changed = ltls_.at(index);
        interfaces_ += entry.interfaces.size() - changed.interfaces.size();
        changed.interfaces = set_of(entry.interfaces);
        changed.from = from;
    }
    return checked;
}

ltl_outcome ltl_table::release(const ltl_keys &keys) {
    const ltl_outcome checked = check(keys);
    if (checked.status == NERB_SIM_DONE) {
        interfaces_ -= interfaces_of(keys.first);
        released_.insert(keys.first);
        ltls_.erase(keys.first);
    }
    return checked;
}

std::size_t ltl_table::interfaces_of(std::uint32_t index) const {
    const auto found = ltls_.find(index);
    return found == ltls_.end() ? 0 : found->second.interfaces.size();
}

// Whether there is an LTL of this index that was allocated with this tag.
ltl_outcome ltl_table::check(const ltl_keys &keys) const {
    const auto found = ltls_.find(keys.first);
    if (found == ltls_.end()) {
        return {NERB_SIM_NO_SUCH_LTL};
    }
    if (found->second.tag != keys.second) {
        return {NERB_SIM_TAG_MISMATCH, keys.second};
    }
    return {};
}

// A VLAN narrows the rows; the pool's numbers are always of all.
answer show_ltl(service &vell, const question &asked) {
    answer made(asked);
    made.begin_rows("ltl");
    made.each_with_items(vell.ltls.all(), ltl_printer{asked.number("vlan")});
    made.once([&vell](output &out, row_count &rows) {
        out.close_list();
        out.text("{}; ", counted_of(rows.shown, rows.matched, "LTL"));
        out.open_object("pool");
        out.json("first", VELL_SIM_LTL_POOL_FIRST);
        out.field("in_use", "{} of", vell.ltls.all().size());
        out.field("size", " {} in use\n", vell.faults.ltl_pool);
        out.close_object();
    });
    return made;
}

} // namespace sim
