#include "tests/sim/tlv_fixture.h"

#include <cstring>
#include <gtest/gtest.h>
#include <memory>

namespace {

using namespace sim_test;

// Bytes at one of the four alignments, with nothing after them: a read beyond them is a read
// beyond the allocation.
class placed_array {
public:
    placed_array(std::size_t offset, const bytes &content)
        : room_(std::make_unique<std::uint8_t[]>(offset + content.size())), offset_(offset) {
        std::memcpy(room_.get() + offset, content.data(), content.size());
    }

    const std::uint8_t *get() const { return room_.get() + offset_; }

private:
    std::unique_ptr<std::uint8_t[]> room_;
    std::size_t offset_;
};

class TlvWalk : public testing::TestWithParam<std::size_t> {
protected:
    placed_array place(const bytes &content) const { return {GetParam(), content}; }

    // That a walk from the cursor ends there with this result, and gives nothing out.
    void expect_end(const bytes &content, std::uint32_t cursor, std::uint32_t result) const {
        const placed_array array = place(content);
        found_tlv found;
        std::uint32_t moved = cursor;
        EXPECT_EQ(found.next(array.get(), moved), result);
        EXPECT_EQ(moved, cursor);
        EXPECT_EQ(found, found_tlv{});
    }
};

INSTANTIATE_TEST_SUITE_P(AtOffset, TlvWalk, testing::Values(0, 1, 2, 3),
                         testing::PrintToStringParamName());

TEST_P(TlvWalk, FindsEveryTlvInOrder) {
    const placed_array array = place({3,    0,    7,    0,                         //
                                      0x34, 0x12, 5,    0,                         //
                                      0xa1, 0xa2, 0xa3, 0xa4, 0xa5, 0,    0,    0, //
                                      9,    0,    0,    0,                         //
                                      2,    0,    8,    0,                         //
                                      0xb1, 0xb2, 0xb3, 0xb4, 0xb5, 0xb6, 0xb7, 0xb8});
    EXPECT_EQ(tlv_aligned_array_get_num_tlvs(array.get(), 0), 3);
    EXPECT_EQ(tlv_aligned_array_size_get(array.get(), 0), 28u);
    const struct {
        found_tlv tlv;
        std::uint32_t cursor;
    } expected[] = {{{0x1234, 5, array.get() + 8}, 12},
                    {{9, 0, array.get() + 20}, 16},
                    {{2, 8, array.get() + 24}, 28}};
    std::uint32_t cursor = 0;
    for (const auto &[tlv, after] : expected) {
        found_tlv found;
        ASSERT_EQ(found.next(array.get(), cursor), 0u);
        EXPECT_EQ(found, tlv);
        EXPECT_EQ(cursor, after);
    }
    found_tlv found;
    EXPECT_EQ(found.next(array.get(), cursor), 1u);
    EXPECT_EQ(cursor, 28u);
}

TEST_P(TlvWalk, FindsNothingInFourZeroBytes) {
    const bytes empty(4, 0);
    expect_end(empty, 0, 1);
    const placed_array array = place(empty);
    EXPECT_EQ(tlv_aligned_array_get_num_tlvs(array.get(), 0), 0);
    EXPECT_EQ(tlv_aligned_array_size_get(array.get(), 0), 0u);
}

TEST_P(TlvWalk, FindsTheLongestValue) {
    const placed_array array = place(bytes{1, 0, 0x01, 0x40, 1, 0, 0xff, 0xff} + bytes(65536, 0));
    found_tlv found;
    std::uint32_t cursor = 0;
    EXPECT_EQ(found.next(array.get(), cursor), 0u);
    EXPECT_EQ(found.length, 65535);
    EXPECT_EQ(cursor, 65540u);
    EXPECT_EQ(found.next(array.get(), cursor), 1u);
}

TEST_P(TlvWalk, StopsAtATlvThatReachesBeyondTheArray) {
    expect_end({1, 0, 1, 0, 1, 0, 1, 0}, 0, 2);                   // a value, but no room for one
    expect_end({1, 0, 2, 0, 1, 0, 5, 0, 1, 2, 3, 4}, 0, 2);       // one byte too long
    expect_end({1, 0, 2, 0, 1, 0, 0xff, 0xff, 1, 2, 3, 4}, 0, 2); // far too long
    expect_end({2, 0, 2, 0, 1, 0, 0, 0, 1, 0, 1, 0}, 4, 2);       // the second one
}

TEST_P(TlvWalk, StopsAtACursorThatPointsNowhere) {
    const bytes array = {1, 0, 2, 0, 1, 0, 4, 0, 1, 2, 3, 4};
    expect_end(array, 8, 1);
    expect_end(array, 9, 2);
    expect_end(array, 6, 2); // no room for a TLV's head
    expect_end(array, 0xffffffff, 2);
    expect_end(array, 0xfffffffc, 2);
}

TEST(TlvWalkRefuses, NullPointers) {
    const bytes array = {1, 0, 2, 0, 1, 0, 4, 0, 1, 2, 3, 4};
    std::uint16_t type = 0xdddd;
    std::uint16_t length = 0xeeee;
    const void *value = nullptr;
    std::uint32_t cursor = 0;
    EXPECT_EQ(tlv_aligned_array_get_next_tlv(nullptr, &type, &length, &value, 0, &cursor), 3u);
    EXPECT_EQ(tlv_aligned_array_get_next_tlv(array.data(), nullptr, &length, &value, 0, &cursor),
              3u);
    EXPECT_EQ(tlv_aligned_array_get_next_tlv(array.data(), &type, nullptr, &value, 0, &cursor), 3u);
    EXPECT_EQ(tlv_aligned_array_get_next_tlv(array.data(), &type, &length, nullptr, 0, &cursor),
              3u);
    EXPECT_EQ(tlv_aligned_array_get_next_tlv(array.data(), &type, &length, &value, 0, nullptr), 3u);
    EXPECT_EQ(type, 0xdddd);
    EXPECT_EQ(length, 0xeeee);
    EXPECT_EQ(value, nullptr);
    EXPECT_EQ(cursor, 0u);
    EXPECT_EQ(tlv_aligned_array_get_num_tlvs(nullptr, 0), 0);
    EXPECT_EQ(tlv_aligned_array_size_get(nullptr, 0), 0u);
}

TEST(TlvWalkAndAppend, AgreeOnEveryLengthAtEveryAlignment) {
    for (std::size_t offset = 0; offset < 4; ++offset) {
        bytes room(offset + 4000, untouched);
        std::uint8_t *array = room.data() + offset;
        append_state state;
        for (std::uint8_t length = 0; length < 40; ++length)
            ASSERT_EQ(state.append(array, 4000, length, bytes(length, length)), 0u);
        EXPECT_EQ(tlv_aligned_array_size_get(array, 0), state.size);
        std::uint32_t cursor = 0;
        for (std::uint8_t length = 0; length < 40; ++length) {
            found_tlv found;
            ASSERT_EQ(found.next(array, cursor), 0u);
            EXPECT_EQ(found.type, length);
            const auto *value = static_cast<const std::uint8_t *>(found.value);
            EXPECT_EQ(bytes(value, value + found.length), bytes(length, length));
        }
        EXPECT_EQ(cursor, state.size);
    }
}

} // namespace
