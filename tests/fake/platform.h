// A platform for tests: it records every call of the library in order, and does and returns what
// the test tells it.
//
//     fake::platform().kyt_send.returns(-1);
//     vell_deregister();
//     EXPECT_CALLS(fake::Send{...});
//
// Untold, everything succeeds, no message has a payload, the TLV array is empty, replies have
// nothing in them and both log gates are open. Every function has its place in Platform, by its
// name; a new platform function is a record in calls.h, a place here and its definition.
#pragma once

#include "fake/behaviour.h"
#include "fake/calls.h"
#include "fake/compare.h"

#include <kyt.h>
#include <nerb.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

namespace fake {

// A TLV that tlv_aligned_array_get_next_tlv finds in every array.
struct Tlv {
    std::uint16_t type = 0;
    std::uint16_t length = 0;
    bytes value = {};
};

// What tlv_aligned_array_get_next_tlv returns behind the last TLV.
inline constexpr std::uint32_t no_more_tlvs = 97;

// The cursor behind TLV number `index`, the first being 0.
constexpr std::uint32_t cursor_behind(std::size_t index) {
    return 0x5000 + static_cast<std::uint32_t>(index);
}

// The append state that tlv_aligned_array_append_tlv leaves behind.
struct AppendState {
    std::uint32_t position = 0;
    std::uint32_t size = 0;
};

struct SentReference {
    const kyt_msg_ref *address;
    kyt_msg_ref content;
    Reference whose;
    bool released;
};

// What the interface library says of an interface. Untold, every index is a physical Ethernet
// port's, and its low byte is the line card.
struct Interfaces {
    std::function<std::uint8_t(std::uint32_t)> type = [](std::uint32_t) {
        return std::uint8_t{26};
    };
    std::function<std::uint8_t(std::uint32_t)> line_card = [](std::uint32_t if_index) {
        return static_cast<std::uint8_t>(if_index);
    };
};

// What the parsing functions store, whatever they return; nothing of what is unset. Of the entries
// at most as many as the call asks for.
struct Reply {
    std::optional<std::uint32_t> status = {};
    std::optional<std::uint32_t> entry_count = {};
    std::vector<nerb_rsp_info> entries = {};
    std::optional<std::uint32_t> alloc_status = {};
    std::optional<std::uint16_t> alloc_entry_count = {};
    std::optional<std::uint32_t> parm_status = {};
    std::optional<nerb_alloc_ltl_rsp_parm> parm = {};
};

struct Platform {
    Behaviour<std::int32_t> kyt_send{0};
    Hook kyt_drop;
    Behaviour<void *> kyt_payload_get{nullptr};

    Behaviour<std::uint32_t> append_tlv{0};
    Behaviour<std::uint32_t> next_tlv{0};
    Behaviour<std::int32_t> num_tlvs{0};
    Behaviour<std::uint32_t> size_get{0};

    Hook ipv6_addr_copy;
    Behaviour<std::uint32_t> if_index_type{0};
    Behaviour<std::uint32_t> if_index_fields{0};

    Behaviour<std::uint32_t> ltl_alloc{0};
    Behaviour<std::uint32_t> ltl_modify{0};
    Behaviour<std::uint32_t> ltl_release{0};
    Behaviour<std::uint32_t> flood_update{0};
    Behaviour<std::uint32_t> rsp_status{0};
    Behaviour<std::uint32_t> rsp_entry_count{0};
    Behaviour<std::uint32_t> rsp_info{0};
    Behaviour<std::uint32_t> alloc_entry_count{0};
    Behaviour<std::uint32_t> alloc_rsp_parm{0};

    Behaviour<std::uint32_t> history_check{0};
    Behaviour<std::uint32_t> history_event{0};
    Behaviour<std::uint32_t> console_check{1};
    Hook debug_print;
    Behaviour<std::uint32_t> client_log{0};

    // The object whose address a test gives the library as the caller's message reference.
    const kyt_msg_ref *callers_reference = nullptr;

    // What an append stores as the new append state; nothing when unset.
    std::optional<AppendState> append_state;

    // Whether a function that fails writes its outputs all the same, and fills in the message
    // reference. Unset, the senders and the walk through TLVs do not, and all others do.
    std::optional<bool> failures_write_outputs;

    Interfaces interfaces;
    Reply reply;

    // How many interface indexes an LTL request is taken to carry; as many as it says when unset.
    std::optional<std::uint32_t> list_size;

    // Overwrites each log record once it is taken, as a platform may that thinks it owns it.
    bool scribbles_over_log_records = false;

    std::vector<Tlv> tlvs;
    Calls calls;
    std::vector<SentReference> sent;

    // Where the last sent payload lay, the LTL manager's included, and where the interface list of
    // the last LTL request.
    const std::uint8_t *payload_address = nullptr;
    const void *list_address = nullptr;

    // Where the status of an allocation reply's number of entries went.
    const std::uint32_t *status_address = nullptr;

    // The TLVs to find, which is the number to report, too.
    void holds_tlvs(std::vector<Tlv> found);

    // References of the library's own that a send filled in and nobody released.
    unsigned unreleased_references() const;

    Reference whose(const kyt_msg_ref *reference) const;
};

// The one platform of the process; `reset_platform` makes it new.
Platform &platform();
void reset_platform();

// The calls since the last time, in order.
Calls take_calls();

// More than 0 while the process is within a platform function, where what happens is not the
// library's doing.
inline int platform_depth = 0;

class InPlatform {
public:
    InPlatform() { ++platform_depth; }
    ~InPlatform() { --platform_depth; }
    InPlatform(const InPlatform &) = delete;
    InPlatform &operator=(const InPlatform &) = delete;
};

} // namespace fake

// Holds the calls since the last EXPECT_CALLS against these, in order; each argument is a call or a
// list of calls.
#define EXPECT_CALLS(...)                                                                          \
    EXPECT_TRUE(fake::same_calls(fake::take_calls(), fake::in_order(__VA_ARGS__)))
#define EXPECT_NO_CALLS() EXPECT_TRUE(fake::same_calls(fake::take_calls(), {}))
