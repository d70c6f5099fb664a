// The LTL manager's answers and the service's acknowledgment, whatever the parsers return and
// store. What a parser does not store counts as 0.
#include "client/client_state.h"
#include "fuzz/platform.h"

#include <vell.h>

#include <cstring>

namespace {

using namespace fuzz;

int as_int(std::uint32_t number) {
    return static_cast<int>(number);
}

void put_network(std::uint8_t *to, std::uint32_t value, unsigned width) {
    for (unsigned i = 0; i < width; ++i)
        to[i] = static_cast<std::uint8_t>(value >> 8 * (width - 1 - i));
}

// ---- a flood update's answer -----------------------------------------------------------------

// A few entries of the input's, or as many as the library asks for.
void make_entries(Input &input) {
    auto &entries = setup().entries;
    entries.resize(input.below(16));
    for (nerb_rsp_info &entry : entries)
        entry = {{input.number(), input.byte(), input.byte(), input.status()}};
    if (input.one_in(64))
        entries.resize(4096, {{0xabc, 2, 3, 0}});
}

// Returns whether there is a result, and then its bytes.
bool model_flood_response(const void *rsp, std::vector<std::uint8_t> &result,
                          std::uint32_t &allocated) {
    static constexpr char function[] = "vell_handle_l2_mc_update_flood_ltl_resp";
    const Event status = expect(Call::rsp_status, {number_of(rsp)});
    if (status.answer != 0) {
        expect_log("%s(%d):ERROR: NERB parse rsp status=%d", function, 1404, as_int(status.answer));
        return false;
    }
    const Event entry_count = expect(Call::rsp_entry_count, {number_of(rsp), 0});
    const std::uint32_t count = entry_count.stored[0];
    if (entry_count.answer != 0 || count == 0 || count > 4095) {
        expect_log("%s(%d):ERROR: NERB returned status=%d with entry count (%d)\n", function, 1411,
                   as_int(entry_count.answer), as_int(count));
        return false;
    }
    if (const std::uint32_t failure = expect(Call::rsp_info, {number_of(rsp), count}).answer) {
        expect_log("%s(%d):ERROR: NERB returned status=%d for get resp info\n", function, 1418,
                   as_int(failure));
        return false;
    }
    const Event &allocation = expect(Call::calloc, {1, 8 + 80 * count});
    allocated = allocation.answer;
    if (allocated == 0) {
        expect_log("%s(%d):ERROR: Memory allocation failed\n", function, 1428);
        return false;
    }
    result.resize(8 + 80 * count);
    put_network(&result[2], count, 2);
    put_network(&result[6], status.stored[0] == 0, 2);
    for (std::uint32_t i = 0; i < count; ++i) {
        const nerb_rsp_info entry =
            i < setup().entries.size() ? setup().entries[i] : nerb_rsp_info{};
        std::uint8_t *const record = &result[8 + 80 * i];
        put_network(record + 24, entry.word[0], 4);
        record[1] = entry.word[3] == 0;
        if (entry.word[3] != 0)
            expect_log("%s(%d):ERROR: Nack for vlan %d status %d\n", function, 1454,
                       as_int(entry.word[0]), as_int(entry.word[3]));
    }
    return true;
}

void fuzz_flood_response(Input &input, const void *rsp) {
    make_entries(input);
    std::uint8_t nothing = 0;
    std::uint8_t *result = &nothing;
    const std::uint32_t read =
        library([&] { return vell_handle_l2_mc_update_flood_ltl_resp(rsp, &result); });
    std::vector<std::uint8_t> expected;
    std::uint32_t allocated = 0;
    FUZZ_CHECK(read == model_flood_response(rsp, expected, allocated));
    FUZZ_CHECK(number_of(result) == (read == 1 ? allocated : 0));
    if (read == 0)
        return;
    FUZZ_CHECK(equal(Bytes(result, expected.size()), expected));
    release(result, expected.size());
}

// ---- answers to LTL requests -----------------------------------------------------------------

struct Results {
    std::uint32_t first;
    std::uint32_t second;
};

bool model_response(const void *rsp, Results &results) {
    static constexpr char function[] = "vell_nerb_handle_l2_response";
    const Event status = expect(Call::rsp_status, {number_of(rsp)});
    if (status.answer != 0 || status.stored[0] != 0) {
        expect_log("%s(%d):ERROR: NERB rsp returned err=%d, status=%d", function, 1654,
                   as_int(status.answer), as_int(status.stored[0]));
        return false;
    }
    const Event count = expect(Call::rsp_entry_count, {number_of(rsp), 0});
    if (count.answer != 0 || count.stored[0] != 1) {
        expect_log("%s(%d):ERROR: NERB get returned err=%d with entry count (%d)", function, 1662,
                   as_int(count.answer), as_int(count.stored[0]));
        return false;
    }
    const Event info = expect(Call::rsp_info, {number_of(rsp), 1});
    const nerb_rsp_info entry = setup().entries.empty() ? nerb_rsp_info{} : setup().entries[0];
    if (info.answer != 0 || entry.word[3] != 0) {
        expect_log("%s(%d):ERROR: NERB info returned err=%d in parsing resp, status:%d", function,
                   1669, as_int(info.answer), as_int(entry.word[3]));
        return false;
    }
    results = {entry.word[0], entry.word[2]};
    return true;
}

bool model_alloc_response(const void *rsp, Results &results) {
    static constexpr char function[] = "vell_nerb_handle_l2_alloc_response";
    const Event count = expect(Call::alloc_entry_count, {number_of(rsp), 13, 0});
    if (count.answer != 0 || count.stored[0] != 0 || count.stored[1] != 1) {
        expect_log("%s(%d):ERROR: NERB get returned err=%d, status=%d, count=%d", function, 1616,
                   as_int(count.answer), as_int(count.stored[0]), as_int(count.stored[1]));
        return false;
    }
    // The same status again.
    const Event parm = expect(Call::alloc_rsp_parm, {number_of(rsp), count.stored[2], 13});
    if (parm.answer != 0 || parm.stored[0] != 0) {
        expect_log("%s(%d):ERROR: NERB parm returned err=%d, status=%d", function, 1623,
                   as_int(parm.answer), as_int(parm.stored[0]));
        return false;
    }
    results = {parm.stored[2], parm.stored[3]};
    return true;
}

template <typename Reader, typename Model>
void fuzz_ltl_response(Input &input, const void *rsp, Reader reader, Model model) {
    setup().entries.assign(input.one_in(4) ? 0 : 1,
                           {{input.number(), input.byte(), input.number(), input.status()}});
    Buffer first(4, input.below(4)), second(4, input.below(4));
    Results expected = {0x11223344, 0x55667788};
    std::memcpy(first.data(), &expected.first, 4);
    std::memcpy(second.data(), &expected.second, 4);
    const int result = library([&] {
        return reader(rsp, reinterpret_cast<std::uint32_t *>(first.data()),
                      reinterpret_cast<std::uint32_t *>(second.data()));
    });
    FUZZ_CHECK(result == model(rsp, expected));
    FUZZ_CHECK(equal(first.bytes(), bytes_of(expected.first)));
    FUZZ_CHECK(equal(second.bytes(), bytes_of(expected.second)));
}

// ---- the acknowledgment ----------------------------------------------------------------------

// Of a payload only two bytes are there.
void fuzz_acknowledgment(Input &input, void *message) {
    Buffer payload(2, input.below(4));
    payload.data()[0] = input.byte();
    payload.data()[1] = input.byte();
    const bool there = !input.one_in(4);
    if (there)
        setup().received_payload = payload.data();
    vell_client_id = input.byte();
    vell_client_q = input.number();
    vell_client_uuid = input.number();
    const std::uint32_t queue = vell_client_q, uuid = vell_client_uuid;
    setup().log_uuid = uuid;

    const std::uint32_t result = library([&] { return vell_register_ack(message); });
    expect(Call::kyt_payload_get, {number_of(message)});
    const bool accepted = there && (payload.data()[1] & 1) != 0;
    if (!accepted)
        expect_log("%s(%d):TRACE: Failed to update client_id\n", "vell_register_ack", 180);
    const std::uint8_t id = accepted ? payload.data()[0] : 0;
    FUZZ_CHECK(result == (id != 0));
    FUZZ_CHECK(vell_client_id == id && vell_client_q == queue && vell_client_uuid == uuid);
}

} // namespace

void fuzz::run(Input &input) {
    const std::uint8_t what = input.byte();
    // The library passes the answer on and does not look at it.
    void *const answer = reinterpret_cast<void *>(std::uintptr_t{input.byte()});
    switch (what % 8) {
    case 0:
        fuzz_acknowledgment(input, answer);
        break;
    case 1:
    case 2:
        fuzz_ltl_response(input, answer, vell_nerb_handle_l2_response, model_response);
        break;
    case 3:
    case 4:
        fuzz_ltl_response(input, answer, vell_nerb_handle_l2_alloc_response, model_alloc_response);
        break;
    default:
        fuzz_flood_response(input, answer);
    }
}
