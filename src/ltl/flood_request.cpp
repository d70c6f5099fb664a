#include "client/client_state.h"
#include "client/log.h"
#include "ltl/oif_delta.h"

#include <nerb.h>
#include <vell.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace vell {

namespace {

constexpr char flood_sender[] = "vell_send_l2_mc_update_flood_ltl";

static_assert(sizeof(vell_flood_payload) == 4 && alignof(vell_flood_payload) == 1);
static_assert(sizeof(vell_l2_vlan_record) == 74 && offsetof(vell_l2_vlan_record, vlan) == 24 &&
              offsetof(vell_l2_vlan_record, count) == 70);

// A batch of VLANs as it was and as it is.
struct batches {
    void *was;
    void *is;
    std::uint16_t count;
};

// One VLAN's records in both. They are only as long as each other when they have as many entries.
struct record_pair {
    vell_l2_vlan_record *was;
    vell_l2_vlan_record *is;
};

vell_l2_vlan_record *first_record(void *buffer) {
    return reinterpret_cast<vell_l2_vlan_record *>(static_cast<vell_l2_message *>(buffer) + 1);
}

record_pair first_pair(const batches &vlans) {
    return {first_record(vlans.was), first_record(vlans.is)};
}

vell_l2_vlan_record *record_behind(vell_l2_vlan_record *record) {
    const std::uint32_t length =
        VELL_L2_RECORD_BYTES + record->count * std::uint32_t{sizeof(vell_l2_oif)};
    return reinterpret_cast<vell_l2_vlan_record *>(reinterpret_cast<std::uint8_t *>(record) +
                                                   length);
}

record_pair pair_behind(const record_pair &pair) {
    return {record_behind(pair.was), record_behind(pair.is)};
}

oif_array oifs_of(vell_l2_vlan_record *record) {
    return {reinterpret_cast<vell_l2_oif *>(record + 1), record->count};
}

vell_flood_delta *delta_behind(vell_flood_delta *delta) {
    auto *const updates = reinterpret_cast<vell_flood_update *>(delta + 1);
    return reinterpret_cast<vell_flood_delta *>(updates + delta->update_count);
}

std::uint32_t fill_payload(const batches &vlans, vell_flood_payload *payload) {
    payload->vlan_count = vlans.count;
    if (vlans.count == 0)
        return 0;
    auto *delta = reinterpret_cast<vell_flood_delta *>(payload + 1);
    record_pair pair = first_pair(vlans);
    for (std::uint16_t left = vlans.count; left != 0; --left) {
        delta->vlan = pair.was->vlan;
        vell_log(log_trace, "vell_build_nerb_flood_ltl_pyld", 1244,
                 "%s(%d):TRACE: Delta for vlan %d\n", delta->vlan);
        if (const std::uint32_t status = find_oif_delta(oifs_of(pair.was), oifs_of(pair.is), delta))
            return status;
        pair = pair_behind(pair);
        delta = delta_behind(delta);
    }
    return 0;
}

// The most that the deltas of a batch can take, or 0 when its VLANs are not the same ones in the
// same order. The size itself is never 0: the head makes it 4 modulo 8.
std::uint32_t payload_size(const batches &vlans) {
    std::uint32_t size =
        sizeof(vell_flood_payload) + vlans.count * std::uint32_t{sizeof(vell_flood_delta)};
    record_pair pair = first_pair(vlans);
    for (std::uint16_t i = 0; i < vlans.count; ++i, pair = pair_behind(pair)) {
        if (pair.was->vlan != pair.is->vlan) {
            vell_log(log_error, flood_sender, 1332,
                     "%s(%d):ERROR: At index %d old VLAN %d not equal to new VLAN %d\n", i,
                     pair.was->vlan, pair.is->vlan);
            return 0;
        }
        size += (pair.was->count + pair.is->count) * std::uint32_t{sizeof(vell_flood_update)};
    }
    return size;
}

bool fill_and_send(const batches &vlans, vell_flood_payload *payload, void *context) {
    if (const std::uint32_t status = fill_payload(vlans, payload)) {
        vell_log(log_error, flood_sender, 1361,
                 "%s(%d):ERROR: Building NERB request payload failed 0x%x\n", status);
        return false;
    }
    if (const std::uint32_t status =
            nerb_send_flood_ltl_update_req(vell_client_q, payload, context)) {
        vell_log(log_error, flood_sender, 1368,
                 "%s(%d):ERROR: Sending LTL update to NERB failed 0x%x\n", status);
        return false;
    }
    return true;
}

bool send_batch(const batches &vlans, void *context) {
    const std::uint32_t size = payload_size(vlans);
    if (size == 0)
        return false;
    auto *const payload = static_cast<vell_flood_payload *>(std::calloc(1, size));
    if (payload == nullptr) {
        vell_log(log_error, flood_sender, 1352, "%s(%d):ERROR: Memory allocation failed\n");
        return false;
    }
    const bool sent = fill_and_send(vlans, payload, context);
    std::free(payload);
    return sent;
}

} // namespace

} // namespace vell

using namespace vell;

std::int32_t vell_build_nerb_flood_ltl_pyld(void *old_buffer, void *new_buffer,
                                            std::uint16_t vlan_count, vell_flood_payload *payload) {
    return static_cast<std::int32_t>(fill_payload({old_buffer, new_buffer, vlan_count}, payload));
}

std::uint32_t vell_send_l2_mc_update_flood_ltl(void *old_buffer, std::uint32_t,
                                               std::uint16_t old_count, void *new_buffer,
                                               std::uint32_t, std::uint16_t new_count,
                                               void *context) {
    if (old_buffer == nullptr || new_buffer == nullptr || context == nullptr) {
        vell_log(log_error, flood_sender, 1295, "%s(%d):ERROR: Null parameters\n");
        return 0;
    }
    if (old_count != new_count) {
        vell_log(log_error, flood_sender, 1300,
                 "%s(%d):ERROR: Old count %d not equal to new count %d\n", old_count, new_count);
        return 0;
    }
    vell_log(log_trace, flood_sender, 1304, "%s(%d):TRACE: Num of msgs %d\n", new_count);
    if (vell_client_q == 0) {
        vell_log(log_error, flood_sender, 1310, "%s(%d):ERROR: Client not registered\n");
        return 0;
    }
    return send_batch({old_buffer, new_buffer, new_count}, context);
}
