#include "ltl/oif_delta.h"

#include "client/byte_order.h"
#include "client/log.h"

#include <qarnutils.h>
#include <vell.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace vell {

namespace {

constexpr char delta_finder[] = "vell_find_oiflist_delta";

static_assert(sizeof(vell_flood_update) == 8 && alignof(vell_flood_update) == 1 &&
              offsetof(vell_flood_update, operation) == 4);
static_assert(sizeof(vell_flood_delta) == 24 && alignof(vell_flood_delta) == 1 &&
              offsetof(vell_flood_delta, flc_bitmask) == 12 &&
              offsetof(vell_flood_delta, update_count) == 20);
static_assert(sizeof(vell_l2_oif) == 32 && alignof(vell_l2_oif) == 1 &&
              offsetof(vell_l2_oif, flags) == 4 && offsetof(vell_l2_oif, value.if_index) == 16);

// What is left of an array to be merged.
struct oif_rest {
    const vell_l2_oif *at;
    const vell_l2_oif *end;
};

// A delta and the updates written to it so far. The delta's own count is written when it is
// complete.
struct delta_writer {
    vell_flood_delta *delta;
    std::uint32_t updates;
};

vell_flood_update *updates_of(vell_flood_delta *delta) {
    return reinterpret_cast<vell_flood_update *>(delta + 1);
}

void put_update(delta_writer &out, std::uint32_t if_index, vell_flood_operation operation) {
    updates_of(out.delta)[out.updates++] = {if_index, operation};
}

constexpr char bit_setter[] = "vell_set_flc_bitmask";

// Out of line, to keep the errors out of every place that sets a bit.

[[gnu::noinline]] std::uint32_t report_no_type(std::uint32_t if_index, std::uint32_t status) {
    vell_log(log_error, bit_setter, 1055,
             "%s(%d):ERROR: Failed to get if_index type for 0x%x, status 0x%x\n", if_index, status);
    return status;
}

[[gnu::noinline]] std::uint32_t report_no_fields(std::uint32_t if_index, std::uint32_t status) {
    vell_log(log_error, bit_setter, 1063,
             "%s(%d):ERROR: Failed to get if_index fields for 0x%x, status 0x%x\n", if_index,
             status);
    return status;
}

// The bitmask is given as bytes: it may lie at any address. Inlined: most of what a flood update
// does is done here.
[[gnu::always_inline]] inline std::uint32_t set_line_card_bit(std::uint8_t *bitmask,
                                                              std::uint32_t if_index) {
    std::uint8_t type = 0;
    if (const std::uint32_t status = if_index_get_type(if_index, &type))
        return report_no_type(if_index, status);
    if (type != IF_INDEX_TYPE_PHY_ETH)
        return 0;

    std::uint8_t line_card = 0, port = 0;
    std::uint32_t third = 0;
    if (const std::uint32_t status =
            if_index_phy_eth_get_fields(if_index, &line_card, &port, &third))
        return report_no_fields(if_index, status);
    store(bitmask, load<std::uint32_t>(bitmask) | std::uint32_t{1} << line_card % 32);
    return 0;
}

// The lines of the error that an interface's line card could not be set. Named, because Clang exports
// a record that is a template argument itself.
constexpr log_line kept_line = 1134;
constexpr log_line added_line = 1158;
constexpr log_line added_at_end_line = 1175;

// Has the VLAN flood to the interface's line card. `line` is that of the error when it cannot.
template <const log_line &line>
std::uint32_t flood_to(delta_writer &out, std::uint32_t if_index) {
    auto *const bitmask =
        reinterpret_cast<std::uint8_t *>(out.delta) + offsetof(vell_flood_delta, flc_bitmask);
    const std::uint32_t status = set_line_card_bit(bitmask, if_index);
    if (status != 0)
        vell_log(log_error, delta_finder, line, "%s(%d):ERROR: Set LC bitmask failed\n");
    return status;
}

template <const log_line &line>
std::uint32_t add(delta_writer &out, std::uint32_t if_index) {
    if (const std::uint32_t status = flood_to<line>(out, if_index))
        return status;
    put_update(out, if_index, vell_flood_added);
    return 0;
}

// The SVI flag is not looked at any more.
std::uint32_t add_rest(delta_writer &out, oif_rest is) {
    for (; is.at != is.end; ++is.at)
        if (const std::uint32_t status = add<added_at_end_line>(out, is.at->value.if_index))
            return status;
    return 0;
}

void remove_below(delta_writer &out, oif_rest &was, std::uint32_t if_index) {
    for (; was.at != was.end && was.at->value.if_index < if_index; ++was.at)
        put_update(out, was.at->value.if_index, vell_flood_removed);
}

void remove_rest(delta_writer &out, oif_rest was) {
    for (; was.at != was.end; ++was.at)
        put_update(out, was.at->value.if_index, vell_flood_removed);
}

// An interface that is not below the next one there was.
std::uint32_t keep_or_add(delta_writer &out, oif_rest &was, std::uint32_t if_index) {
    if (was.at->value.if_index != if_index)
        return add<added_line>(out, if_index);
    ++was.at;
    return flood_to<kept_line>(out, if_index);
}

std::uint32_t merge(delta_writer &out, oif_rest was, oif_rest is) {
    for (; is.at != is.end; ++is.at) {
        const std::uint32_t if_index = is.at->value.if_index;
        if ((is.at->flags & VELL_L2_OIF_SVI) != 0) {
            vell_log(log_trace, delta_finder, 1121, "%s(%d):TRACE: Skipping SVI interface: %x\n",
                     if_index);
            continue;
        }
        remove_below(out, was, if_index);
        if (was.at == was.end)
            return add_rest(out, is);
        if (const std::uint32_t status = keep_or_add(out, was, if_index))
            return status;
        if (was.at == was.end)
            return add_rest(out, {is.at + 1, is.end});
    }
    remove_rest(out, was);
    return 0;
}

bool in_order(const oif_array &array) {
    for (std::uint32_t i = 1; i < array.count; ++i)
        if (array.entries[i].value.if_index < array.entries[i - 1].value.if_index)
            return false;
    return true;
}

// Most callers keep their interfaces in order: looking is far cheaper than sorting what is sorted.
oif_rest sorted(const oif_array &array) {
    if (!in_order(array))
        std::qsort(array.entries, array.count, sizeof(*array.entries), vell_oif_comp);
    return {array.entries, array.entries + array.count};
}

void trace_delta(vell_flood_delta *delta) {
    vell_log(log_trace, delta_finder, 1201, "%s(%d):TRACE: FLC_BITMASK: 0x%x\n",
             delta->flc_bitmask);
    vell_log(log_trace, delta_finder, 1202, "%s(%d):TRACE: Update list:\n");
    const vell_flood_update *const updates = updates_of(delta);
    for (std::uint32_t i = 0; i < delta->update_count; ++i)
        vell_log(log_trace, delta_finder, 1206, "%s(%d):TRACE: IfIdx: %d Op: %d\n",
                 updates[i].if_index, updates[i].operation);
}

} // namespace

