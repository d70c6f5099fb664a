// What goes to the LTL manager's client library, and what comes from it.
#include "tests/fake/platform.h"
#include "tests/man/wire_cases.h"
#include "tests/man/wire_page.h"

#include <vell.h>

#include <cstdlib>
#include <gtest/gtest.h>

namespace wire {

namespace {

// The last recorded call of this type.
template <typename Call>
Call last_call() {
    for (auto call = fake::platform().calls.rbegin(); call != fake::platform().calls.rend();
         ++call) {
        if (const auto *found = std::get_if<Call>(&*call)) {
            return *found;
        }
    }
    ADD_FAILURE() << "nothing was sent";
    return {};
}

Found ltl_list(Numbers &numbers, int (*send)(std::uint32_t, std::uint32_t, const std::uint32_t *,
                                             std::uint32_t, std::uint32_t)) {
    const std::uint32_t key1 = numbers.word(), key2 = numbers.word(), count = numbers.byte();
    const std::vector<std::uint32_t> if_indexes(count);
    auto &platform = fake::platform();
    bytes payload;
    // As it is during the call: what is recorded lacks the address of the list.
    const auto look = [&] {
        payload.assign(platform.payload_address, platform.payload_address + 26);
    };
    platform.ltl_alloc.runs(look);
    platform.ltl_modify.runs(look);
    send(key1, count, if_indexes.data(), key2, numbers.word());
    return {payload,
            {{"entry count", 1u},
             {"key 1", key1},
             {"key 2", key2},
             {"reserved", Fill{0}},
             {"if index count", count},
             {"if indexes", reinterpret_cast<std::uintptr_t>(platform.list_address)}}};
}

Found ltl_allocation(Numbers &numbers) {
    return ltl_list(numbers, vell_nerb_l2_ltl_alloc);
}

Found ltl_modification(Numbers &numbers) {
    return ltl_list(numbers, vell_nerb_l2_ltl_modify);
}

Found ltl_release(Numbers &numbers) {
    const std::uint32_t key1 = numbers.word(), key2 = numbers.word();
    ltl_dealloc = filled<vell_ltl_release>();
    const bytes before = bytes_of(ltl_dealloc);
    vell_nerb_l2_ltl_dealloc(key1, key2, numbers.word());
    const auto call = last_call<fake::LtlRelease>();
    EXPECT_EQ(call.count, 1U);
    ltl_dealloc = {};
    return {call.entries, {{"key 1", key1}, {"key 2", key2}, {"reserved", Fill{fill}}}, before};
}

// A flood update of one VLAN without old interfaces and with one new one, on line card 3.
struct FloodUpdate {
    struct Message {
        vell_l2_message head;
        vell_l2_vlan_record record;
        vell_l2_oif entry;
        std::uint8_t rest[6];
    };
    std::uint32_t vlan, if_index;
    bytes payload;

