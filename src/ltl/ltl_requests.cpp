#include "client/client_state.h"
#include "client/log.h"

#include <nerb.h>
#include <vell.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

static_assert(sizeof(vell_ltl_payload) == 2 && alignof(vell_ltl_payload) == 1);
static_assert(sizeof(vell_ltl_release) == 12 && alignof(vell_ltl_release) == 1 &&
              offsetof(vell_ltl_release, key2) == 4 && offsetof(vell_ltl_release, reserved) == 8);
static_assert(sizeof(vell_ltl_entry) == 24 && alignof(vell_ltl_entry) == 1 &&
              offsetof(vell_ltl_entry, key2) == 4 &&
              offsetof(vell_ltl_entry, if_index_count) == 12 &&
              offsetof(vell_ltl_entry, if_indexes) == 16);

vell_ltl_release ltl_dealloc;

namespace vell {

struct VELL_RECORD ltl_request {
    vell_ltl_payload head;
    vell_ltl_entry entry;
};
static_assert(sizeof(ltl_request) == 26 && offsetof(ltl_request, entry) == 2);

} // namespace vell

// Clients see the two bytes of the count as ltl_payload, and the entry lies directly behind. A
// variable of two bytes could not reserve room for the entry, and one of 26 would not be the size
// that clients were built with; so the room is a variable of its own and ltl_payload a second name
// for its start, which only the assembler can give.
//
// An executable at a fixed address that names ltl_payload has a copy of two bytes, and something
// else behind it. So the request is built in the room, which cannot move, and only the count is
// written by the exported name as well.
extern "C" [[gnu::visibility("hidden")]] vell::ltl_request vell_ltl_room;
vell::ltl_request vell_ltl_room;
asm(".globl ltl_payload\n"
    ".type ltl_payload, @object\n"
    ".set ltl_payload, vell_ltl_room\n"
    ".size ltl_payload, 2\n");

namespace vell {

namespace {

// What the two requests that carry an interface list differ in.
struct list_request {
    enum { alloc, modify } kind;
    log_function function;
    log_line build_line;
    log_line send_line;
};
constexpr list_request alloc_request = {list_request::alloc, "vell_nerb_l2_ltl_alloc", 1512, 1523};
constexpr list_request modify_request = {list_request::modify, "vell_nerb_l2_ltl_modify", 1576,
                                         1587};

// What is asked of the manager.
struct ltl_wish {
    std::uint32_t key1;
    std::uint32_t key2;
    const std::uint32_t *if_indexes;
    std::uint32_t count;
};

bool build_entry(const ltl_wish &wish, vell_ltl_entry *entry) {
    const std::uint32_t bytes = wish.count * std::uint32_t{sizeof(*wish.if_indexes)};
    void *const copy = std::malloc(bytes);
    *entry = {.key1 = wish.key1,
              .key2 = wish.key2,
              .reserved1 = 0,
              .if_index_count = static_cast<std::uint16_t>(wish.count),
              .reserved2 = 0,
              .if_indexes = static_cast<std::uint32_t *>(copy),
              .reserved3 = 0};
    if (copy == nullptr) {
        vell_log(log_error, "vell_nerb_build_mcast_ltl_info", 1484,
                 "%s(%d):ERROR: p_ifidx alloc failed");
        return false;
    }
    if (bytes != 0)
        std::memcpy(copy, static_cast<const void *>(wish.if_indexes), bytes);
    return true;
}

// Called by name: with its functions in a table, the manager's library would have to be there when
// this one is loaded, also for clients that never ask for an LTL index.
std::uint32_t send_room(const list_request &request, std::uint32_t cookie) {
    return request.kind == list_request::alloc
               ? nerb_send_batched_mcast_alloc_req(vell_client_q, &vell_ltl_room, cookie)
               : nerb_send_batched_mcast_mod_req(vell_client_q, &vell_ltl_room, cookie);
}

bool send_list(const list_request &request, const ltl_wish &wish, std::uint32_t cookie) {
    if (!build_entry(wish, &vell_ltl_room.entry)) {
        vell_log(log_error, request.function, request.build_line,
                 "%s(%d):ERROR: failure to build nerb payload\n");
        return false;
    }
    // Remembered, since what is left in the request is the next one's.
    std::uint32_t *const copy = vell_ltl_room.entry.if_indexes;
    vell_ltl_room.head.count = 1;
    ltl_payload.count = 1;
    const std::uint32_t failure = send_room(request, cookie);
    std::free(copy);
    if (failure != 0)
        vell_log(log_error, request.function, request.send_line,
                 "%s(%d):ERROR: NERB ltl alloc API returned error %d\n", failure);
    return failure == 0;
}

} // namespace

} // namespace vell

using namespace vell;

int vell_nerb_build_mcast_ltl_info(std::uint32_t key1, std::uint32_t count,
                                   const std::uint32_t *if_indexes, std::uint32_t key2,
                                   vell_ltl_entry *entry) {
    return build_entry({key1, key2, if_indexes, count}, entry);
}

int vell_nerb_l2_ltl_alloc(std::uint32_t key1, std::uint32_t count, const std::uint32_t *if_indexes,
                           std::uint32_t key2, std::uint32_t cookie) {
    return send_list(alloc_request, {key1, key2, if_indexes, count}, cookie);
}

int vell_nerb_l2_ltl_modify(std::uint32_t key1, std::uint32_t count,
                            const std::uint32_t *if_indexes, std::uint32_t key2,
                            std::uint32_t cookie) {
    return send_list(modify_request, {key1, key2, if_indexes, count}, cookie);
}

int vell_nerb_l2_ltl_dealloc(std::uint32_t key1, std::uint32_t key2, std::uint32_t cookie) {
    ltl_dealloc.key1 = key1;
    ltl_dealloc.key2 = key2;
    const std::uint32_t failure =
        nerb_send_batched_mcast_dealloc_msg(vell_client_q, 1, &ltl_dealloc, cookie);
    if (failure != 0)
        vell_log(log_error, "vell_nerb_l2_ltl_dealloc", 1551,
                 "%s(%d):ERROR: NERB ltl dealloc API returned error %d\n", failure);
    return failure == 0;
}
