#include "fuzz/platform.h"

#include "client/client_state.h"

#include <kyt.h>
#include <nerb.h>
#include <qarnutils.h>
#include <tessel.h>
#include <tlv.h>
#include <vell.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

char tessel_dbg_modname[] = "vell";

namespace fuzz {

namespace {

struct Allocation {
    void *address;
    std::size_t size;
};

struct HeldReference {
    const kyt_msg_ref *address;
    std::uint32_t serial;
    std::uint32_t queue;
    bool callers;
};

// How the logs behave for one input.
struct Logs {
    bool drawn;          // the gates are asked of the input each time
    bool history_closed; // otherwise
    bool console_open;   // these
    bool scribble;       // sinks write over the records that they are given
};

struct TlvStep {
    std::uint32_t status;
    bool stores;
    std::uint16_t type;
    std::uint32_t count;
    std::uint32_t cursor;
    std::uint8_t shift; // of the value's address
    std::uint32_t repeats;
};

struct Platform {
    Input *input = nullptr;
    Logs logs = {};
    TlvStep tlv_step = {};
    std::uint32_t tlvs = 0;
    bool in_library = false;
    std::vector<Event> events;
    std::vector<std::uint8_t> bytes;
    std::size_t expected = 0;
    std::vector<Allocation> allocations;
    std::vector<HeldReference> references;
    std::uint32_t sends = 0;
    std::uint32_t last_expected_send = 0;
};
Platform platform;
Setup target_setup;

// The longest message that the console gets from a target, NUL included.
constexpr std::size_t console_size = 4096;
constexpr std::size_t log_text_size = 512;
constexpr std::size_t largest_allocation = 1 << 20;

const char *name_of(Call call) {
    static constexpr const char *names[] = {
        "malloc",          "calloc",         "free",
        "kyt_send",        "kyt_drop",       "kyt_payload_get",
        "append_tlv",      "next_tlv",       "num_tlvs",
        "size_get",        "ipv6_addr_copy", "if_index_type",
        "if_index_fields", "ltl_alloc",      "ltl_modify",
        "ltl_release",     "flood_update",   "rsp_status",
        "rsp_entry_count", "rsp_info",       "alloc_entry_count",
        "alloc_rsp_parm",  "history_check",  "history_event",
        "console_check",   "debug_print",    "client_log"};
    return names[static_cast<std::size_t>(call)];
}

Event &record(Call call, std::initializer_list<std::uint32_t> arguments, Bytes bytes = {}) {
    Event event;
    event.call = call;
    std::copy(arguments.begin(), arguments.end(), event.arguments.begin());
    event.argument_count = arguments.size();
    event.bytes_at = platform.bytes.size();
    event.byte_count = bytes.size();
    platform.bytes.insert(platform.bytes.end(), bytes.begin(), bytes.end());
    platform.events.push_back(event);
    return platform.events.back();
}

void append_bytes(Event &event, Bytes bytes) {
    platform.bytes.insert(platform.bytes.end(), bytes.begin(), bytes.end());
    event.byte_count += bytes.size();
}

Bytes bytes_of_event(const Event &event) {
    return {platform.bytes.data() + event.bytes_at, event.byte_count};
}

Bytes bytes_at(const void *address, std::size_t size) {
    return {static_cast<const std::uint8_t *>(address), size};
}

void print(const char *what, Call call, std::span<const std::uint32_t> arguments, Bytes bytes) {
    std::fprintf(stderr, "%s %s(", what, name_of(call));
    for (const std::uint32_t &argument : arguments)
        std::fprintf(stderr, "%s0x%x", &argument == arguments.data() ? "" : ", ", argument);
    std::fprintf(stderr, "), %zu bytes:", bytes.size());
    for (std::size_t i = 0; i < bytes.size() && i < 700; ++i)
        std::fprintf(stderr, " %02x", bytes[i]);
    std::fprintf(stderr, "\n  as text: ");
    for (std::size_t i = 0; i < bytes.size() && i < 700; ++i)
        std::fputc(bytes[i] >= ' ' && bytes[i] < 0x7f ? bytes[i] : '.', stderr);
    std::fputc('\n', stderr);
}

void print(const char *what, const Event &event) {
    print(what, event.call, {event.arguments.data(), event.argument_count}, bytes_of_event(event));
}

std::vector<Allocation>::iterator allocation_at(const void *address) {
    const auto found =
        std::find_if(platform.allocations.begin(), platform.allocations.end(),
                     [address](const Allocation &block) { return block.address == address; });
    FUZZ_CHECK(found != platform.allocations.end());
    return found;
}

Bytes allocated_bytes(const void *address) {
    const auto block = allocation_at(address);
    return bytes_at(block->address, block->size);
}

bool allocation_fails(std::size_t size) {
    return size > largest_allocation || platform.input->byte() >= 0xe0;
}

void *watched(void *block, std::size_t size) {
    platform.allocations.push_back({block, size});
    return block;
}

void begin(Input &input) {
    platform.input = &input;
    const std::uint8_t choice = input.byte();
    platform.logs = {.drawn = (choice & 1) != 0,
                     .history_closed = (choice & 2) != 0,
                     .console_open = (choice & 4) != 0,
                     .scribble = (choice & 8) == 0};
    platform.tlv_step = {};
    platform.events.clear();
    platform.bytes.clear();
    platform.expected = 0;
    platform.references.clear();
    platform.sends = 0;
    target_setup = {};

    vell_client_id = 0;
    vell_client_q = 0;
    vell_client_uuid = 384;
    vell_oifs = nullptr;
    mti_oifs = nullptr;
    glt_oifs = nullptr;
    p_current_tlv_addr = 0;
    current_tlv_size = 0;
    ltl_payload.count = 0;
    ltl_dealloc = {};
}

void end() {
    if (platform.expected != platform.events.size())
        print("not expected:", platform.events[platform.expected]);
    FUZZ_CHECK(platform.expected == platform.events.size());
    FUZZ_CHECK(platform.allocations.empty());
}

} // namespace

void fail(const char *file, int line, const char *condition) {
    std::fprintf(stderr, "%s:%d: does not hold: %s\n", file, line, condition);
    std::abort();
}

void fill_with_pattern(std::uint8_t *to, std::size_t size, std::uint8_t seed) {
    for (std::size_t i = 0; i < size; ++i)
        to[i] = static_cast<std::uint8_t>(seed + 37 * i);
}

bool equal(Bytes a, Bytes b) {
    return a.size() == b.size() && (a.empty() || std::memcmp(a.data(), b.data(), a.size()) == 0);
}

Setup &setup() {
    return target_setup;
}

void enter_library() {
    platform.in_library = true;
}

void leave_library() {
    platform.in_library = false;
    // What the library sent for itself, it has released.
    for (const HeldReference &reference : platform.references)
        FUZZ_CHECK(reference.callers);
}

void release(void *allocation, std::size_t size) {
    const auto block = allocation_at(allocation);
    FUZZ_CHECK(block->size == size);
    platform.allocations.erase(block);
    std::free(allocation);
}

const Event &expect(Call call, std::initializer_list<std::uint32_t> arguments, Bytes bytes) {
    const std::span<const std::uint32_t> expected(arguments);
    if (platform.expected == platform.events.size()) {
        print("not called:", call, expected, bytes);
        FUZZ_CHECK(platform.expected != platform.events.size());
    }
    const Event &event = platform.events[platform.expected++];
    const bool same = event.call == call && event.argument_count == expected.size() &&
                      std::equal(expected.begin(), expected.end(), event.arguments.begin()) &&
                      equal(bytes_of_event(event), bytes);
    if (!same) {
        print("expected:", call, expected, bytes);
        print("called:  ", event);
        FUZZ_CHECK(same);
    }
    return event;
}

std::uint32_t expect_size_of_own_array() {
    // Its address is the one thing that is not known beforehand.
    FUZZ_CHECK(platform.expected < platform.events.size());
    const std::uint32_t array = platform.events[platform.expected].arguments[0];
    return expect(Call::size_get, {array, 0}).answer;
}

void skip_expectations() {
    platform.expected = platform.events.size();
}

bool expect_send_of_callers(std::uint32_t queue, const Request &request, Bytes payload,
                            std::uint32_t length, Reference reference) {
    const Event &event =
        expect(Call::kyt_send,
               {queue, 0xfe000000, request.sap, request.opcode, length,
                static_cast<std::uint32_t>(reference), 0, 1, request.option_word1, 0},
               payload);
    platform.last_expected_send = event.stored[0];
    return event.answer != 0xffffffff;
}

bool expect_send(std::uint32_t queue, const Request &request, Bytes payload) {
    return expect_send_of_callers(queue, request, payload, payload.size(), Reference::own);
}

void expect_drop(std::uint32_t queue) {
    expect(Call::kyt_drop, {queue, platform.last_expected_send});
}

int expect_marker(std::uint32_t queue, std::uint32_t marker) {
    static constexpr char function[] = "vell_send_igmp_oob_notification";
    if (queue == 0) {
        expect_log("%s(%d):ERROR: Client has not register\n", function, 596);
        return 0;
    }
    if (!expect_send(queue, {213, 75804, 0}, bytes_of(marker))) {
        expect_log("%s(%d):ERROR: KYT send fail for KYT_OPC_VELL_IGMP_OOB_MSG\n", function, 609);
        return 0;
    }
    expect_drop(queue);
    return 1;
}

namespace {

void expect_sink(Call call, std::initializer_list<std::uint32_t> arguments, Bytes bytes) {
    const auto within = std::exchange(target_setup.expect_within, {});
    if (within && target_setup.within_comes_first)
        within();
    expect(call, arguments, bytes);
    if (within && !target_setup.within_comes_first)
        within();
}

// A record as the sinks get it, of a text that is cut to fit.
struct Record {
    std::uint32_t level;
    char text[log_text_size];
    std::uint32_t length;

