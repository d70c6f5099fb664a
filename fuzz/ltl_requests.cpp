// LTL requests with lists of any length, 32-bit wrap-around included, and a manager and an
// allocator that refuse. The memory that a list needs is bounded by what the fuzz platform
// allocates.
#include "client/client_state.h"
#include "fuzz/platform.h"

#include <vell.h>

#include <array>
#include <cstring>
#include <numeric>

namespace {

using namespace fuzz;

constexpr std::uint32_t longest_list = 70001;
constexpr std::uint32_t too_long_to_allocate = 1 << 18;

// More words than any list that can be allocated has.
const std::vector<std::uint32_t> &all_indexes() {
    static const auto indexes = [] {
        std::vector<std::uint32_t> words(longest_list);
        std::iota(words.begin(), words.end(), 0x1a000000);
        return words;
    }();
    return indexes;
}

// How many there are to copy is the count modulo 2^30. Counts in between would need more memory
// than is worth it here.
std::uint32_t draw_count(Input &input) {
    const std::uint32_t wraps = input.one_in(8) ? std::uint32_t{input.byte()} << 30 : 0;
    if (input.one_in(64))
        return wraps + 65530 + input.below(16);
    if (input.one_in(16))
        return too_long_to_allocate + 1 + (input.word() >> 3);
    return wraps + input.below(40);
}

// The caller's list: as many words as are copied, at any address. Few words have nothing after
// them; many are part of all that there are, which is faster.
struct List {
    std::uint32_t count;
    Buffer few;
    Bytes words;

