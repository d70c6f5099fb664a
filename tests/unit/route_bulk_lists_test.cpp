// Whole lists that are appended in one call.
#include "route_list_kinds.h"

namespace {

using fake::platform;

class BulkListTest : public ListTest {
protected:
    // `count` entries back to back, as a client has them.
    static bytes entries(std::uint32_t count) {
        return part(list_of(count), 4, count * list().entry_size);
    }
};
INSTANTIATE_TEST_SUITE_P(Kind, BulkListTest, testing::ValuesIn(list_kinds), list_name);

TEST_P(BulkListTest, CopiesTheEntriesBehindTheirNumberAndAppendsThem) {
    for (const std::uint32_t count : {1U, 2U, 100U}) {
        std::copy(before_.begin(), before_.end(), std::begin(vell_mrib_buf));
        list().add_all(route(), entries(count).data(), count);
        EXPECT_CALLS(appended(list().tlv_type, list_of(count)));
        EXPECT_EQ(scratch(), patched(before_, 0, list_of(count)));
    }
}

TEST_P(BulkListTest, AppendsNothingForANullArray) {
    list().add_all(route(), nullptr, 3);
    list().add_all(route(), nullptr, 0);
    EXPECT_NO_CALLS();
    EXPECT_EQ(scratch(), before_);
}

TEST_P(BulkListTest, AppendsNothingForACountOf0) {
    list().add_all(route(), entries(1).data(), 0);
    EXPECT_NO_CALLS();
    EXPECT_EQ(scratch(), before_);
}

TEST_P(BulkListTest, TakesEntriesAtOddAddresses) {
    for (const std::size_t offset : {1U, 2U, 3U}) {
        SCOPED_TRACE(offset);
        const auto shifted = bytes(offset) + entries(3);
        list().add_all(route(), shifted.data() + offset, 3);
        EXPECT_CALLS(appended(list().tlv_type, list_of(3)));
    }
}

TEST_P(BulkListTest, TakesEntriesThatLieInTheBufferAlready) {
    const auto size = list().entry_size;
    for (const std::size_t offset :
         {std::size_t{0}, std::size_t{1}, std::size_t{3}, std::size_t{4}, std::size_t{5}, 4 + size,
          4 + 2 * size - 1, 4 + 5 * size, sizeof vell_mrib_buf - 5 * size}) {
        SCOPED_TRACE(offset);
        std::copy(before_.begin(), before_.end(), std::begin(vell_mrib_buf));
        const auto given = entries(5);
        std::copy(given.begin(), given.end(), vell_mrib_buf + offset);
        list().add_all(route(), vell_mrib_buf + offset, 5);
        EXPECT_CALLS(appended(list().tlv_type, list_of(5)));
        EXPECT_EQ(scratch(), patched(patched(before_, offset, given), 0, list_of(5)));
    }
}

TEST_P(BulkListTest, AppendsToRoutesAtOddAddressesAndTouchesNothingOfThem) {
    for (const std::size_t offset : {1U, 2U, 3U}) {
        buffer_ = RouteBuffer(offset);
        list().add_all(route(), entries(2).data(), 2);
        EXPECT_CALLS(appended(list().tlv_type, list_of(2)));
        EXPECT_EQ(buffer_.now(), buffer_.started_with(0, {}));
    }
}

TEST_P(BulkListTest, OpensAndClosesNoList) {
    list().add_all(route(), entries(1).data(), 1);
    for (const auto &other : list_kinds)
        EXPECT_EQ(*other.cursor, nullptr) << other.name;

    vell_mrib_list elsewhere = {};
    for (const auto &other : list_kinds)
        *other.cursor = &elsewhere;
    list().add_all(route(), entries(1).data(), 1);
    for (const auto &other : list_kinds)
        EXPECT_EQ(*other.cursor, &elsewhere) << other.name;
    EXPECT_EQ(elsewhere.count, 0U);
    EXPECT_CALLS(appended(list().tlv_type, list_of(1)), appended(list().tlv_type, list_of(1)));
}

TEST_P(BulkListTest, IsBuiltOverAListThatIsOpenWhichStaysOpen) {
    list().begin();
    add(1);
    list().add_all(route(), entries(3).data(), 3);
    EXPECT_CALLS(appended(list().tlv_type, list_of(3)));
    EXPECT_EQ(*list().cursor, start_of_scratch());

    list().add(3);
    EXPECT_EQ(scratch(), patched(before_, 0, list_of(4)));
}

TEST_P(BulkListTest, IgnoresThatTheAppendIsRefused) {
    platform().append_tlv.returns(1);
    list().add_all(route(), entries(2).data(), 2);
    EXPECT_CALLS(appended(list().tlv_type, list_of(2)));
    EXPECT_EQ(scratch(), patched(before_, 0, list_of(2)));
}

TEST_P(BulkListTest, CarriesTheTlvCursorOn) {
    set_tlv_cursor({.address = 0x11, .size = 0x12});
    platform().append_state = fake::AppendState{.position = 0x21, .size = 0x22};
    list().add_all(route(), entries(1).data(), 1);
    list().add_all(route(), entries(2).data(), 2);
    EXPECT_CALLS(appended(list().tlv_type, list_of(1), {.address = 0x11, .size = 0x12}),
                 appended(list().tlv_type, list_of(2), {.address = 0x21, .size = 0x22}));
    EXPECT_EQ(tlv_cursor(), (TlvCursor{.address = 0x21, .size = 0x22}));
}

TEST_P(BulkListTest, CutsTheLengthTo16Bits) {
    const auto most = list().most_in_a_tlv;
    list().add_all(route(), entries(most).data(), most);
    EXPECT_CALLS(appended_cut(list().tlv_type, list().length_of_most, list_of(most)));
    list().add_all(route(), entries(most + 1).data(), most + 1);
    EXPECT_CALLS(appended_cut(list().tlv_type, list().length_of_one_more, list_of(most + 1)));
    EXPECT_EQ(scratch(), patched(before_, 0, list_of(most + 1)));
}

TEST_P(BulkListTest, MayFillTheBuffer) {
    const auto most = list().most_in_the_buffer;
    const auto whole = list_of(most);
    list().add_all(route(), entries(most).data(), most);
    EXPECT_CALLS(
        appended_cut(list().tlv_type, static_cast<std::uint16_t>(whole.size() % 65536), whole));
    EXPECT_EQ(scratch(), patched(before_, 0, whole));
}

} // namespace
