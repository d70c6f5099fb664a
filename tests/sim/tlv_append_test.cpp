#include "tests/sim/tlv_fixture.h"

#include <gtest/gtest.h>

namespace {

using namespace sim_test;

// Every test that looks at bytes does so at each of the four alignments.
class TlvAppend : public testing::TestWithParam<std::size_t> {
protected:
    bytes room = bytes(400, untouched);
    std::uint8_t *array = room.data() + 8 + GetParam();
    append_state state;

    // The bytes at the array, and that nothing around them was written.
    void expect_array(const bytes &expected) const {
        const std::size_t from = 8 + GetParam();
        bytes whole(room.size(), untouched);
        std::copy(expected.begin(), expected.end(),
                  whole.begin() + static_cast<std::ptrdiff_t>(from));
        EXPECT_EQ(room, whole);
    }

    void expect_state(std::uint32_t size) const {
        EXPECT_EQ(state.size, size);
        EXPECT_EQ(state.position, address_of(array) + 4 + size);
    }
};

INSTANTIATE_TEST_SUITE_P(AtOffset, TlvAppend, testing::Values(0, 1, 2, 3),
                         testing::PrintToStringParamName());

TEST_P(TlvAppend, WritesTheHeadAndTheFirstTlv) {
    ASSERT_EQ(state.append(array, 400, 0x1234, {0xa1, 0xa2, 0xa3, 0xa4}), 0u);
    expect_array({1, 0, 2, 0, 0x34, 0x12, 4, 0, 0xa1, 0xa2, 0xa3, 0xa4});
    expect_state(8);
}

TEST_P(TlvAppend, PadsAValueWithZeros) {
    ASSERT_EQ(state.append(array, 400, 1, {0xa1}), 0u);
    ASSERT_EQ(state.append(array, 400, 2, {0xb1, 0xb2}), 0u);
    ASSERT_EQ(state.append(array, 400, 3, {0xc1, 0xc2, 0xc3}), 0u);
    ASSERT_EQ(state.append(array, 400, 4, {}), 0u);
    ASSERT_EQ(state.append(array, 400, 5, {0xe1, 0xe2, 0xe3, 0xe4, 0xe5}), 0u);
    expect_array({5, 0, 10, 0,                      // head
                  1, 0, 1,  0, 0xa1, 0,    0,    0, // each of the five
                  2, 0, 2,  0, 0xb1, 0xb2, 0,    0, //
                  3, 0, 3,  0, 0xc1, 0xc2, 0xc3, 0, //
                  4, 0, 0,  0,                      //
                  5, 0, 5,  0, 0xe1, 0xe2, 0xe3, 0xe4, 0xe5, 0, 0, 0});
    expect_state(40);
}

TEST_P(TlvAppend, StartsAFreshArrayOverWhatWasThere) {
    std::fill_n(array, 4, std::uint8_t{0x99});
    ASSERT_EQ(state.append(array, 400, 7, {1, 2, 3, 4}), 0u);
    expect_array({1, 0, 2, 0, 7, 0, 4, 0, 1, 2, 3, 4});
}

TEST_P(TlvAppend, GivesEachOfTwoRecordsItsArrayWithOneState) {
    ASSERT_EQ(state.append(array, 400, 0, {1, 2, 3, 4}), 0u);
    ASSERT_EQ(state.append(array, 400, 2, {5, 6, 7, 8}), 0u);
    std::uint8_t *second =
        array + 20 + 44; // after the first array, and the head of a second record
    ASSERT_EQ(state.append(second, 400, 0, {9}), 0u);
    ASSERT_EQ(state.append(second, 400, 1, {10, 11}), 0u);

    expect_array(bytes{2, 0, 4, 0, 0, 0, 4, 0, 1, 2, 3, 4, 2, 0, 4, 0, 5, 6, 7, 8} +
                 bytes(44, untouched) +
                 bytes{2, 0, 4, 0, 0, 0, 1, 0, 9, 0, 0, 0, 1, 0, 2, 0, 10, 11, 0, 0});
    EXPECT_EQ(state, (append_state{address_of(second) + 20, 16}));
}

TEST_P(TlvAppend, StartsAFreshArrayOverThatOfAnEarlierMessageEvenOfTheSameSize) {
    std::uint8_t *second = array + 12 + 44;
    const bytes earlier = {1, 0, 2, 0, 9, 0, 4, 0, 0x91, 0x92, 0x93, 0x94};
    std::copy(earlier.begin(), earlier.end(), second);
    ASSERT_EQ(state.append(array, 400, 1, {1, 2, 3, 4}), 0u);
    ASSERT_EQ(state.append(second, 400, 2, {5, 6, 7, 8}), 0u);
    expect_array(bytes{1, 0, 2, 0, 1, 0, 4, 0, 1, 2, 3, 4} + bytes(44, untouched) +
                 bytes{1, 0, 2, 0, 2, 0, 4, 0, 5, 6, 7, 8});
}

TEST_P(TlvAppend, StartsAFreshArrayInARecordThatWasClearedSince) {
    ASSERT_EQ(state.append(array, 400, 1, {1, 2, 3, 4}), 0u);
    std::fill_n(array, 12, std::uint8_t{0});
    ASSERT_EQ(state.append(array, 400, 2, {5, 6, 7, 8}), 0u);
    expect_array({1, 0, 2, 0, 2, 0, 4, 0, 5, 6, 7, 8});
    expect_state(8);
}

TEST_P(TlvAppend, StartsAFreshArrayOverOneThatTheStateDoesNotTellOf) {
    ASSERT_EQ(state.append(array, 400, 1, {1, 2, 3, 4}), 0u);
    array[2] = 1; // as if another array of 4 bytes had been put there since
    ASSERT_EQ(state.append(array, 400, 2, {5, 6, 7, 8}), 0u);
    expect_array({1, 0, 2, 0, 2, 0, 4, 0, 5, 6, 7, 8});
    expect_state(8);
}

TEST_P(TlvAppend, StartsAFreshArrayWhenTheStateIsReset) {
    ASSERT_EQ(state.append(array, 400, 1, {1, 2, 3, 4}), 0u);
    state = {};
    ASSERT_EQ(state.append(array, 400, 2, {5}), 0u);
    expect_array({1, 0, 2, 0, 2, 0, 1, 0, 5, 0, 0, 0});
    expect_state(8);
}

TEST_P(TlvAppend, TakesATlvThatFitsExactlyAndRefusesOneThatDoesNot) {
    ASSERT_EQ(state.append(array, 12, 1, {1, 2, 3, 4}), 0u);
    const append_state before = state;
    EXPECT_EQ(state.append(array, 15, 2, {}), 4u);
    EXPECT_EQ(state, before);
    expect_array({1, 0, 2, 0, 1, 0, 4, 0, 1, 2, 3, 4});
    EXPECT_EQ(state.append(array, 16, 2, {}), 0u);
    expect_array({2, 0, 3, 0, 1, 0, 4, 0, 1, 2, 3, 4, 2, 0, 0, 0});
}

TEST_P(TlvAppend, CountsThePaddingInTheCapacity) {
    EXPECT_EQ(state.append(array, 11, 1, {1}), 4u);
    expect_array({});
    EXPECT_EQ(state, append_state{});
    EXPECT_EQ(state.append(array, 12, 1, {1}), 0u);
}

TEST_P(TlvAppend, LeavesAFreshArraysPlaceAndTheStateAloneWhenItRefuses) {
    ASSERT_EQ(state.append(array, 400, 1, {1, 2, 3, 4}), 0u);
    const append_state of_first = state;
    EXPECT_EQ(state.append(array + 100, 0, 2, {}), 4u);
    EXPECT_EQ(state.append(array + 100, 7, 2, {}), 4u);
    EXPECT_EQ(state, of_first);
    expect_array({1, 0, 2, 0, 1, 0, 4, 0, 1, 2, 3, 4});
}

TEST_P(TlvAppend, RefusesNullPointersAndChangesNothing) {
    const bytes value = {1, 2, 3, 4};
    std::uint32_t *position = &state.position;
    std::uint32_t *size = &state.size;
    EXPECT_EQ(tlv_aligned_array_append_tlv(nullptr, position, size, 400, 1, 4, value.data(), 0),
              3u);
    EXPECT_EQ(tlv_aligned_array_append_tlv(array, nullptr, size, 400, 1, 4, value.data(), 0), 3u);
    EXPECT_EQ(tlv_aligned_array_append_tlv(array, position, nullptr, 400, 1, 4, value.data(), 0),
              3u);
    EXPECT_EQ(tlv_aligned_array_append_tlv(array, position, size, 400, 1, 4, nullptr, 0), 3u);
    EXPECT_EQ(state, append_state{});
    expect_array({});
}

TEST_P(TlvAppend, TakesNoValueForALengthOfZero) {
    EXPECT_EQ(
        tlv_aligned_array_append_tlv(array, &state.position, &state.size, 400, 9, 0, nullptr, 0),
        0u);
    expect_array({1, 0, 1, 0, 9, 0, 0, 0});
}

TEST(TlvAppendLimits, TakesTheLongestValue) {
    bytes room(4 + 4 + 65536, untouched);
    append_state state;
    ASSERT_EQ(
        state.append(room.data(), static_cast<std::uint32_t>(room.size()), 1, bytes(65535, 0x11)),
        0u);
    EXPECT_EQ(bytes(room.begin(), room.begin() + 8), (bytes{1, 0, 0x01, 0x40, 1, 0, 0xff, 0xff}));
    EXPECT_EQ(room[room.size() - 2], 0x11);
    EXPECT_EQ(room.back(), 0);
}

TEST(TlvAppendLimits, FillsAnArrayToTheLastByteThatItsHeadCanCountAndNoFurther) {
    constexpr std::uint32_t capacity = 1u << 20;
    bytes room(capacity, untouched);
    append_state state;
    for (std::uint16_t type = 0; type < 3; ++type)
        ASSERT_EQ(state.append(room.data(), capacity, type, bytes(65532, 0x11)), 0u);
    const append_state before = state;
    EXPECT_EQ(state.append(room.data(), capacity, 3, bytes(65529, 0x22)), 4u); // 65536 * 4 bytes
    EXPECT_EQ(state, before);
    EXPECT_EQ(tlv_aligned_array_get_num_tlvs(room.data(), 0), 3);
    EXPECT_EQ(room[4 + state.size], untouched);

    EXPECT_EQ(state.append(room.data(), capacity, 3, bytes(65528, 0x22)), 0u); // 65535 * 4 bytes
    EXPECT_EQ(state.size, 262140u);
    EXPECT_EQ(tlv_aligned_array_size_get(room.data(), 0), 262140u);
    EXPECT_EQ(state.append(room.data(), capacity, 4, {}), 4u);
    EXPECT_EQ(tlv_aligned_array_get_num_tlvs(room.data(), 0), 4);
}

TEST(TlvAppendLimits, TakesAsManyTlvsAsAHeadCanCountAndNoMore) {
    constexpr std::uint32_t capacity = 1u << 20;
    bytes room(capacity, untouched);
    append_state state;
    for (std::uint32_t number = 0; number < 65535; ++number)
        ASSERT_EQ(state.append(room.data(), capacity, 6, {}), 0u);
    EXPECT_EQ(tlv_aligned_array_get_num_tlvs(room.data(), 0), 65535);
    EXPECT_EQ(state.append(room.data(), capacity, 6, {}), 4u);
    EXPECT_EQ(tlv_aligned_array_get_num_tlvs(room.data(), 0), 65535);
}

TEST(TlvAppendLimits, DoesNotLetTheCountOfADamagedHeadRunOver) {
    bytes room = {0xff, 0xff, 1, 0, 7, 0, 0, 0, untouched, untouched, untouched, untouched};
    const bytes before = room;
    append_state state{address_of(room.data()) + 8, 4};
    EXPECT_EQ(state.append(room.data(), 12, 7, {}), 4u);
    EXPECT_EQ(room, before);
}

} // namespace
