#include "client/byte_order.h"
#include "client/log.h"

#include <nerb.h>
#include <vell.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace vell {

namespace {

constexpr char flood_reader[] = "vell_handle_l2_mc_update_flood_ltl_resp";

static_assert(sizeof(vell_flood_result) == 80 && alignof(vell_flood_result) == 1 &&
              offsetof(vell_flood_result, flags) == 1 && offsetof(vell_flood_result, vlan) == 24);
static_assert(sizeof(nerb_rsp_info) == 16);

constexpr std::uint32_t most_vlans = 4095;
constexpr std::uint16_t overall_success = 1;

// A flood update's answer, taken apart.
struct answer {
    std::uint32_t status;
    std::uint32_t count;
    nerb_rsp_info vlans[most_vlans + 1];
};

std::uint32_t vlan_of(const nerb_rsp_info &info) {
    return info.word[0];
}
std::uint32_t status_of(const nerb_rsp_info &info) {
    return info.word[3];
}

// Of a large record only what may be read is cleared: a parser may fail before it has stored
// anything.
bool read_answer(const void *rsp, answer &read) {
    read.status = 0;
    if (const std::uint32_t failure = nerb_parse_rsp_status(rsp, &read.status)) {
        vell_log(log_error, flood_reader, 1404, "%s(%d):ERROR: NERB parse rsp status=%d", failure);
        return false;
    }
    read.count = 0;
    const std::uint32_t no_count = nerb_parse_rsp_get_entry_count(rsp, &read.count);
    if (no_count != 0 || read.count == 0 || read.count > most_vlans) {
        vell_log(log_error, flood_reader, 1411,
                 "%s(%d):ERROR: NERB returned status=%d with entry count (%d)\n", no_count,
                 read.count);
        return false;
    }
    std::memset(read.vlans, 0, read.count * sizeof(read.vlans[0]));
    if (const std::uint32_t failure = nerb_parse_rsp_get_rsp_info(rsp, read.count, read.vlans)) {
        vell_log(log_error, flood_reader, 1418,
                 "%s(%d):ERROR: NERB returned status=%d for get resp info\n", failure);
        return false;
    }
    return true;
}

void fill_record(vell_flood_result &record, const nerb_rsp_info &info) {
    record.vlan = swapped(vlan_of(info));
    if (status_of(info) == 0)
        record.flags |= VELL_FLOOD_ACKNOWLEDGED;
    else
        vell_log(log_error, flood_reader, 1454, "%s(%d):ERROR: Nack for vlan %d status %d\n",
                 vlan_of(info), status_of(info));
}

void fill_message(vell_l2_message *message, const answer &read) {
    message->count = swapped(static_cast<std::uint16_t>(read.count));
    if (read.status == 0)
        message->flags = swapped(overall_success);
    auto *const records = reinterpret_cast<vell_flood_result *>(message + 1);
    for (std::uint32_t i = 0; i < read.count; ++i)
        fill_record(records[i], read.vlans[i]);
}

} // namespace

} // namespace vell

using namespace vell;

std::uint32_t vell_handle_l2_mc_update_flood_ltl_resp(const void *rsp, std::uint8_t **result) {
    *result = nullptr;
    answer read;
    if (!read_answer(rsp, read))
        return 0;

    void *const buffer =
        std::calloc(1, sizeof(vell_l2_message) + read.count * sizeof(vell_flood_result));
    if (buffer == nullptr) {
        vell_log(log_error, flood_reader, 1428, "%s(%d):ERROR: Memory allocation failed\n");
        return 0;
    }
    fill_message(static_cast<vell_l2_message *>(buffer), read);
    *result = static_cast<std::uint8_t *>(buffer);
    return 1;
}