    Record(std::uint32_t level_of_message, const char *whole, std::size_t whole_length)
        : level(level_of_message) {
        const std::size_t kept = std::min(whole_length, log_text_size - 1);
        std::memcpy(text, whole, kept);
        text[kept] = '\0';
        length = static_cast<std::uint32_t>(kept + 5);
    }
    Bytes bytes() const { return {reinterpret_cast<const std::uint8_t *>(this), length}; }
};

} // namespace

void expect_log(const char *format, ...) {
    constexpr std::size_t prefix = 7, marker = 7; // "%s(%d):" and "TRACE: "
    const std::uint32_t level = std::memcmp(format + prefix, "ERROR: ", marker) == 0 ? 102 : 104;
    char whole[console_size];
    std::va_list values;
    va_start(values, format);
    const auto length =
        static_cast<std::size_t>(std::vsnprintf(whole, sizeof whole, format, values));
    va_end(values);

    if (expect(Call::history_check, {0x730000, level}).answer == 0) {
        const Record history(level, whole, length);
        expect_sink(Call::history_event, {0x730000, history.length}, history.bytes());
    }
    if (expect(Call::console_check, {level, 0, 0, 1}).answer != 0) {
        std::vector<std::uint8_t> printed(format, format + std::strlen(format) + 1);
        printed.insert(printed.end(), whole, whole + length);
        expect(Call::debug_print, {1, number_of(tessel_dbg_modname), 0}, printed);
    }
    char unmarked[console_size];
    std::size_t unmarked_length = length;
    if (level == 102) {
        std::memcpy(unmarked, whole, length);
    } else {
        char unmarked_format[log_text_size];
        std::snprintf(unmarked_format, sizeof unmarked_format, "%.*s%s", static_cast<int>(prefix),
                      format, format + prefix + marker);
        va_start(values, format);
        unmarked_length = static_cast<std::size_t>(
            std::vsnprintf(unmarked, sizeof unmarked, unmarked_format, values));
        va_end(values);
    }
    const Record client(level, unmarked, unmarked_length);
    expect_sink(Call::client_log, {target_setup.log_uuid, 0x730000, 1, 0, client.length},
                client.bytes());
}

} // namespace fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);
int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    fuzz::Input input(data, size);
    fuzz::begin(input);
    fuzz::run(input);
    fuzz::end();
    return 0;
}

