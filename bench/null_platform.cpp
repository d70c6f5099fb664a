// Every function of the platform, doing nothing. To record is one test of a flag that is off while
// anything is measured.
#include "null_platform.h"

#include <kyt.h>
#include <nerb.h>
#include <qarnutils.h>
#include <tessel.h>
#include <tlv.h>
#include <vell.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string_view>

namespace bench::null_platform {

bool history_open = true;
std::uint32_t answer_entries = 1;
nerb_rsp_info answer[most_answer_entries];
bool recording = false;

namespace {

std::uint64_t sum;

// Which function is called, and with which numbers.
template <typename... Numbers>
void record_call(std::string_view function, Numbers... numbers) {
    record(function.data(), function.size());
    (record(&numbers, sizeof(numbers)), ...);
}

#define RECORD_CALL(...)                                                                           \
    if (recording) [[unlikely]]                                                                    \
    record_call(__func__ __VA_OPT__(, ) __VA_ARGS__)

#define RECORD_BYTES(bytes, size)                                                                  \
    if (recording) [[unlikely]]                                                                    \
    record(bytes, size)

std::size_t flood_payload_size(const void *payload) {
    const auto *const words = static_cast<const std::uint32_t *>(payload);
    std::size_t size = 1;
    for (std::uint32_t vlans = words[0]; vlans != 0; --vlans)
        size += 6 + 2 * words[size + 5];
    return 4 * size;
}

// One entry, and the interfaces that it points to instead of the pointer.
void record_ltl_request(const void *payload) {
    vell_ltl_entry entry;
    std::memcpy(&entry, static_cast<const std::uint8_t *>(payload) + sizeof(vell_ltl_payload),
                sizeof(entry));
    record(payload, sizeof(vell_ltl_payload));
    record(entry.if_indexes, entry.if_index_count * sizeof(*entry.if_indexes));
    entry.if_indexes = nullptr;
    record(&entry, sizeof(entry));
}

} // namespace

void start_recording() {
    sum = 0xcbf29ce484222325;
    recording = true;
}

std::uint64_t checksum() {
    recording = false;
    return sum;
}

void record(const void *bytes, std::size_t size) {
    const auto *const at = static_cast<const std::uint8_t *>(bytes);
    std::for_each(at, at + size, [](std::uint8_t byte) { sum = (sum ^ byte) * 0x100000001b3; });
    sum = (sum ^ size) * 0x100000001b3; // so that "ab", "c" is not "a", "bc"
}

} // namespace bench::null_platform

using namespace bench::null_platform;

std::int32_t kyt_send(std::uint32_t queue, std::uint32_t node, std::uint32_t sap,
                      std::uint32_t opcode, const void *payload, std::uint32_t length,
                      kyt_msg_ref *, std::uint32_t flags, const std::uint32_t *options) {
    RECORD_CALL(queue, node, sap, opcode, length, flags);
    RECORD_BYTES(payload, length);
    RECORD_BYTES(options, KYT_SEND_OPTION_WORDS * sizeof(*options));
    return 0;
}

void kyt_drop(std::uint32_t queue, kyt_msg_ref *) {
    RECORD_CALL(queue);
}

// An acknowledgment with id 9.
void *kyt_payload_get(void *) {
    static std::uint8_t accepted[] = {9, 1};
    return accepted;
}

std::uint32_t nerb_send_batched_mcast_alloc_req(std::uint32_t queue, const void *payload,
                                                std::uint32_t cookie) {
    RECORD_CALL(queue, cookie);
    if (recording) [[unlikely]]
        record_ltl_request(payload);
    return 0;
}

std::uint32_t nerb_send_batched_mcast_mod_req(std::uint32_t queue, const void *payload,
                                              std::uint32_t cookie) {
    RECORD_CALL(queue, cookie);
    if (recording) [[unlikely]]
        record_ltl_request(payload);
    return 0;
}

std::uint32_t nerb_send_batched_mcast_dealloc_msg(std::uint32_t queue, std::uint32_t count,
                                                  const void *entries, std::uint32_t cookie) {
    RECORD_CALL(queue, count, cookie);
    RECORD_BYTES(entries, count * sizeof(vell_ltl_release));
    return 0;
}

