// Opening, filling and closing the lists of a route, and the sizes of routes.
#include "route_list_kinds.h"

#include <algorithm>

namespace {

using fake::platform;

// Read before anything of the library has run.
const bool cursors_null_at_load =
    vell_oifs == nullptr && mti_oifs == nullptr && glt_oifs == nullptr;
const TlvCursor tlv_cursor_at_load = tlv_cursor();
const bool scratch_clear_at_load = std::all_of(std::begin(vell_mrib_buf), std::end(vell_mrib_buf),
                                               [](std::uint8_t byte) { return byte == 0; });

TEST(ListStateTest, IsClearWhenTheLibraryIsLoaded) {
    EXPECT_TRUE(cursors_null_at_load);
    EXPECT_EQ(tlv_cursor_at_load, TlvCursor{});
    EXPECT_TRUE(scratch_clear_at_load);
}

TEST(ListStateTest, HasTheSizesThatItsUsersKnow) {
    EXPECT_EQ(sizeof vell_mrib_buf, 120832U);
    EXPECT_EQ(sizeof vell_oifs, 4U);
    EXPECT_EQ(sizeof mti_oifs, 4U);
    EXPECT_EQ(sizeof glt_oifs, 4U);
    EXPECT_EQ(sizeof p_current_tlv_addr, 4U);
    EXPECT_EQ(sizeof current_tlv_size, 4U);
}

INSTANTIATE_TEST_SUITE_P(Kind, ListTest, testing::ValuesIn(list_kinds), list_name);

TEST_P(ListTest, BeginPutsTheCursorAtTheBufferAndClearsTheCountWordOnly) {
    list().begin();
    EXPECT_EQ(*list().cursor, start_of_scratch());
    EXPECT_EQ(scratch(), patched(before_, 0, {0, 0, 0, 0}));
}

TEST_P(ListTest, BeginLeavesTheOtherCursorsAndTheTlvCursor) {
    vell_mrib_list elsewhere = {};
    for (const auto &other : list_kinds)
        *other.cursor = &elsewhere;
    set_tlv_cursor({.address = 5, .size = 6});
    list().begin();
    for (const auto &other : list_kinds)
        EXPECT_EQ(*other.cursor, other.cursor == list().cursor ? start_of_scratch() : &elsewhere)
            << other.name;
    EXPECT_EQ(tlv_cursor(), (TlvCursor{.address = 5, .size = 6}));
}

TEST_P(ListTest, AddingBeforeAnyBeginIsIgnored) {
    list().add(0);
    EXPECT_EQ(scratch(), before_);
    EXPECT_EQ(*list().cursor, nullptr);
}

TEST_P(ListTest, AddingAfterTheEndIsIgnored) {
    list().begin();
    add(1);
    list().end(route());
    EXPECT_CALLS(appended(list().tlv_type, list_of(1)));
    list().add(7);
    EXPECT_EQ(scratch(), patched(before_, 0, list_of(1)));
}

TEST_P(ListTest, AddingToAnotherListThatIsClosedIsIgnored) {
    list().begin();
    for (const auto &other : list_kinds)
        if (other.cursor != list().cursor)
            other.add(0);
    EXPECT_EQ(scratch(), patched(before_, 0, {0, 0, 0, 0}));
}

TEST_P(ListTest, EntriesLieBackToBackBehindTheirNumber) {
    list().begin();
    add(1);
    EXPECT_EQ(scratch(), patched(before_, 0, list_of(1)));
    list().add(1);
    list().add(2);
    EXPECT_EQ(scratch(), patched(before_, 0, list_of(3)));
    EXPECT_EQ(*list().cursor, start_of_scratch());
}

TEST_P(ListTest, EntriesMayFillTheBuffer) {
    list().begin();
    for (std::uint32_t i = 0; i < list().most_in_the_buffer; ++i)
        list().add(i);
    const auto last = list().most_in_the_buffer - 1;
    const auto now = scratch();
    EXPECT_EQ(part(now, 0, 4), word(list().most_in_the_buffer));
    EXPECT_EQ(part(now, 4 + last * list().entry_size, list().entry_size), list().entry(last));
    const auto end = 4 + list().most_in_the_buffer * list().entry_size;
    EXPECT_EQ(part(now, end, now.size() - end), part(before_, end, before_.size() - end));
}

TEST_P(ListTest, EndAppendsTheListAndClosesIt) {
    list().begin();
    add(3);
    list().end(route());
    EXPECT_CALLS(appended(list().tlv_type, list_of(3)));
    EXPECT_EQ(*list().cursor, nullptr);
    EXPECT_EQ(scratch(), patched(before_, 0, list_of(3)));
}

TEST_P(ListTest, EndTouchesNothingOfTheRoute) {
    list().begin();
    add(3);
    list().end(route());
    EXPECT_EQ(buffer_.now(), buffer_.started_with(0, {}));
    fake::take_calls();
}

TEST_P(ListTest, EndAppendsToRoutesAtOddAddresses) {
    for (const std::size_t offset : {1U, 2U, 3U}) {
        buffer_ = RouteBuffer(offset);
        list().begin();
        add(2);
        list().end(route());
        EXPECT_CALLS(appended(list().tlv_type, list_of(2)));
    }
}

TEST_P(ListTest, EndLeavesTheOtherCursors) {
    vell_mrib_list elsewhere = {};
    for (const auto &other : list_kinds)
        *other.cursor = &elsewhere;
    list().begin();
    add(1);
    list().end(route());
    for (const auto &other : list_kinds)
        EXPECT_EQ(*other.cursor, other.cursor == list().cursor ? nullptr : &elsewhere)
            << other.name;
    EXPECT_CALLS(appended(list().tlv_type, list_of(1)));
}

TEST_P(ListTest, TheListIsStillOpenWhileItIsAppended) {
    vell_mrib_list *cursor = nullptr;
    platform().append_tlv.runs([&] { cursor = *list().cursor; });
    list().begin();
    add(1);
    list().end(route());
    EXPECT_EQ(cursor, start_of_scratch());
    EXPECT_CALLS(appended(list().tlv_type, list_of(1)));
}

TEST_P(ListTest, EndIsIgnoredForAListThatWasNeverOpened) {
    list().end(route());
    EXPECT_NO_CALLS();
    EXPECT_EQ(*list().cursor, nullptr);
    EXPECT_EQ(scratch(), before_);
}

TEST_P(ListTest, ASecondEndIsIgnored) {
    list().begin();
    add(1);
    list().end(route());
    list().end(route());
    EXPECT_CALLS(appended(list().tlv_type, list_of(1)));
}

TEST_P(ListTest, EndingAnEmptyListAppendsNothingAndALaterAddStillLandsAtTheStart) {
    list().begin();
    list().end(route());
    EXPECT_NO_CALLS();
    EXPECT_EQ(*list().cursor, start_of_scratch());

    add(1);
    EXPECT_EQ(scratch(), patched(before_, 0, list_of(1)));
    list().end(route());
    EXPECT_CALLS(appended(list().tlv_type, list_of(1)));
    EXPECT_EQ(*list().cursor, nullptr);
}

TEST_P(ListTest, EndClosesTheListEvenWhenTheAppendIsRefused) {
    for (const auto result : {1U, 0xffffffffU}) {
        platform().append_tlv.returns(result);
        list().begin();
        add(1);
        list().end(route());
        EXPECT_CALLS(appended(list().tlv_type, list_of(1)));
        EXPECT_EQ(*list().cursor, nullptr);
    }
}

TEST_P(ListTest, AClientThatSetsTheCursorToNullClosesTheList) {
    list().begin();
    add(1);
    *list().cursor = nullptr;
    list().add(1);
    list().end(route());
    EXPECT_NO_CALLS();
    EXPECT_EQ(scratch(), patched(before_, 0, list_of(1)));
}

TEST_P(ListTest, AListIsWhereItsCursorPoints) {
    bytes own(4 + 2 * list().entry_size);
    list().begin();
    *list().cursor = reinterpret_cast<vell_mrib_list *>(own.data());
    add(2);
    EXPECT_EQ(own, list_of(2));
    list().end(route());
    auto expected = appended(list().tlv_type, list_of(2));
    expected.value = own.data();
    EXPECT_CALLS(expected);
    EXPECT_EQ(scratch(), patched(before_, 0, {0, 0, 0, 0}));
}

TEST_P(ListTest, AListOfAClientsOwnMayHaveMoreEntriesThan16BitsCount) {
    const auto size = list().entry_size;
    bytes own(4 + 65537 * size);
    own[2] = 1; // 65536 entries
    *list().cursor = reinterpret_cast<vell_mrib_list *>(own.data());
    list().add(7);
    EXPECT_EQ(part(own, 0, 4 + size), zero_padded(hex("01000100"), 4 + size));
    EXPECT_EQ(part(own, 4 + 65535 * size, 2 * size), bytes(size) + list().entry(7));
    list().end(route());
    auto expected = appended_cut(list().tlv_type, static_cast<std::uint16_t>(4 + size), own);
    expected.value = own.data();
    EXPECT_CALLS(expected);
}

TEST_P(ListTest, BeginningAgainEmptiesTheList) {
    list().begin();
    add(3);
    list().begin();
    list().add(7);
    EXPECT_EQ(part(scratch(), 0, 4), word(1));
    EXPECT_EQ(part(scratch(), 4, list().entry_size), list().entry(7));
}

TEST_P(ListTest, OpeningAnotherListLosesTheEntriesOfTheOpenOne) {
    for (const auto &other : list_kinds) {
        if (other.cursor == list().cursor)
            continue;
        SCOPED_TRACE(other.name);
        list().begin();
        add(3);
        other.begin();
        EXPECT_EQ(part(scratch(), 0, 4), word(0));
        EXPECT_EQ(*list().cursor, start_of_scratch());
        EXPECT_EQ(*other.cursor, start_of_scratch());

        list().end(route());
        EXPECT_NO_CALLS();
        other.add(0);
        other.end(route());
        EXPECT_CALLS(appended(other.tlv_type, word(1) + other.entry(0)));
    }
}

TEST_P(ListTest, TheTlvCursorIsCarriedFromListToList) {
    set_tlv_cursor({.address = 0x11, .size = 0x12});
    platform().append_state = fake::AppendState{.position = 0x21, .size = 0x22};
    list().begin();
    add(1);
    EXPECT_EQ(tlv_cursor(), (TlvCursor{.address = 0x11, .size = 0x12}));
    list().end(route());
    EXPECT_EQ(tlv_cursor(), (TlvCursor{.address = 0x21, .size = 0x22}));
    list().begin();
    add(2);
    list().end(route());
    EXPECT_CALLS(appended(list().tlv_type, list_of(1), {.address = 0x11, .size = 0x12}),
                 appended(list().tlv_type, list_of(2), {.address = 0x21, .size = 0x22}));
}

TEST_P(ListTest, TheLongestListThatATlvHoldsIsAppendedWhole) {
    list().begin();
    add(list().most_in_a_tlv);
    list().end(route());
    EXPECT_CALLS(
        appended_cut(list().tlv_type, list().length_of_most, list_of(list().most_in_a_tlv)));
}

TEST_P(ListTest, OneEntryMoreLeavesTheLow16BitsOfTheLength) {
    list().begin();
    add(list().most_in_a_tlv + 1);
    list().end(route());
    EXPECT_CALLS(appended_cut(list().tlv_type, list().length_of_one_more,
                              list_of(list().most_in_a_tlv + 1)));
    EXPECT_EQ(scratch(), patched(before_, 0, list_of(list().most_in_a_tlv + 1)));
}

TEST_F(ScratchTest, TheThreeListsOfARouteAreBuiltOneAfterTheOtherInAnyOrder) {
    for (const auto order : {0, 1, 2}) {
        for (const auto step : {0, 1, 2}) {
            const auto &list = list_kinds[(order + step) % 3];
            SCOPED_TRACE(list.name);
            list.begin();
            list.add(4);
            list.end(route());
            EXPECT_CALLS(appended(list.tlv_type, word(1) + list.entry(4)));
        }
    }
}

class RouteSizeTest : public ScratchTest {};

TEST_F(RouteSizeTest, IsTheArraysSizePlus44) {
    for (const std::size_t offset : {0U, 1U, 2U, 3U}) {
        buffer_ = RouteBuffer(offset);
        platform().size_get.returns(0x14131211);
        EXPECT_EQ(vell_mrib_get_route_size(route()), 0x14131211U + 44U);
        EXPECT_CALLS(fake::SizeGet{array(), 0});
        EXPECT_EQ(buffer_.now(), buffer_.started_with(0, {}));
    }
}

TEST_F(RouteSizeTest, Is44WithoutLists) {
    EXPECT_EQ(vell_mrib_get_route_size(route()), 44U);
    EXPECT_CALLS(fake::SizeGet{array(), 0});
}

TEST_F(RouteSizeTest, WrapsAt32Bits) {
    platform().size_get.returns(0xffffffff);
    EXPECT_EQ(vell_mrib_get_route_size(route()), 43U);
    EXPECT_CALLS(fake::SizeGet{array(), 0});
}

TEST(MaxRouteSizeTest, Is56ForNoEntriesAnd140ForOneOfEach) {
    EXPECT_EQ(vell_mrib_get_max_route_size(0, 0, 0), 56U);
    EXPECT_EQ(vell_mrib_get_max_route_size(1, 1, 1), 140U);
}

TEST(MaxRouteSizeTest, CountsEachListsEntries) {
    EXPECT_EQ(vell_mrib_get_max_route_size(1, 0, 0), 64U);
    EXPECT_EQ(vell_mrib_get_max_route_size(0, 1, 0), 72U);
    EXPECT_EQ(vell_mrib_get_max_route_size(0, 0, 1), 116U);
    EXPECT_EQ(vell_mrib_get_max_route_size(1000, 200, 30), 8000U + 3200U + 1800U + 56U);
}

TEST(MaxRouteSizeTest, WrapsAt32Bits) {
    EXPECT_EQ(vell_mrib_get_max_route_size(0x20000000, 0, 0), 56U);
    EXPECT_EQ(vell_mrib_get_max_route_size(0, 0x10000000, 0), 56U);
    EXPECT_EQ(vell_mrib_get_max_route_size(0, 0, 0x40000000), 56U);
    EXPECT_EQ(vell_mrib_get_max_route_size(0xffffffff, 0, 0), 48U);
    EXPECT_EQ(vell_mrib_get_max_route_size(0, 0xffffffff, 0), 40U);
    EXPECT_EQ(vell_mrib_get_max_route_size(0, 0, 0xffffffff), 0xfffffffcU);
    EXPECT_EQ(vell_mrib_get_max_route_size(0xffffffff, 0xffffffff, 0xffffffff), 0xffffffe4U);
}

} // namespace
