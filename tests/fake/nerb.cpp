// The LTL manager's client of the fake platform.
#include "fake/platform.h"

#include <nerb.h>

#include <algorithm>
#include <cstring>

namespace fake {
namespace {

// Where things lie in what the manager is sent.
constexpr std::size_t ltl_request_size = 26;
constexpr std::size_t ltl_list_count = 14;
constexpr std::size_t ltl_list_address = 18;
constexpr std::size_t ltl_release_size = 12;
constexpr std::size_t flood_head_size = 4;
constexpr std::size_t flood_delta_size = 24;
constexpr std::size_t flood_update_count = 20;
constexpr std::size_t flood_update_size = 8;

template <typename Value>
Value value_at(const std::uint8_t *raw) {
    Value value;
    std::memcpy(&value, raw, sizeof value);
    return value;
}

bool writes_outputs(std::uint32_t result) {
    return result == 0 || platform().failures_write_outputs.value_or(true);
}

template <typename Value>
void store(std::uint32_t result, Value *to, const std::optional<Value> &value) {
    if (value && writes_outputs(result))
        *to = *value;
}

std::uint32_t take_list_request(ListRequest request, std::uint32_t queue, const void *payload,
                                std::uint32_t cookie) {
    const InPlatform inside;
    auto &it = platform();
    const auto *const raw = static_cast<const std::uint8_t *>(payload);
    it.payload_address = raw;
    it.list_address = value_at<const void *>(raw + ltl_list_address);
    LtlList call = {request, queue, bytes(raw, raw + ltl_request_size), {}, cookie};
    std::fill_n(call.payload.begin() + ltl_list_address, sizeof(void *), std::uint8_t{0});
    const auto count = it.list_size.value_or(value_at<std::uint16_t>(raw + ltl_list_count));
    const auto *const list = static_cast<const std::uint8_t *>(it.list_address);
    call.list.assign(list, list + count * sizeof(std::uint32_t));
    it.calls.push_back(call);
    return (request == ListRequest::alloc ? it.ltl_alloc : it.ltl_modify).play();
}

std::size_t flood_payload_size(const std::uint8_t *payload) {
    std::size_t size = flood_head_size;
    for (auto vlans = value_at<std::uint32_t>(payload); vlans != 0; --vlans) {
        const auto updates = value_at<std::uint32_t>(payload + size + flood_update_count);
        size += flood_delta_size + updates * flood_update_size;
    }
    return size;
}

} // namespace
} // namespace fake

extern "C" {

uint32_t nerb_send_batched_mcast_alloc_req(uint32_t queue, const void *payload, uint32_t cookie) {
    return fake::take_list_request(fake::ListRequest::alloc, queue, payload, cookie);
}

uint32_t nerb_send_batched_mcast_mod_req(uint32_t queue, const void *payload, uint32_t cookie) {
    return fake::take_list_request(fake::ListRequest::modify, queue, payload, cookie);
}

uint32_t nerb_send_batched_mcast_dealloc_msg(uint32_t queue, uint32_t count, const void *entries,
                                             uint32_t cookie) {
    const fake::InPlatform inside;
    auto &platform = fake::platform();
    const auto *const raw = static_cast<const std::uint8_t *>(entries);
    platform.payload_address = raw;
    platform.calls.push_back(fake::LtlRelease{
        .queue = queue,
        .count = count,
        .entries = bytes(raw, raw + count * fake::ltl_release_size),
        .cookie = cookie,
    });
    return platform.ltl_release.play();
}

uint32_t nerb_send_flood_ltl_update_req(uint32_t queue, const void *payload, void *context) {
    const fake::InPlatform inside;
    auto &platform = fake::platform();
    const auto *const raw = static_cast<const std::uint8_t *>(payload);
    platform.payload_address = raw;
    platform.calls.push_back(fake::FloodUpdate{
        .queue = queue,
        .payload = bytes(raw, raw + fake::flood_payload_size(raw)),
        .context = context,
    });
    return platform.flood_update.play();
}

uint32_t nerb_parse_rsp_status(const void *rsp, uint32_t *status) {
    const fake::InPlatform inside;
    auto &platform = fake::platform();
    platform.calls.push_back(fake::RspStatus{rsp});
    const auto result = platform.rsp_status.play();
    fake::store(result, status, platform.reply.status);
    return result;
}

uint32_t nerb_parse_rsp_get_entry_count(const void *rsp, uint32_t *count) {
    const fake::InPlatform inside;
    auto &platform = fake::platform();
    platform.calls.push_back(fake::RspEntryCount{.rsp = rsp, .count_was = *count});
    const auto result = platform.rsp_entry_count.play();
    fake::store(result, count, platform.reply.entry_count);
    return result;
}

uint32_t nerb_parse_rsp_get_rsp_info(const void *rsp, uint32_t count, nerb_rsp_info *info) {
    const fake::InPlatform inside;
    auto &platform = fake::platform();
    platform.calls.push_back(fake::RspInfo{.rsp = rsp, .count = count});
    const auto result = platform.rsp_info.play();
    const auto &entries = platform.reply.entries;
    if (fake::writes_outputs(result))
        std::copy_n(entries.begin(), std::min<std::size_t>(count, entries.size()), info);
    return result;
}

uint32_t nerb_parse_alloc_ltl_get_entry_count(const void *rsp, uint32_t *status, uint32_t kind,
                                              uint16_t *count) {
    const fake::InPlatform inside;
    auto &platform = fake::platform();
    platform.calls.push_back(fake::AllocEntryCount{.rsp = rsp, .kind = kind, .count_was = *count});
    platform.status_address = status;
    const auto result = platform.alloc_entry_count.play();
    fake::store(result, status, platform.reply.alloc_status);
    fake::store(result, count, platform.reply.alloc_entry_count);
    return result;
}

uint32_t nerb_parse_alloc_ltl_rsp_parm(const void *rsp, uint32_t *status, uint32_t kind,
                                       nerb_alloc_ltl_rsp_parm *parm) {
    const fake::InPlatform inside;
    auto &platform = fake::platform();
    platform.calls.push_back(fake::AllocRspParm{
        .rsp = rsp, .same_status = status == platform.status_address, .kind = kind});
    const auto result = platform.alloc_rsp_parm.play();
    fake::store(result, status, platform.reply.parm_status);
    fake::store(result, parm, platform.reply.parm);
    return result;
}
}
