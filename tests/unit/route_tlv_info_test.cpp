// Reading the lists' entry counts back out of a route.
#include "library_test.h"
#include "route_buffer.h"

#include <initializer_list>
#include <ostream>
#include <vector>

namespace {

using fake::platform;
using fake::Tlv;

struct Counts {
    std::uint32_t oif = 0x11111111;
    std::uint32_t mti = 0x22222222;
    std::uint32_t glt = 0x33333333;

    bool operator==(const Counts &) const = default;
};

std::ostream &operator<<(std::ostream &out, const Counts &counts) {
    return out << "oif " << counts.oif << ", mti " << counts.mti << ", glt " << counts.glt;
}

constexpr Counts no_counts = {.oif = 0, .mti = 0, .glt = 0};

// A list's TLV as the walk sees it: the entry count, then bytes that must not matter.
Tlv list_tlv(std::uint16_t type, std::uint32_t count) {
    return {.type = type,
            .length = 12,
            .value = word(count) + bytes{0xee, 0xee, 0xee, 0xee, 0xee, 0xee, 0xee, 0xee}};
}

class TlvInfoTest : public LibraryTest {
protected:
    std::uint32_t read() {
        counts_ = Counts{};
        return vell_mrib_get_mroute_tlv_info(buffer_.route(), &counts_.oif, &counts_.mti,
                                             &counts_.glt);
    }

    const void *array() { return reinterpret_cast<const std::uint8_t *>(buffer_.route()) + 40; }

    fake::NumTlvs number_asked() { return {array(), 0}; }

    // The number is asked for before each of `reads` reads, which carry the cursor on.
    void expect_reads(unsigned reads, bool ended_by_number) {
        const auto calls = fake::take_calls();
        ASSERT_EQ(calls.size(), 2 * reads + (ended_by_number ? 1 : 0));
        for (unsigned i = 0; i < reads; ++i) {
            SCOPED_TRACE(i);
            ASSERT_EQ(calls[2 * i], fake::Call(number_asked()));
            const auto &next = std::get<fake::NextTlv>(calls[2 * i + 1]);
            ASSERT_EQ(next.array, array());
            ASSERT_EQ(next.reserved, 0U);
            ASSERT_EQ(next.cursor_was, i == 0 ? 0 : fake::cursor_behind(i - 1));
            ASSERT_EQ(next.value_was == nullptr, i == 0);
        }
        if (ended_by_number) {
            EXPECT_EQ(calls.back(), fake::Call(number_asked()));
        }
    }

