// Flood updates: one merge, with the log lines, the sort and the memory of either version.
//
// The floor looks whether a list is in order before it sorts, and clears no more of its payload
// than it fills. The plain version always sorts, as one does who reads that the entries come out
// sorted, and starts from zeros.
#include "client.h"
#include "log_lines.h"
#include "versions.h"

#include <nerb.h>
#include <qarnutils.h>

#include <cstdint>
#include <cstdlib>

namespace bench {

namespace {

// The entries of one VLAN.
struct oif_array {
    vell_l2_oif *entries;
    std::uint32_t count;
};

int compare(const void *first, const void *second) {
    const std::uint32_t a = static_cast<const vell_l2_oif *>(first)->value.if_index;
    const std::uint32_t b = static_cast<const vell_l2_oif *>(second)->value.if_index;
    return a > b ? 1 : a < b ? -1 : 0;
}

void sort(const oif_array &oifs) {
    std::qsort(oifs.entries, oifs.count, sizeof(*oifs.entries), compare);
}

bool in_order(const oif_array &oifs) {
    for (std::uint32_t i = 1; i < oifs.count; ++i)
        if (oifs.entries[i].value.if_index < oifs.entries[i - 1].value.if_index)
            return false;
    return true;
}

struct floor_version : floor_lines {
    static void sort_entries(const oif_array &oifs) {
        if (!in_order(oifs))
            sort(oifs);
    }
    static void *payload(std::uint32_t size) { return std::malloc(size); }
};

struct plain_version : plain_lines {
    static void sort_entries(const oif_array &oifs) { sort(oifs); }
    static void *payload(std::uint32_t size) { return std::calloc(1, size); }
};

// What is not set here is stored by the platform's functions, unless they fail.
[[gnu::always_inline]] inline bool set_line_card(std::uint32_t &bitmask, std::uint32_t if_index) {
    std::uint8_t type, slot, port;
    std::uint32_t third;
    if (if_index_get_type(if_index, &type) != 0)
        return false;
    if (type != IF_INDEX_TYPE_PHY_ETH)
        return true;
    if (if_index_phy_eth_get_fields(if_index, &slot, &port, &third) != 0)
        return false;
    bitmask |= 1U << slot % 32;
    return true;
}

template <typename Lines>
void trace_delta(const vell_flood_delta *delta) {
    Lines::trace_1201(delta->flc_bitmask);
    Lines::trace_1202();
    const auto *const updates = reinterpret_cast<const vell_flood_update *>(delta + 1);
    for (std::uint32_t i = 0; i < delta->update_count; ++i)
        Lines::trace_1206(updates[i].if_index, updates[i].operation);
}

// Both arrays are in order. A VLAN interface is skipped while there are old entries left; what is
// measured has none, so that its trace is missing.
bool merge(const oif_array &was, const oif_array &is, vell_flood_delta *delta) {
    const vell_l2_oif *old = was.entries, *const old_end = old + was.count;
    const vell_l2_oif *const new_end = is.entries + is.count;
    auto *const updates = reinterpret_cast<vell_flood_update *>(delta + 1), *update = updates;
    std::uint32_t bitmask = delta->flc_bitmask;
    for (const vell_l2_oif *oif = is.entries; oif != new_end; ++oif) {
        const std::uint32_t if_index = oif->value.if_index;
        if (old != old_end) {
            if ((oif->flags & VELL_L2_OIF_SVI) != 0)
                continue;
            for (; old != old_end && old->value.if_index < if_index; ++old)
                *update++ = {old->value.if_index, vell_flood_removed};
        }
        if (!set_line_card(bitmask, if_index))
            return false;
        if (old != old_end && old->value.if_index == if_index)
            ++old;
        else
            *update++ = {if_index, vell_flood_added};
    }
    for (; old != old_end; ++old)
        *update++ = {old->value.if_index, vell_flood_removed};
    delta->flc_bitmask = bitmask;
    delta->update_count = static_cast<std::uint32_t>(update - updates);
    return true;
}

vell_l2_vlan_record *first_record(void *buffer) {
    return reinterpret_cast<vell_l2_vlan_record *>(static_cast<vell_l2_message *>(buffer) + 1);
}

vell_l2_vlan_record *next_record(vell_l2_vlan_record *record) {
    return reinterpret_cast<vell_l2_vlan_record *>(reinterpret_cast<std::uint8_t *>(record) +
                                                   VELL_L2_RECORD_BYTES + 32 * record->count);
}

oif_array oifs_of(vell_l2_vlan_record *record) {
    return {reinterpret_cast<vell_l2_oif *>(record + 1), record->count};
}

// 0 when the VLANs are not the same.
std::uint32_t payload_size(vell_l2_vlan_record *was, vell_l2_vlan_record *is, std::uint32_t vlans) {
    std::uint32_t size = sizeof(vell_flood_payload) + vlans * sizeof(vell_flood_delta);
    for (; vlans != 0; --vlans, was = next_record(was), is = next_record(is)) {
        if (was->vlan != is->vlan)
            return 0;
        size += (was->count + is->count) * sizeof(vell_flood_update);
    }
    return size;
}

template <typename Version>
bool fill(vell_l2_vlan_record *was, vell_l2_vlan_record *is, std::uint32_t vlans,
          vell_flood_payload *payload) {
    payload->vlan_count = vlans;
    auto *delta = reinterpret_cast<vell_flood_delta *>(payload + 1);
    for (; vlans != 0; --vlans, was = next_record(was), is = next_record(is)) {
        *delta = {was->vlan, {}, 0, {}, 0};
        Version::trace_1244(was->vlan);
        const oif_array old_oifs = oifs_of(was), new_oifs = oifs_of(is);
        Version::sort_entries(old_oifs);
        Version::sort_entries(new_oifs);
        if (!merge(old_oifs, new_oifs, delta))
            return false;
        trace_delta<Version>(delta);
        delta = reinterpret_cast<vell_flood_delta *>(
            reinterpret_cast<vell_flood_update *>(delta + 1) + delta->update_count);
    }
    return true;
}

template <typename Version>
std::uint32_t send_flood(void *old_buffer, std::uint16_t old_count, void *new_buffer,
                         std::uint16_t new_count, void *context) {
    if (old_buffer == nullptr || new_buffer == nullptr || context == nullptr ||
        old_count != new_count)
        return 0;
    Version::trace_1304(new_count);
    if (client_queue == 0)
        return 0;
    vell_l2_vlan_record *const was = first_record(old_buffer), *const is = first_record(new_buffer);
    const std::uint32_t size = payload_size(was, is, new_count);
    void *const payload = size != 0 ? Version::payload(size) : nullptr;
    if (payload == nullptr)
        return 0;
    const bool sent =
        fill<Version>(was, is, new_count, static_cast<vell_flood_payload *>(payload)) &&
        nerb_send_flood_ltl_update_req(client_queue, payload, context) == 0;
    std::free(payload);
    return sent;
}

// The delta of two lists in order: without the sort, nearly all of it is log lines.
template <typename Lines>
std::int32_t find_delta(const oif_array &was, const oif_array &is, vell_flood_delta *delta) {
    if (!merge(was, is, delta))
        return 1;
    trace_delta<Lines>(delta);
    return 0;
}

} // namespace

} // namespace bench