using namespace fuzz;

// ---- the platform's functions ----------------------------------------------------------------

extern "C" {

void *__real_malloc(std::size_t size);
void *__real_calloc(std::size_t count, std::size_t size);
void __real_free(void *block);
void *__wrap_malloc(std::size_t size);
void *__wrap_calloc(std::size_t count, std::size_t size);
void __wrap_free(void *block);

void *__wrap_malloc(std::size_t size) {
    if (!platform.in_library)
        return __real_malloc(size);
    void *const block = allocation_fails(size) ? nullptr : watched(__real_malloc(size), size);
    record(Call::malloc, {size}).answer = number_of(block);
    return block;
}

void *__wrap_calloc(std::size_t count, std::size_t size) {
    if (!platform.in_library)
        return __real_calloc(count, size);
    void *const block = allocation_fails(count * size)
                            ? nullptr
                            : watched(__real_calloc(count, size), count * size);
    record(Call::calloc, {count, size}).answer = number_of(block);
    return block;
}

void __wrap_free(void *block) {
    if (platform.in_library && block != nullptr) {
        platform.allocations.erase(allocation_at(block));
        record(Call::free, {number_of(block)});
    }
    __real_free(block);
}

int32_t kyt_send(uint32_t queue, uint32_t node, uint32_t sap, uint32_t opcode, const void *payload,
                 uint32_t length, kyt_msg_ref *reference, uint32_t flags, const uint32_t *options) {
    static constexpr std::int32_t successes[] = {0, 1, -2, 0x7fffffff, -0x7fffffff - 1, 0xff};
    const bool callers = reference == target_setup.reference;
    std::uint32_t other_options = 0;
    for (unsigned i = 2; i < KYT_SEND_OPTION_WORDS; ++i)
        other_options |= options[i];
    const bool callers_payload = payload != nullptr && payload == target_setup.payload.data();
    Event &event = record(
        Call::kyt_send,
        {queue, node, sap, opcode, length, callers, flags, options[0], options[1], other_options},
        callers_payload ? target_setup.payload : bytes_at(payload, length));
    const std::uint8_t choice = platform.input->byte();
    const std::int32_t result = choice >= 0xd0 ? -1 : successes[choice % std::size(successes)];
    event.answer = static_cast<std::uint32_t>(result);
    if (result != -1) {
        event.stored[0] = ++platform.sends;
        std::memset(reference, 0xa5, sizeof(*reference));
        std::memcpy(reference->opaque, &platform.sends, sizeof(platform.sends));
        platform.references.push_back({reference, platform.sends, queue, callers});
    }
    return result;
}

void kyt_drop(uint32_t queue, kyt_msg_ref *reference) {
    std::uint32_t serial = 0;
    std::memcpy(&serial, reference->opaque, sizeof(serial));
    record(Call::kyt_drop, {queue, serial});
    const auto held = std::find_if(
        platform.references.begin(), platform.references.end(), [&](const HeldReference &other) {
            return other.serial == serial && other.address == reference && other.queue == queue;
        });
    FUZZ_CHECK(held != platform.references.end());
    FUZZ_CHECK(!held->callers);
    platform.references.erase(held);
}

void *kyt_payload_get(void *message) {
    record(Call::kyt_payload_get, {number_of(message)});
    return target_setup.received_payload;
}

uint32_t tlv_aligned_array_append_tlv(void *array, uint32_t *position, uint32_t *size,
                                      uint32_t capacity, uint16_t type, uint16_t length,
                                      const void *value, uint32_t reserved) {
    Event &event = record(Call::append_tlv,
                          {number_of(array), number_of(position), number_of(size), *position, *size,
                           capacity, type, length, number_of(value), reserved},
                          bytes_at(value, length));
    if (platform.input->one_in(4)) {
        *position = platform.input->number();
        *size = platform.input->number();
    } else {
        *position += length;
        *size += length;
    }
    event.stored = {*position, *size};
    return platform.input->status();
}

// An array of hundreds of TLVs would need a long input. So a step may say that it is repeated, the
// number of TLVs included.
uint32_t tlv_aligned_array_get_next_tlv(const void *array, uint16_t *type, uint16_t *length,
                                        const void **value, uint32_t reserved, uint32_t *cursor) {
    static std::uint8_t room[8];
    Event &event = record(Call::next_tlv, {number_of(array), number_of(*value), reserved, *cursor});
    TlvStep &step = platform.tlv_step;
    if (step.repeats != 0) {
        --step.repeats;
    } else {
        Input &input = *platform.input;
        step.status = input.status();
        step.stores = step.status == 0 || input.flip();
        step.count = input.number();
        step.shift = input.byte() % 4;
        step.type = static_cast<std::uint16_t>(input.one_in(8) ? input.half() : input.below(4));
        step.cursor = input.number();
        step.repeats = step.status == 0 && input.one_in(8) ? input.half() % 600 : 0;
    }
    event.answer = step.status;
    if (step.stores) {
        *type = step.type;
        *length = step.type;
        *value = room + step.shift;
        std::memcpy(room + step.shift, &step.count, sizeof(step.count));
        *cursor = step.cursor;
        event.stored = {step.type, step.count, number_of(*value), step.cursor};
    }
    return event.answer;
}

int32_t tlv_aligned_array_get_num_tlvs(const void *array, uint32_t reserved) {
    Event &event = record(Call::num_tlvs, {number_of(array), reserved});
    if (platform.tlv_step.repeats == 0)
        platform.tlvs = platform.input->number();
    event.answer = platform.tlvs;
    return static_cast<std::int32_t>(event.answer);
}

uint32_t tlv_aligned_array_size_get(const void *array, uint32_t reserved) {
    Event &event = record(Call::size_get, {number_of(array), reserved});
    // A route message is sent with this length, and read that far: its array has room for 52 bytes.
    event.answer = platform.input->below(49);
    return event.answer;
}

void ipv6_addr_copy(const void *from, void *to) {
    record(Call::ipv6_addr_copy, {number_of(from)}, bytes_at(from, 16));
    std::memcpy(to, from, 16);
}

uint32_t if_index_get_type(uint32_t if_index, uint8_t *type) {
    Event &event = record(Call::if_index_type, {if_index});
    const std::uint8_t choice = platform.input->byte();
    static constexpr std::uint8_t others[] = {0, 1, 2, 25, 27, 90, 154, 255};
    *type = choice < 0x90 ? IF_INDEX_TYPE_PHY_ETH : others[choice % std::size(others)];
    event.stored[0] = *type;
    event.answer = choice < 0xe8 ? 0 : platform.input->failure();
    return event.answer;
}

uint32_t if_index_phy_eth_get_fields(uint32_t if_index, uint8_t *slot, uint8_t *second,
                                     uint32_t *third) {
    Event &event = record(Call::if_index_fields, {if_index});
    const std::uint8_t choice = platform.input->byte();
    *slot = choice;
    *second = 0xff;
    *third = 0xffffffff;
    event.stored[0] = choice;
    event.answer = choice < 0xe8 ? 0 : platform.input->failure();
    return event.answer;
}

// A request is the count and one entry of 24 bytes, with the address of the interface list at 18.
static uint32_t ltl_list_request(Call call, uint32_t queue, const void *payload, uint32_t cookie) {
    Event &event = record(call, {queue, number_of(payload), cookie}, bytes_at(payload, 26));
    void *list = nullptr;
    std::memcpy(&list, static_cast<const std::uint8_t *>(payload) + 18, sizeof(list));
    append_bytes(event, allocated_bytes(list));
    event.answer = platform.input->status();
    return event.answer;
}

uint32_t nerb_send_batched_mcast_alloc_req(uint32_t queue, const void *payload, uint32_t cookie) {
    return ltl_list_request(Call::ltl_alloc, queue, payload, cookie);
}

uint32_t nerb_send_batched_mcast_mod_req(uint32_t queue, const void *payload, uint32_t cookie) {
    return ltl_list_request(Call::ltl_modify, queue, payload, cookie);
}

uint32_t nerb_send_batched_mcast_dealloc_msg(uint32_t queue, uint32_t count, const void *entries,
                                             uint32_t cookie) {
    Event &event = record(Call::ltl_release, {queue, count, number_of(entries), cookie},
                          bytes_at(entries, 12));
    event.answer = platform.input->status();
    return event.answer;
}

uint32_t nerb_send_flood_ltl_update_req(uint32_t queue, const void *payload, void *context) {
    Event &event = record(Call::flood_update, {queue, number_of(payload), number_of(context)},
                          allocated_bytes(payload));
    event.answer = platform.input->status();
    return event.answer;
}

// Every parser may store its output or not, whatever it returns.
uint32_t nerb_parse_rsp_status(const void *rsp, uint32_t *status) {
    Event &event = record(Call::rsp_status, {number_of(rsp)});
    event.answer = platform.input->status();
    if (!platform.input->one_in(8))
        event.stored[0] = *status = platform.input->status();
    return event.answer;
}

uint32_t nerb_parse_rsp_get_entry_count(const void *rsp, uint32_t *count) {
    Event &event = record(Call::rsp_entry_count, {number_of(rsp), *count});
    event.answer = platform.input->status();
    if (!platform.input->one_in(8))
        event.stored[0] = *count = platform.input->flip() ? platform.input->number() : 1;
    return event.answer;
}

uint32_t nerb_parse_rsp_get_rsp_info(const void *rsp, uint32_t count, nerb_rsp_info *info) {
    Event &event = record(Call::rsp_info, {number_of(rsp), count});
    event.answer = platform.input->status();
    const auto &entries = target_setup.entries;
    std::copy_n(entries.begin(), std::min<std::size_t>(count, entries.size()), info);
    return event.answer;
}

uint32_t nerb_parse_alloc_ltl_get_entry_count(const void *rsp, uint32_t *status, uint32_t kind,
                                              uint16_t *count) {
    Event &event = record(Call::alloc_entry_count, {number_of(rsp), kind, *count});
    event.answer = platform.input->status();
    if (!platform.input->one_in(8))
        event.stored[0] = *status = platform.input->status();
    if (!platform.input->one_in(8))
        event.stored[1] = *count = platform.input->flip() ? platform.input->half() : 1;
    event.stored[2] = number_of(status);
    return event.answer;
}

uint32_t nerb_parse_alloc_ltl_rsp_parm(const void *rsp, uint32_t *status, uint32_t kind,
                                       nerb_alloc_ltl_rsp_parm *parm) {
    Event &event = record(Call::alloc_rsp_parm, {number_of(rsp), number_of(status), kind});
    event.answer = platform.input->status();
    if (!platform.input->one_in(8))
        *status = platform.input->status();
    event.stored[0] = *status;
    if (!platform.input->one_in(8))
        for (unsigned i = 0; i < 3; ++i)
            event.stored[1 + i] = parm->word[i] = platform.input->number();
    return event.answer;
}

static uint32_t take_record(Call call, std::initializer_list<uint32_t> arguments, uint32_t length,
                            const void *taken) {
    const auto within = std::exchange(target_setup.log_within, {});
    if (within && target_setup.within_comes_first)
        within();
    record(call, arguments, bytes_at(taken, length));
    if (platform.logs.scribble)
        std::memset(const_cast<void *>(taken), 0x5a, length);
    if (within && !target_setup.within_comes_first)
        within();
    return length;
}

uint32_t tessel_hist_event_subtype_check(uint32_t module, uint32_t level) {
    Event &event = record(Call::history_check, {module, level});
    event.answer = platform.logs.drawn ? platform.input->status() : platform.logs.history_closed;
    return event.answer;
}

uint32_t tessel_hist_event(uint32_t module, uint32_t length, const void *taken) {
    return take_record(Call::history_event, {module, length}, length, taken);
}

uint32_t tessel_chk_int(uint32_t level, uint32_t first, uint32_t second, uint32_t third) {
    Event &event = record(Call::console_check, {level, first, second, third});
    event.answer = platform.logs.drawn ? platform.input->status() : platform.logs.console_open;
    return event.answer;
}

uint32_t tessel_his_log_event_for_uuid_inst(uint32_t uuid, uint32_t module, uint32_t first,
                                            uint32_t second, uint32_t length, const void *taken) {
    return take_record(Call::client_log, {uuid, module, first, second, length}, length, taken);
}

void debug_print(uint32_t first, void *modname, uint32_t second, const char *format, ...) {
    char text[console_size];
    std::va_list values;
    va_start(values, format);
    const int length = std::vsnprintf(text, sizeof text, format, values);
    va_end(values);
    Event &event = record(Call::debug_print, {first, number_of(modname), second},
                          bytes_at(format, std::strlen(format) + 1));
    append_bytes(event, bytes_at(text, static_cast<std::size_t>(length)));
}
}