    explicit FloodUpdate(Numbers &numbers) : vlan(numbers.word()), if_index(numbers.word()) {
        Message was = {}, is = {};
        was.record.vlan = is.record.vlan = vlan;
        is.record.count = 1;
        is.entry.value.if_index = if_index;
        fake::platform().interfaces.line_card = [](std::uint32_t) { return std::uint8_t{3}; };
        vell_send_l2_mc_update_flood_ltl(&was, sizeof was, 1, &is, sizeof is, 1, this);
        payload = last_call<fake::FloodUpdate>().payload;
    }
};

constexpr std::size_t delta_at = sizeof(vell_flood_payload);
constexpr std::size_t update_at = delta_at + sizeof(vell_flood_delta);

Found flood_update(Numbers &numbers) {
    const auto vlan_count = static_cast<std::uint16_t>(numbers.byte() % 7 + 1);
    // Without an entry in any of them, records are 80 bytes.
    bytes messages(sizeof(vell_l2_message) + 80 * vlan_count);
    vell_send_l2_mc_update_flood_ltl(messages.data(), 0, vlan_count, messages.data(), 0, vlan_count,
                                     &messages);
    return {part(last_call<fake::FloodUpdate>().payload, 0, delta_at),
            {{"VLAN count", vlan_count}}};
}

Found flood_delta(Numbers &numbers) {
    const FloodUpdate update(numbers);
    return {part(update.payload, delta_at, sizeof(vell_flood_delta)),
            {{"VLAN", update.vlan},
             {"reserved", Fill{0}},
             {"line cards", 1u << 3},
             {"update count", 1u}}};
}

Found flood_update_of_an_interface(Numbers &numbers) {
    const FloodUpdate update(numbers);
    return {part(update.payload, update_at, sizeof(vell_flood_update)),
            {{"if index", update.if_index}, {"operation", vell_flood_added}}};
}

// Answers: the values are those that the library read.

Found answer_entry(Numbers &numbers) {
    nerb_rsp_info info = {{numbers.word(), numbers.word(), numbers.word(), 1}};
    std::uint32_t result1 = 0, result2 = 0;
    auto &reply = fake::platform().reply;
    reply.status = 0;
    reply.entry_count = 1;
    reply.entries = {info};
    EXPECT_EQ(vell_nerb_handle_l2_response(nullptr, &result1, &result2), 0) << "the status is 1";
    info.word[3] = 0;
    reply.entries = {info};
    EXPECT_EQ(vell_nerb_handle_l2_response(nullptr, &result1, &result2), 1);
    return {bytes_of(info),
            {{"word 0", result1}, {"word 1", info.word[1]}, {"word 2", result2}, {"status", 0u}},
            {},
            "manager"};
}

Found allocation_answer(Numbers &numbers) {
    const nerb_alloc_ltl_rsp_parm parm = {{numbers.word(), numbers.word(), numbers.word()}};
    std::uint32_t result1 = 0, result2 = 0;
    auto &reply = fake::platform().reply;
    reply.alloc_status = 0;
    reply.alloc_entry_count = 1;
    reply.parm = parm;
    EXPECT_EQ(vell_nerb_handle_l2_alloc_response(nullptr, &result1, &result2), 1);
    return {bytes_of(parm),
            {{"word 0", parm.word[0]}, {"word 1", result1}, {"word 2", result2}},
            {},
            "manager"};
}

Found flood_result(Numbers &numbers) {
    const std::uint32_t status = numbers.byte() % 2, vlan = numbers.word();
    auto &reply = fake::platform().reply;
    reply.status = 0;
    reply.entry_count = 1;
    reply.entries = {{{vlan, numbers.word(), numbers.word(), status}}};
    std::uint8_t *result = nullptr;
    EXPECT_EQ(vell_handle_l2_mc_update_flood_ltl_resp(nullptr, &result), 1U);
    const bytes message(result, result + sizeof(vell_l2_message) + sizeof(vell_flood_result));
    std::free(result);
    EXPECT_EQ(part(message, 0, 8), hex("00 00 00 01 00 00 00 01"));
    return {
        part(message, 8, sizeof(vell_flood_result)),
        {{"type", 0u}, {"flags", status == 0 ? 1u : 0u}, {"reserved", Fill{0}}, {"VLAN", vlan}}};
}

} // namespace

const std::vector<Case> manager_cases = {
    {"LTL allocation", "vell_nerb_l2_ltl_alloc", ltl_allocation},
    {"LTL modification", "vell_nerb_l2_ltl_modify", ltl_modification},
    {"LTL release", "vell_nerb_l2_ltl_dealloc", ltl_release},
    {"Flood update", "vell_send_l2_mc_update_flood_ltl", flood_update},
    {"Flood delta", nullptr, flood_delta},
    {"Flood update of an interface", nullptr, flood_update_of_an_interface},
    {"Answer entry", nullptr, answer_entry},
    {"Allocation answer", nullptr, allocation_answer},
    {"Flood result", nullptr, flood_result},
};

} // namespace wire