    List(std::uint32_t count_of_list, Input &input)
        : count(count_of_list), few(copied() <= 64 ? copied() * 4 : 0, input.below(4)) {
        const std::uint8_t *const from =
            reinterpret_cast<const std::uint8_t *>(all_indexes().data()) + input.below(8);
        words = {from, copied() * 4};
        if (few.size() == 0)
            return;
        std::memcpy(few.data(), from, few.size());
        words = few.bytes();
    }
    // None when there is too little memory.
    std::uint32_t copied() const {
        const std::uint32_t words_of_list = count & 0x3fffffff;
        return words_of_list > too_long_to_allocate ? 0 : words_of_list;
    }
    const std::uint32_t *indexes() const {
        return words.empty() ? nullptr : reinterpret_cast<const std::uint32_t *>(words.data());
    }
};

struct Keys {
    std::uint32_t key1;
    std::uint32_t key2;
};

using Entry = std::array<std::uint8_t, 24>;

// The entry, and whether its list could be copied.
bool model_entry(const Keys &keys, const List &list, Entry &entry) {
    const std::uint32_t copy = expect(Call::malloc, {list.count * 4}).answer;
    const std::uint16_t short_count = static_cast<std::uint16_t>(list.count);
    entry = {};
    std::memcpy(&entry[0], &keys.key1, 4);
    std::memcpy(&entry[4], &keys.key2, 4);
    std::memcpy(&entry[12], &short_count, 2);
    std::memcpy(&entry[16], &copy, 4);
    if (copy == 0)
        expect_log("%s(%d):ERROR: p_ifidx alloc failed", "vell_nerb_build_mcast_ltl_info", 1484);
    return copy != 0;
}

std::uint32_t list_address(const Entry &entry) {
    std::uint32_t address;
    std::memcpy(&address, &entry[16], 4);
    return address;
}

void fuzz_build(Input &input, const Keys &keys) {
    List list(draw_count(input), input);
    Buffer entry(24, input.below(4));
    fill_with_pattern(entry.data(), entry.size(), 0x5b);
    const int result = library([&] {
        return vell_nerb_build_mcast_ltl_info(keys.key1, list.count, list.indexes(), keys.key2,
                                              reinterpret_cast<vell_ltl_entry *>(entry.data()));
    });
    Entry expected;
    FUZZ_CHECK(result == model_entry(keys, list, expected));
    FUZZ_CHECK(equal(entry.bytes(), expected));
    if (result == 0)
        return;
    auto *const copy = reinterpret_cast<std::uint8_t *>(list_address(expected));
    FUZZ_CHECK(equal(Bytes(copy, list.words.size()), list.words));
    release(copy, list.words.size());
}

// What an allocation and a modification differ in.
struct ListRequest {
    decltype(&vell_nerb_l2_ltl_alloc) function;
    const char *name;
    Call send;
    int build_line;
    int send_line;
};

int model_request(const ListRequest &request, const Keys &keys, const List &list,
                  std::uint32_t cookie, std::vector<std::uint8_t> &payload) {
    Entry entry;
    const bool built = model_entry(keys, list, entry);
    std::memcpy(&payload[2], entry.data(), entry.size());
    if (!built) {
        expect_log("%s(%d):ERROR: failure to build nerb payload\n", request.name,
                   request.build_line);
        return 0;
    }
    payload[0] = 1;
    payload[1] = 0;
    static std::vector<std::uint8_t> sent; // not allocated again for every long list
    sent = payload;
    sent.insert(sent.end(), list.words.begin(), list.words.end());
    const std::uint32_t failure =
        expect(request.send, {vell_client_q, number_of(&ltl_payload), cookie}, sent).answer;
    expect(Call::free, {list_address(entry)});
    if (failure != 0)
        expect_log("%s(%d):ERROR: NERB ltl alloc API returned error %d\n", request.name,
                   request.send_line, static_cast<int>(failure));
    return failure == 0;
}

void fuzz_list_request(Input &input, const ListRequest &request, const Keys &keys,
                       std::vector<std::uint8_t> &payload) {
    List list(draw_count(input), input);
    const std::uint32_t cookie = input.number();
    const int result = library(
        [&] { return request.function(keys.key1, list.count, list.indexes(), keys.key2, cookie); });
    FUZZ_CHECK(result == model_request(request, keys, list, cookie, payload));
}

void fuzz_release(Input &input, const Keys &keys) {
    const std::uint32_t cookie = input.number();
    const int result =
        library([&] { return vell_nerb_l2_ltl_dealloc(keys.key1, keys.key2, cookie); });
    const std::uint32_t words[] = {keys.key1, keys.key2, 0};
    const std::uint32_t failure =
        expect(Call::ltl_release, {vell_client_q, 1, number_of(&ltl_dealloc), cookie},
               bytes_of(words))
            .answer;
    if (failure != 0)
        expect_log("%s(%d):ERROR: NERB ltl dealloc API returned error %d\n",
                   "vell_nerb_l2_ltl_dealloc", 1551, static_cast<int>(failure));
    FUZZ_CHECK(result == (failure == 0));
    FUZZ_CHECK(equal(bytes_of(ltl_dealloc), bytes_of(words)));
}

} // namespace

void fuzz::run(Input &input) {
    static constexpr ListRequest alloc = {vell_nerb_l2_ltl_alloc, "vell_nerb_l2_ltl_alloc",
                                          Call::ltl_alloc, 1512, 1523};
    static constexpr ListRequest modify = {vell_nerb_l2_ltl_modify, "vell_nerb_l2_ltl_modify",
                                           Call::ltl_modify, 1576, 1587};
    // The last request remains readable, its entry directly after the exported count. The compiler
    // may not know that only the count is a variable.
    const std::uint8_t *request = reinterpret_cast<const std::uint8_t *>(&ltl_payload);
    asm("" : "+r"(request));
    std::vector<std::uint8_t> payload(request, request + 26);

    vell_client_q = input.number();
    for (unsigned requests = 0; requests < 6 && !input.used_up(); ++requests) {
        const std::uint32_t what = input.below(4);
        const Keys keys = {input.number(), input.number()};
        if (what == 0)
            fuzz_list_request(input, alloc, keys, payload);
        else if (what == 1)
            fuzz_list_request(input, modify, keys, payload);
        else if (what == 2)
            fuzz_release(input, keys);
        else
            fuzz_build(input, keys);
        FUZZ_CHECK(equal(Bytes(request, 26), payload));
    }
}
