// The floors of the LTL manager's requests and answers: the platform's calls, what they take and
// give, and nothing else.
#include "client.h"
#include "versions.h"

#include <nerb.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace bench {

namespace {

struct VELL_RECORD ltl_request {
    vell_ltl_payload head;
    vell_ltl_entry entry;
};
ltl_request request;

constexpr std::uint32_t alloc_reply_kind = 13;
constexpr std::uint32_t most_vlans = 4095;

template <typename Send>
[[gnu::always_inline]] inline int send_list(std::uint32_t key1, std::uint32_t count,
                                            const std::uint32_t *if_indexes, std::uint32_t key2,
                                            std::uint32_t cookie, Send send) {
    void *const copy = std::malloc(count * 4);
    if (copy == nullptr)
        return 0;
    std::memcpy(copy, if_indexes, count * 4);
    request = {{1},
               {key1, key2, 0, static_cast<std::uint16_t>(count), 0,
                static_cast<std::uint32_t *>(copy), 0}};
    const std::uint32_t failure = send(client_queue, &request, cookie);
    std::free(copy);
    return failure == 0;
}

} // namespace

} // namespace bench

using namespace bench;

// Called by name, as the library must: a function's address would be bound when the shared object
// is loaded.
int floor_nerb_l2_ltl_alloc(std::uint32_t key1, std::uint32_t count,
                            const std::uint32_t *if_indexes, std::uint32_t key2,
                            std::uint32_t cookie) {
    return send_list(key1, count, if_indexes, key2, cookie,
                     [](auto... what) { return nerb_send_batched_mcast_alloc_req(what...); });
}

int floor_nerb_l2_ltl_modify(std::uint32_t key1, std::uint32_t count,
                             const std::uint32_t *if_indexes, std::uint32_t key2,
                             std::uint32_t cookie) {
    return send_list(key1, count, if_indexes, key2, cookie,
                     [](auto... what) { return nerb_send_batched_mcast_mod_req(what...); });
}

int floor_nerb_l2_ltl_dealloc(std::uint32_t key1, std::uint32_t key2, std::uint32_t cookie) {
    static vell_ltl_release release;
    release.key1 = key1;
    release.key2 = key2;
    return nerb_send_batched_mcast_dealloc_msg(client_queue, 1, &release, cookie) == 0;
}

int floor_nerb_handle_l2_response(const void *rsp, std::uint32_t *result1, std::uint32_t *result2) {
    std::uint32_t status = 0, count = 0;
    nerb_rsp_info info;
    if (nerb_parse_rsp_status(rsp, &status) != 0 || status != 0 ||
        nerb_parse_rsp_get_entry_count(rsp, &count) != 0 || count != 1 ||
        nerb_parse_rsp_get_rsp_info(rsp, 1, &info) != 0 || info.word[3] != 0)
        return 0;
    *result1 = info.word[0];
    *result2 = info.word[2];
    return 1;
}

int floor_nerb_handle_l2_alloc_response(const void *rsp, std::uint32_t *result1,
                                        std::uint32_t *result2) {
    std::uint32_t status = 0;
    std::uint16_t count = 0;
    nerb_alloc_ltl_rsp_parm parm;
    if (nerb_parse_alloc_ltl_get_entry_count(rsp, &status, alloc_reply_kind, &count) != 0 ||
        status != 0 || count != 1 ||
        nerb_parse_alloc_ltl_rsp_parm(rsp, &status, alloc_reply_kind, &parm) != 0 || status != 0)
        return 0;
    *result1 = parm.word[1];
    *result2 = parm.word[2];
    return 1;
}

// Refused VLANs are not logged: those that are measured were accepted.
std::uint32_t floor_handle_l2_mc_update_flood_ltl_resp(const void *rsp, std::uint8_t **result) {
    *result = nullptr;
    std::uint32_t status = 0, count = 0;
    nerb_rsp_info vlans[most_vlans];
    if (nerb_parse_rsp_status(rsp, &status) != 0 ||
        nerb_parse_rsp_get_entry_count(rsp, &count) != 0 || count == 0 || count > most_vlans ||
        nerb_parse_rsp_get_rsp_info(rsp, count, vlans) != 0)
        return 0;
    void *const buffer =
        std::calloc(1, sizeof(vell_l2_message) + count * sizeof(vell_flood_result));
    if (buffer == nullptr)
        return 0;
    auto *const message = static_cast<vell_l2_message *>(buffer);
    message->count = __builtin_bswap16(static_cast<std::uint16_t>(count));
    message->flags = __builtin_bswap16(status == 0);
    auto *const records = reinterpret_cast<vell_flood_result *>(message + 1);
    for (std::uint32_t i = 0; i < count; ++i) {
        records[i].vlan = __builtin_bswap32(vlans[i].word[0]);
        records[i].flags = vlans[i].word[3] == 0 ? VELL_FLOOD_ACKNOWLEDGED : 0;
    }
    *result = static_cast<std::uint8_t *>(buffer);
    return 1;
}