using namespace bench;

std::uint32_t floor_send_l2_mc_update_flood_ltl(void *old_buffer, std::uint32_t,
                                                std::uint16_t old_count, void *new_buffer,
                                                std::uint32_t, std::uint16_t new_count,
                                                void *context) {
    return send_flood<floor_version>(old_buffer, old_count, new_buffer, new_count, context);
}

std::uint32_t plain_send_l2_mc_update_flood_ltl(void *old_buffer, std::uint32_t,
                                                std::uint16_t old_count, void *new_buffer,
                                                std::uint32_t, std::uint16_t new_count,
                                                void *context) {
    return send_flood<plain_version>(old_buffer, old_count, new_buffer, new_count, context);
}

std::int32_t floor_find_oiflist_delta(vell_l2_oif *old_entries, std::uint32_t old_count,
                                      vell_l2_oif *new_entries, std::uint32_t new_count,
                                      vell_flood_delta *delta) {
    return find_delta<floor_lines>({old_entries, old_count}, {new_entries, new_count}, delta);
}

std::int32_t plain_find_oiflist_delta(vell_l2_oif *old_entries, std::uint32_t old_count,
                                      vell_l2_oif *new_entries, std::uint32_t new_count,
                                      vell_flood_delta *delta) {
    return find_delta<plain_lines>({old_entries, old_count}, {new_entries, new_count}, delta);
}