std::uint32_t nerb_send_flood_ltl_update_req(std::uint32_t queue, const void *payload, void *) {
    RECORD_CALL(queue);
    RECORD_BYTES(payload, flood_payload_size(payload));
    return 0;
}

std::uint32_t nerb_parse_rsp_status(const void *, std::uint32_t *status) {
    RECORD_CALL();
    *status = 0;
    return 0;
}

std::uint32_t nerb_parse_rsp_get_entry_count(const void *, std::uint32_t *count) {
    RECORD_CALL();
    *count = answer_entries;
    return 0;
}

std::uint32_t nerb_parse_rsp_get_rsp_info(const void *, std::uint32_t count, nerb_rsp_info *info) {
    RECORD_CALL(count);
    std::memcpy(info, answer, count * sizeof(*info));
    return 0;
}

std::uint32_t nerb_parse_alloc_ltl_get_entry_count(const void *, std::uint32_t *status,
                                                   std::uint32_t kind, std::uint16_t *count) {
    RECORD_CALL(kind);
    *status = 0;
    *count = 1;
    return 0;
}

std::uint32_t nerb_parse_alloc_ltl_rsp_parm(const void *, std::uint32_t *status, std::uint32_t kind,
                                            nerb_alloc_ltl_rsp_parm *parm) {
    RECORD_CALL(kind);
    *status = 0;
    *parm = {{1, 2, 3}};
    return 0;
}

std::uint32_t if_index_get_type(std::uint32_t if_index, std::uint8_t *type) {
    RECORD_CALL(if_index);
    *type = IF_INDEX_TYPE_PHY_ETH;
    return 0;
}

std::uint32_t if_index_phy_eth_get_fields(std::uint32_t if_index, std::uint8_t *slot,
                                          std::uint8_t *port, std::uint32_t *third) {
    RECORD_CALL(if_index);
    *slot = static_cast<std::uint8_t>(if_index >> 12 & 31);
    *port = 0;
    *third = 0;
    return 0;
}

void ipv6_addr_copy(const void *from, void *to) {
    std::memcpy(to, from, 16);
}

// The list is recorded where it is appended, and not copied.
std::uint32_t tlv_aligned_array_append_tlv(void *, std::uint32_t *position, std::uint32_t *size,
                                           std::uint32_t capacity, std::uint16_t type,
                                           std::uint16_t length, const void *value, std::uint32_t) {
    RECORD_CALL(*position, *size, capacity, type, length);
    RECORD_BYTES(value, length);
    *position = 1;
    *size += length;
    return 0;
}

std::uint32_t tlv_aligned_array_get_next_tlv(const void *, std::uint16_t *, std::uint16_t *,
                                             const void **, std::uint32_t, std::uint32_t *) {
    return 1;
}

std::int32_t tlv_aligned_array_get_num_tlvs(const void *, std::uint32_t) {
    return 0;
}

std::uint32_t tlv_aligned_array_size_get(const void *, std::uint32_t) {
    RECORD_CALL();
    return 0;
}

char tessel_dbg_modname[] = "bench";

std::uint32_t tessel_hist_event_subtype_check(std::uint32_t module, std::uint32_t level) {
    RECORD_CALL(module, level);
    return history_open ? 0 : 1;
}

std::uint32_t tessel_hist_event(std::uint32_t module, std::uint32_t length, const void *bytes) {
    RECORD_CALL(module);
    RECORD_BYTES(bytes, length);
    return 0;
}

std::uint32_t tessel_chk_int(std::uint32_t level, std::uint32_t first, std::uint32_t second,
                             std::uint32_t third) {
    RECORD_CALL(level, first, second, third);
    return 0;
}

std::uint32_t tessel_his_log_event_for_uuid_inst(std::uint32_t uuid, std::uint32_t module,
                                                 std::uint32_t first, std::uint32_t second,
                                                 std::uint32_t length, const void *bytes) {
    RECORD_CALL(uuid, module, first, second);
    RECORD_BYTES(bytes, length);
    return 0;
}

void debug_print(std::uint32_t, void *, std::uint32_t, const char *, ...) {}
