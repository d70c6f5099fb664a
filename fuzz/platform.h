// The platform that a fuzz target runs the library against. It records every call, and answers with
// what it draws from the input. Afterwards the target's model expects the same calls in the same
// order, and learns from each what it was answered:
//
//     const auto result = library([&] { return vell_send_igmp_oob_notification(marker); });
//     const bool sent = expect_send(queue, {213, 75804, 0}, bytes_of(marker));
//
// A call that differs, a call too many or too few, an allocation that is not released, and a
// message reference of the library's own that is not released exactly once: each ends the process.
#pragma once

#include "fuzz/input.h"

#include <kyt.h>
#include <nerb.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <memory>
#include <span>
#include <vector>

#define FUZZ_CHECK(condition) ((condition) ? void() : fuzz::fail(__FILE__, __LINE__, #condition))

namespace fuzz {

[[noreturn]] void fail(const char *file, int line, const char *condition);

// What a target does with one input; it starts from a library that was just loaded.
void run(Input &input);

using Bytes = std::span<const std::uint8_t>;

template <typename Value>
Bytes bytes_of(const Value &value) {
    return {reinterpret_cast<const std::uint8_t *>(&value), sizeof(value)};
}

inline std::uint32_t number_of(const void *pointer) {
    return reinterpret_cast<std::uintptr_t>(pointer);
}

// Bytes at an odd or even address, with nothing after them.
class Buffer {
public:
    Buffer(std::size_t size, std::uint32_t shift)
        : room_(new std::uint8_t[size + shift]()), shift_(shift), size_(size) {}

    std::uint8_t *data() { return room_.get() + shift_; }
    std::size_t size() const { return size_; }
    Bytes bytes() const { return {room_.get() + shift_, size_}; }

private:
    std::unique_ptr<std::uint8_t[]> room_;
    std::size_t shift_;
    std::size_t size_;
};

// Every byte different from its neighbours, so that a byte in the wrong place shows.
void fill_with_pattern(std::uint8_t *to, std::size_t size, std::uint8_t seed);

bool equal(Bytes a, Bytes b);

enum class Call : std::uint8_t {
    malloc,
    calloc,
    free,
    kyt_send,
    kyt_drop,
    kyt_payload_get,
    append_tlv,
    next_tlv,
    num_tlvs,
    size_get,
    ipv6_addr_copy,
    if_index_type,
    if_index_fields,
    ltl_alloc,
    ltl_modify,
    ltl_release,
    flood_update,
    rsp_status,
    rsp_entry_count,
    rsp_info,
    alloc_entry_count,
    alloc_rsp_parm,
    history_check,
    history_event,
    console_check,
    debug_print,
    client_log,
};

// A call as it was recorded: its arguments and the bytes that they point to, what it returned, and
// what it stored through its pointers (0 where it stored nothing).
struct Event {
    Call call = {};
    std::array<std::uint32_t, 10> arguments = {};
    std::size_t argument_count = 0;
    std::size_t bytes_at = 0;
    std::size_t byte_count = 0;
    std::uint32_t answer = 0;
    std::array<std::uint32_t, 4> stored = {};
};

// What a target sets up before a call.
struct Setup {
    // The reference and the payload that belong to the library's caller. A payload of the caller's
    // is recorded in full, whatever length the library sends.
    const kyt_msg_ref *reference = nullptr;
    Bytes payload = {};

    void *received_payload = nullptr;   // what kyt_payload_get returns
    std::vector<nerb_rsp_info> entries; // what a reply's parser stores, as far as it is asked
    std::uint32_t log_uuid = 384;       // whose log the model expects messages in

    // What the first sink of a message does before or after it takes its record, and what the model
    // expects of that.
    std::function<void()> log_within = {};
    std::function<void()> expect_within = {};
    bool within_comes_first = false;
};
Setup &setup();

// Runs the library. Only here its allocations are watched, and may fail.
void enter_library();
void leave_library();
template <typename Function>
auto library(Function function) {
    struct Scope {
        Scope() { enter_library(); }
        ~Scope() { leave_library(); }
    } scope;
    return function();
}

// Releases an allocation that the library has handed to its caller; `size` is what it must have.
void release(void *allocation, std::size_t size);

// ---- the model's side ------------------------------------------------------------------------

// The next call must be this one.
const Event &expect(Call call, std::initializer_list<std::uint32_t> arguments, Bytes bytes = {});

// A question for the size of a TLV array of the library's own. Returns what was answered.
std::uint32_t expect_size_of_own_array();

// Takes what was called as it is, for a target that leaves these calls to others.
void skip_expectations();

struct Request {
    std::uint32_t sap;
    std::uint32_t opcode;
    std::uint32_t option_word1;
};

// A send from `queue` of a payload, with a reference of the library's own. Returns whether it was
// answered with success.
bool expect_send(std::uint32_t queue, const Request &request, Bytes payload);

// The same of the caller's payload, with the length that the caller gave and either reference.
enum class Reference : std::uint32_t { own, callers };
bool expect_send_of_callers(std::uint32_t queue, const Request &request, Bytes payload,
                            std::uint32_t length, Reference reference);

// The release of what was sent last.
void expect_drop(std::uint32_t queue);

// An out-of-band marker as vell_send_igmp_oob_notification sends it. Returns its result.
int expect_marker(std::uint32_t queue, std::uint32_t marker);

// A message in every log that takes it, as printf makes it: the first two values are the function
// and the line. The format's marker gives the level.
void expect_log(const char *format, ...) __attribute__((format(printf, 1, 2)));

} // namespace fuzz
