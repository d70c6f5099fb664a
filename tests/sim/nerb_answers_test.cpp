#include "tests/sim/nerb_fixture.h"

#include <nerb.h>

#include <array>
#include <cstring>
#include <gtest/gtest.h>
#include <optional>
#include <vector>

namespace {

using namespace sim_test;

constexpr kind_of_answer general[] = {{90002, 14}, {90003, 15}, {90004, 16}};

// The status of each parser. What a parser stores on success is told apart from what it must leave
// alone on failure.
struct parsed {
    std::uint32_t result;
    std::optional<std::uint32_t> status{};
    std::optional<std::uint32_t> count{};
    words entries{};
};

parsed parse_status(const void *rsp) {
    std::uint32_t status = sentinel;
    const std::uint32_t result = nerb_parse_rsp_status(rsp, &status);
    return {result, status};
}

parsed parse_count(const void *rsp) {
    std::uint32_t count = sentinel;
    const std::uint32_t result = nerb_parse_rsp_get_entry_count(rsp, &count);
    return {result, {}, count};
}

// Asks for `count` entries into room for three.
parsed parse_info(const void *rsp, std::uint32_t count) {
    words info(12, sentinel);
    const std::uint32_t result =
        nerb_parse_rsp_get_rsp_info(rsp, count, reinterpret_cast<nerb_rsp_info *>(info.data()));
    return {result, {}, {}, info};
}

parsed parse_allocation_count(const void *rsp, std::uint32_t kind = 13) {
    std::uint32_t status = sentinel;
    std::uint16_t count = 0xe5e6;
    const std::uint32_t result = nerb_parse_alloc_ltl_get_entry_count(rsp, &status, kind, &count);
    return {result, status, count};
}

parsed parse_allocation(const void *rsp, std::uint32_t kind = 13) {
    std::uint32_t status = sentinel;
    words parm(3, sentinel);
    const std::uint32_t result = nerb_parse_alloc_ltl_rsp_parm(
        rsp, &status, kind, reinterpret_cast<nerb_alloc_ltl_rsp_parm *>(parm.data()));
    return {result, status, {}, parm};
}

void expect_untouched(const parsed &got, std::uint32_t result) {
    EXPECT_EQ(got.result, result);
    EXPECT_TRUE(!got.status || *got.status == sentinel);
    EXPECT_TRUE(!got.count || *got.count == sentinel || *got.count == 0xe5e6);
    EXPECT_EQ(got.entries, words(got.entries.size(), sentinel));
}

void expect_no_general_answer(const void *rsp) {
    expect_untouched(parse_status(rsp), 1);
    expect_untouched(parse_count(rsp), 1);
    for (std::uint32_t count = 0; count < 3; ++count)
        expect_untouched(parse_info(rsp, count), 1);
}

void expect_no_allocation(const void *rsp, std::uint32_t kind = 13) {
    expect_untouched(parse_allocation_count(rsp, kind), 1);
    expect_untouched(parse_allocation(rsp, kind), 1);
}

void expect_no_answer(const void *rsp) {
    expect_no_general_answer(rsp);
    expect_no_allocation(rsp);
}

class NerbAnswers : public nerb_answer_test {};

TEST_F(NerbAnswers, AreReadByTheGeneralParsers) {
    for (const auto &[opcode, kind] : general) {
        const message_ptr answer = received(opcode, two_entries(kind));
        const words all = {0x41424344, 0x45464748, 0x494a4b4c, 0x4d4e4f50, 0x51525354, 0x55565758,
                           0x595a5b5c, 0x5d5e5f60, sentinel,   sentinel,   sentinel,   sentinel};
        words first = all;
        std::fill(first.begin() + 4, first.end(), sentinel);
        EXPECT_EQ(parse_status(answer.get()).result, 0u);
        EXPECT_EQ(parse_status(answer.get()).status, 0x31323334u);
        EXPECT_EQ(parse_count(answer.get()).result, 0u);
        EXPECT_EQ(parse_count(answer.get()).count, 2u);
        EXPECT_EQ(parse_info(answer.get(), 2).result, 0u);
        EXPECT_EQ(parse_info(answer.get(), 2).entries, all);
        EXPECT_EQ(parse_info(answer.get(), 1).result, 0u);
        EXPECT_EQ(parse_info(answer.get(), 1).entries, first);
        expect_untouched(parse_info(answer.get(), 0), 0);
        expect_no_allocation(answer.get());
        expect_no_allocation(answer.get(), kind);
    }
}

TEST_F(NerbAnswers, ToAllocationsAreReadByTheirOwnParsers) {
    const message_ptr answer = received(90001, two_entries(13));
    EXPECT_EQ(parse_allocation_count(answer.get()).result, 0u);
    EXPECT_EQ(parse_allocation_count(answer.get()).status, 0x31323334u);
    EXPECT_EQ(parse_allocation_count(answer.get()).count, 2u);
    EXPECT_EQ(parse_allocation(answer.get()).result, 0u);
    EXPECT_EQ(parse_allocation(answer.get()).status, 0x31323334u);
    EXPECT_EQ(parse_allocation(answer.get()).entries, (words{0x41424344, 0x45464748, 0x494a4b4c}));
    expect_no_general_answer(answer.get());
    for (const std::uint32_t kind : {0u, 12u, 14u, 13u << 16})
        expect_no_allocation(answer.get(), kind);
}

TEST_F(NerbAnswers, HaveNoMoreEntriesThanTheyHave) {
    const message_ptr answer = received(90004, two_entries(16));
    for (const std::uint32_t count : {3u, 0x10000001u, 0xffffffffu})
        expect_untouched(parse_info(answer.get(), count), 2);
}

TEST_F(NerbAnswers, MayHaveNoEntries) {
    const message_ptr answer = received(90003, words{15, 0, 9, 0});
    EXPECT_EQ(parse_status(answer.get()).status, 0u);
    EXPECT_EQ(parse_count(answer.get()).count, 0u);
    expect_untouched(parse_info(answer.get(), 0), 0);
    expect_untouched(parse_info(answer.get(), 1), 2);
    const message_ptr allocation = received(90001, words{13, 0, 9, 0});
    EXPECT_EQ(parse_allocation_count(allocation.get()).count, 0u);
    expect_untouched(parse_allocation(allocation.get()), 2);
}

TEST_F(NerbAnswers, OfFourThousandEntriesAreReadWhole) {
    constexpr std::uint32_t count = 4095;
    words payload = {16, 1, 9, count};
    for (std::uint32_t i = 0; i < 4 * count; ++i)
        payload.push_back(i);
    const message_ptr answer = received(90004, payload);
    EXPECT_EQ(parse_count(answer.get()).count, count);
    std::vector<nerb_rsp_info> info(count);
    ASSERT_EQ(nerb_parse_rsp_get_rsp_info(answer.get(), count, info.data()), 0u);
    for (std::uint32_t i = 0; i < count; ++i)
        ASSERT_EQ(info[i].word[3], 4 * i + 3);
}

TEST_F(NerbAnswers, ToAllocationsHaveNoMoreEntriesThanSixteenBitsSay) {
    words payload = {13, 0, 9, 65536};
    payload.resize(4 + 4 * 65536, 7);
    expect_untouched(parse_allocation_count(received(90001, payload).get()), 1);
    payload[3] = 65535;
    payload.resize(4 + 4 * 65535);
    EXPECT_EQ(parse_allocation_count(received(90001, payload).get()).count, 65535u);
}

TEST_F(NerbAnswers, AreNotNull) {
    expect_no_answer(nullptr);
}

TEST_F(NerbAnswers, ComeFromTheManager) {
    for (const std::uint32_t sap : {0u, 212u, 214u, 229u, 231u}) {
        expect_no_answer(received(90001, two_entries(13), sap).get());
        expect_no_answer(received(90004, two_entries(16), sap).get());
    }
}

TEST_F(NerbAnswers, AreOfTheKindOfTheirRequest) {
    for (const std::uint32_t opcode : {0u, 75785u, 90000u, 90005u})
        for (const std::uint32_t kind : {0u, 13u, 14u, 15u, 16u})
            expect_no_answer(received(opcode, two_entries(kind)).get());
    for (const std::uint32_t kind : {0u, 12u, 14u, 15u, 16u, 17u})
        expect_no_answer(received(90001, two_entries(kind)).get());
    for (const auto &[opcode, right_kind] : general)
        for (const std::uint32_t kind : {0u, 12u, 13u, 14u, 15u, 16u, 17u, right_kind << 8})
            if (kind != right_kind) {
                expect_no_answer(received(opcode, two_entries(kind)).get());
            }
}

TEST_F(NerbAnswers, HaveTheLengthThatTheirCountSays) {
    for (const auto &[opcode, kind] : {kind_of_answer{90001, 13}, kind_of_answer{90004, 16}}) {
        bytes whole(48);
        std::memcpy(whole.data(), two_entries(kind).data(), whole.size());
        for (std::size_t length = 0; length < whole.size(); ++length)
            expect_no_answer(received(opcode, part(whole, 0, length)).get());
        expect_no_answer(received(opcode, whole + bytes{0}).get());
        words wrong = two_entries(kind);
        for (const std::uint32_t count : {0u, 1u, 3u, 0x10000002u, 0x10000000u, 0xffffffffu}) {
            wrong[3] = count;
            expect_no_answer(received(opcode, wrong).get());
        }
    }
}

TEST_F(NerbAnswers, AreLeftAsTheyAre) {
    const message_ptr answer = received(90002, two_entries(14));
    const bytes before = payload_of(answer);
    parse_status(answer.get());
    parse_count(answer.get());
    parse_info(answer.get(), 2);
    EXPECT_EQ(payload_of(answer), before);
}

} // namespace