std::uint32_t find_oif_delta(const oif_array &was, const oif_array &is, vell_flood_delta *delta) {
    if (was.count == 0 && is.count == 0) {
        vell_log(log_trace, delta_finder, 1109,
                 "%s(%d):TRACE: Old and new OIF lists both NULL, return SUCCESS\n");
        return 0;
    }
    const oif_rest old_oifs = sorted(was);
    const oif_rest new_oifs = sorted(is);
    delta_writer out = {delta, 0};
    if (const std::uint32_t status = merge(out, old_oifs, new_oifs))
        return status;
    delta->update_count = out.updates;
    trace_delta(delta);
    return 0;
}

} // namespace vell

using namespace vell;

int vell_oif_comp(const void *first, const void *second) {
    const std::uint32_t a = static_cast<const vell_l2_oif *>(first)->value.if_index;
    const std::uint32_t b = static_cast<const vell_l2_oif *>(second)->value.if_index;
    return (a > b) - (a < b);
}

std::uint32_t vell_set_flc_bitmask(std::uint32_t *flc_bitmask, std::uint32_t if_index) {
    return set_line_card_bit(reinterpret_cast<std::uint8_t *>(flc_bitmask), if_index);
}

std::int32_t vell_find_oiflist_delta(vell_l2_oif *old_entries, std::uint32_t old_count,
                                     vell_l2_oif *new_entries, std::uint32_t new_count,
                                     vell_flood_delta *delta) {
    return static_cast<std::int32_t>(
        find_oif_delta({old_entries, old_count}, {new_entries, new_count}, delta));
}