    RouteBuffer buffer_{0};
    Counts counts_;
};

TEST_F(TlvInfoTest, OfANullRouteIs0AndLeavesTheOutputsAlone) {
    EXPECT_EQ(vell_mrib_get_mroute_tlv_info(nullptr, &counts_.oif, &counts_.mti, &counts_.glt), 0U);
    EXPECT_EQ(counts_, Counts{});
    EXPECT_NO_CALLS();
}

TEST_F(TlvInfoTest, OfARouteWithoutListsIs0WithAllCounts0) {
    EXPECT_EQ(read(), 0U);
    EXPECT_EQ(counts_, no_counts);
    EXPECT_CALLS(number_asked());
}

TEST_F(TlvInfoTest, OfAnOifAndAGltListIs2WithAnMtiCountOf0) {
    platform().holds_tlvs({list_tlv(0, 0x14131211), list_tlv(2, 0xf4232221)});
    EXPECT_EQ(read(), 2U);
    EXPECT_EQ(counts_, (Counts{.oif = 0x14131211, .mti = 0, .glt = 0xf4232221}));
    expect_reads(2, true);
}

TEST_F(TlvInfoTest, ReadsTheThreeListsInAnyOrder) {
    platform().holds_tlvs({list_tlv(2, 30), list_tlv(1, 20), list_tlv(0, 10)});
    EXPECT_EQ(read(), 3U);
    EXPECT_EQ(counts_, (Counts{.oif = 10, .mti = 20, .glt = 30}));
    expect_reads(3, true);
}

TEST_F(TlvInfoTest, StoresNothingButTheCountOfItsKind) {
    platform().holds_tlvs({list_tlv(1, 20)});
    EXPECT_EQ(read(), 1U);
    EXPECT_EQ(counts_, (Counts{.oif = 0, .mti = 20, .glt = 0}));
    expect_reads(1, true);
}

TEST_F(TlvInfoTest, ReadsRoutesAtOddAddressesAndTouchesNothingOfThem) {
    for (const std::size_t offset : {1U, 2U, 3U}) {
        buffer_ = RouteBuffer(offset);
        platform().holds_tlvs({list_tlv(0, 10)});
        EXPECT_EQ(read(), 1U);
        EXPECT_EQ(counts_, (Counts{.oif = 10, .mti = 0, .glt = 0}));
        EXPECT_EQ(buffer_.now(), buffer_.started_with(0, {}));
        expect_reads(1, true);
    }
}

TEST_F(TlvInfoTest, TakesTheLastListOfAKind) {
    platform().holds_tlvs({list_tlv(0, 10), list_tlv(1, 20), list_tlv(0, 11), list_tlv(0, 12)});
    EXPECT_EQ(read(), 4U);
    EXPECT_EQ(counts_, (Counts{.oif = 12, .mti = 20, .glt = 0}));
    expect_reads(4, true);
}

TEST_F(TlvInfoTest, TakesALaterCountOf0) {
    platform().holds_tlvs({list_tlv(0, 10), list_tlv(0, 0)});
    EXPECT_EQ(read(), 2U);
    EXPECT_EQ(counts_, no_counts);
    expect_reads(2, true);
}

TEST_F(TlvInfoTest, OfATlvOfType3FirstIs3WithAllCounts0) {
    platform().holds_tlvs({list_tlv(3, 99), list_tlv(0, 10)});
    EXPECT_EQ(read(), 3U);
    EXPECT_EQ(counts_, no_counts);
    expect_reads(1, false);
}

TEST_F(TlvInfoTest, EndsAtAnUnknownTypeAndTheCountsUntilThenStand) {
    for (const auto type :
         std::initializer_list<std::uint16_t>{3, 4, 255, 256, 258, 32768, 65535}) {
        SCOPED_TRACE(type);
        platform().holds_tlvs(
            {list_tlv(0, 10), list_tlv(2, 30), list_tlv(type, 99), list_tlv(1, 20)});
        EXPECT_EQ(read(), type);
        EXPECT_EQ(counts_, (Counts{.oif = 10, .mti = 0, .glt = 30}));
        expect_reads(3, false);
    }
}

TEST_F(TlvInfoTest, ReturnsTheStatusOfATlvThatCannotBeReadAndTheCountsUntilThenStand) {
    for (const auto status : {1U, 0x80000000U, 0xffffffffU}) {
        SCOPED_TRACE(status);
        fake::reset_platform();
        platform().holds_tlvs({list_tlv(0, 10), list_tlv(1, 20), list_tlv(2, 30)});
        platform().next_tlv.returns_at(3, status);
        EXPECT_EQ(read(), status);
        EXPECT_EQ(counts_, (Counts{.oif = 10, .mti = 20, .glt = 0}));
        expect_reads(3, false);
    }
}

TEST_F(TlvInfoTest, ClearsTheCountsEvenWhenTheFirstTlvCannotBeRead) {
    platform().holds_tlvs({list_tlv(0, 10)});
    platform().next_tlv.returns(77);
    EXPECT_EQ(read(), 77U);
    EXPECT_EQ(counts_, no_counts);
    expect_reads(1, false);
}

TEST_F(TlvInfoTest, ReturnsANegativeNumberOfTlvsAsItIsAndReadsNone) {
    platform().holds_tlvs({list_tlv(0, 10)});
    for (const std::int32_t number : {-1, -5, -2147483647 - 1}) {
        platform().num_tlvs.returns(number);
        EXPECT_EQ(read(), static_cast<std::uint32_t>(number));
        EXPECT_EQ(counts_, no_counts);
        EXPECT_CALLS(number_asked());
    }
}

TEST_F(TlvInfoTest, StopsWhenTheNumberShrinksAndReturnsTheNumberLastReported) {
    platform().holds_tlvs({list_tlv(0, 10), list_tlv(1, 20), list_tlv(2, 30)});
    platform().num_tlvs.returns_at(2, 1);
    EXPECT_EQ(read(), 1U);
    EXPECT_EQ(counts_, (Counts{.oif = 10, .mti = 0, .glt = 0}));
    expect_reads(1, true);
}

TEST_F(TlvInfoTest, StopsWhenTheNumberTurnsNegative) {
    platform().holds_tlvs({list_tlv(0, 10), list_tlv(1, 20)});
    platform().num_tlvs.returns_at(2, -7);
    EXPECT_EQ(read(), 0xfffffff9U);
    EXPECT_EQ(counts_, (Counts{.oif = 10, .mti = 0, .glt = 0}));
    expect_reads(1, true);
}

TEST_F(TlvInfoTest, ReadsOnWhenTheNumberGrows) {
    platform().holds_tlvs({list_tlv(0, 10), list_tlv(1, 20), list_tlv(2, 30)});
    platform().num_tlvs.returns_at(1, 1);
    platform().num_tlvs.returns_at(2, 2);
    EXPECT_EQ(read(), 3U);
    EXPECT_EQ(counts_, (Counts{.oif = 10, .mti = 20, .glt = 30}));
    expect_reads(3, true);
}

// OIF lists, each with one entry more than the one before.
std::vector<Tlv> many_tlvs(std::size_t number) {
    std::vector<Tlv> tlvs;
    for (std::size_t i = 0; i < number; ++i)
        tlvs.push_back(list_tlv(0, static_cast<std::uint32_t>(1000 + i)));
    return tlvs;
}

TEST_F(TlvInfoTest, Reads255Tlvs) {
    platform().holds_tlvs(many_tlvs(255));
    EXPECT_EQ(read(), 255U);
    EXPECT_EQ(counts_.oif, 1254U);
    expect_reads(255, true);
}

TEST_F(TlvInfoTest, NeverCountsUpTo256TlvsAndReadsOnUntilTheReadFails) {
    platform().holds_tlvs(many_tlvs(256));
    EXPECT_EQ(read(), fake::no_more_tlvs);
    EXPECT_EQ(counts_.oif, 1255U);
    expect_reads(257, false);
}

TEST_F(TlvInfoTest, Of300TlvsReadsOnUntilThe400thReadFails) {
    platform().holds_tlvs(many_tlvs(500));
    platform().num_tlvs.returns(300);
    platform().next_tlv.returns_at(400, 78);
    EXPECT_EQ(read(), 78U);
    EXPECT_EQ(counts_.oif, 1398U);
    expect_reads(400, false);
}

TEST_F(TlvInfoTest, CountsFrom0AgainAfter256Reads) {
    platform().holds_tlvs(many_tlvs(500));
    platform().num_tlvs.returns(300);
    for (unsigned call = 257; call <= 300; ++call)
        platform().num_tlvs.returns_at(call, 2);
    EXPECT_EQ(read(), 2U);
    EXPECT_EQ(counts_.oif, 1257U);
    expect_reads(258, true);
}

} // namespace
