// The named flags of a route record. The masks stand here a second time, by hand.
#include "library_test.h"
#include "route_buffer.h"

#include <iterator>

namespace {

struct Setter {
    const char *name;
    std::uint64_t mask;
    void (*set)(vell_mrib_route *);
    std::uint64_t constant;
};

const Setter setters[] = {
    {"direct", 0x1, vell_mrib_set_flags_direct, vell_mrib_flag_direct},
    {"local_addr", 0x2, vell_mrib_set_flags_local_addr, vell_mrib_flag_local_addr},
    {"drop_route", 0x4, vell_mrib_set_flags_drop_route, vell_mrib_flag_drop_route},
    {"local_group", 0x8, vell_mrib_set_flags_local_group, vell_mrib_flag_local_group},
    {"count_pfx", 0x10, vell_mrib_set_flags_count_pfx, vell_mrib_flag_count_pfx},
    {"set_df_bits", 0x20, vell_mrib_set_flags_set_df_bits, vell_mrib_flag_set_df_bits},
    {"rpf_only", 0x40, vell_mrib_set_flags_rpf_only, vell_mrib_flag_rpf_only},
    {"download", 0x80, vell_mrib_set_flags_download, vell_mrib_flag_download},
    {"download_done", 0x100, vell_mrib_set_flags_download_done, vell_mrib_flag_download_done},
    {"come_up_route", 0x200, vell_mrib_set_flags_come_up_route, vell_mrib_flag_come_up_route},
    {"drop_on_rpf_fail", 0x400, vell_mrib_set_flags_drop_on_rpf_fail,
     vell_mrib_flag_drop_on_rpf_fail},
    {"wildcard_route", 0x800, vell_mrib_set_flags_wildcard_route, vell_mrib_flag_wildcard_route},
    {"overlay_decap", 0x1000, vell_mrib_set_flags_overlay_decap, vell_mrib_flag_overlay_decap},
    {"decap", 0x1000, vell_mrib_set_flags_decap, vell_mrib_flag_decap},
    {"svrf_download", 0x2000, vell_mrib_set_flags_svrf_download, vell_mrib_flag_svrf_download},
    {"non_rpf_check", 0x8000, vell_mrib_set_flags_non_rpf_check, vell_mrib_flag_non_rpf_check},
    {"even_route", 0x10000, vell_mrib_set_flags_even_route, vell_mrib_flag_even_route},
    {"odd_route", 0x20000, vell_mrib_set_flags_odd_route, vell_mrib_flag_odd_route},
    {"dux_forward_all", 0x40000, vell_mrib_set_flags_dux_forward_all,
     vell_mrib_flag_dux_forward_all},
    {"dux_forward_even", 0x80000, vell_mrib_set_flags_dux_forward_even,
     vell_mrib_flag_dux_forward_even},
    {"dux_forward_odd", 0x100000, vell_mrib_set_flags_dux_forward_odd,
     vell_mrib_flag_dux_forward_odd},
    {"dux_src_rp_l3", 0x200000, vell_mrib_set_flags_dux_src_rp_l3, vell_mrib_flag_dux_src_rp_l3},
    {"dux_none_forwarder", 0x400000, vell_mrib_set_flags_dux_none_forwarder,
     vell_mrib_flag_dux_none_forwarder},
    {"dux_rpf_is_svi", 0x800000, vell_mrib_set_flags_dux_rpf_is_svi, vell_mrib_flag_dux_rpf_is_svi},
    {"dux_l3src_behind_peer", 0x1000000, vell_mrib_set_flags_dux_l3src_behind_peer,
     vell_mrib_flag_dux_l3src_behind_peer},
    {"dux_forward_none", 0x2000000, vell_mrib_set_flags_dux_forward_none,
     vell_mrib_flag_dux_forward_none},
};
static_assert(std::size(setters) == 26);

struct Tester {
    const char *name;
    std::uint64_t mask;
    int (*is)(const vell_mrib_route *);
};

const Tester testers[] = {
    {"direct", 0x1, vell_mrib_is_flags_direct},
    {"local_addr", 0x2, vell_mrib_is_flags_local_addr},
    {"drop_route", 0x4, vell_mrib_is_flags_drop_route},
    {"local_group", 0x8, vell_mrib_is_flags_local_group},
    {"count_pfx", 0x10, vell_mrib_is_flags_count_pfx},
    {"set_df_bits", 0x20, vell_mrib_is_flags_set_df_bits},
    {"rpf_only", 0x40, vell_mrib_is_flags_rpf_only},
    {"download", 0x80, vell_mrib_is_flags_download},
    {"download_done", 0x100, vell_mrib_is_flags_download_done},
    {"come_up_route", 0x200, vell_mrib_is_flags_come_up_route},
    {"drop_on_rpf_fail", 0x400, vell_mrib_is_flags_drop_on_rpf_fail},
    {"wildcard_route", 0x800, vell_mrib_is_flags_wildcard_route},
    {"overlay_decap", 0x1000, vell_mrib_is_flags_overlay_decap},
    {"decap", 0x1000, vell_mrib_is_flags_decap},
    {"svrf_download", 0x2000, vell_mrib_is_flags_svrf_download},
    {"non_rpf_check", 0x8000, vell_mrib_is_flags_non_rpf_check},
    {"even_route", 0x10000, vell_mrib_is_flags_even_route},
    {"odd_route", 0x20000, vell_mrib_is_flags_odd_route},
    {"dux_forward_all", 0x40000, vell_mrib_is_flags_dux_forward_all},
    {"dux_forward_even", 0x80000, vell_mrib_is_flags_dux_forward_even},
    {"dux_forward_odd", 0x100000, vell_mrib_is_flags_dux_forward_odd},
    {"dux_src_rp_l3", 0x200000, vell_mrib_is_flags_dux_src_rp_l3},
    {"dux_none_forwarder", 0x400000, vell_mrib_is_flags_dux_none_forwarder},
    {"dux_rpf_check", 0x800000, vell_mrib_is_flags_dux_rpf_check},
    {"dux_l3src_behind_peer", 0x1000000, vell_mrib_is_flags_dux_l3src_behind_peer},
};
static_assert(std::size(testers) == 25);

constexpr std::uint64_t all_ones = 0xffffffffffffffff;
constexpr std::uint64_t unnamed_bit = 0x10000000000; // 1 << 40

bytes long_word(std::uint64_t number) {
    return word(static_cast<std::uint32_t>(number)) +
           word(static_cast<std::uint32_t>(number >> 32));
}

// The record at an aligned and at odd addresses.
class RouteFlagsTest : public LibraryTest, public testing::WithParamInterface<std::size_t> {
protected:
    void start_with(std::uint64_t flags) {
        buffer_.restore();
        buffer_.put(4, long_word(flags));
    }

    void expect_flags(std::uint64_t flags) {
        EXPECT_EQ(buffer_.now(), buffer_.started_with(4, long_word(flags)));
    }

    vell_mrib_route *route() { return buffer_.route(); }

    RouteBuffer buffer_{GetParam()};
};
INSTANTIATE_TEST_SUITE_P(At, RouteFlagsTest, testing::Values(0U, 1U, 3U),
                         testing::PrintToStringParamName());

TEST_P(RouteFlagsTest, EverySetterAddsItsOwnBitAndLeavesAllOthers) {
    for (const auto &setter : setters) {
        SCOPED_TRACE(setter.name);
        for (const auto before :
             {std::uint64_t{0}, all_ones, unnamed_bit, all_ones & ~setter.mask}) {
            start_with(before);
            setter.set(route());
            expect_flags(before | setter.mask);
        }
    }
}

TEST_P(RouteFlagsTest, EverySetterMayBeCalledTwice) {
    for (const auto &setter : setters) {
        SCOPED_TRACE(setter.name);
        start_with(unnamed_bit);
        setter.set(route());
        setter.set(route());
        expect_flags(unnamed_bit | setter.mask);
    }
}

TEST_P(RouteFlagsTest, EveryTesterReturns1ForItsOwnBitAnd0ForEachOther) {
    for (const auto &tester : testers) {
        SCOPED_TRACE(tester.name);
        for (int bit = 0; bit < 64; ++bit) {
            SCOPED_TRACE(bit);
            const auto flags = std::uint64_t{1} << bit;
            start_with(flags);
            EXPECT_EQ(tester.is(route()), flags == tester.mask ? 1 : 0);
            expect_flags(flags);
        }
    }
}

TEST_P(RouteFlagsTest, EveryTesterFindsItsBitAmongAllAndMissesItAmongTheOthers) {
    for (const auto &tester : testers) {
        SCOPED_TRACE(tester.name);
        start_with(all_ones);
        EXPECT_EQ(tester.is(route()), 1);
        start_with(all_ones & ~tester.mask);
        EXPECT_EQ(tester.is(route()), 0);
        start_with(0);
        EXPECT_EQ(tester.is(route()), 0);
    }
}

TEST_P(RouteFlagsTest, AllSettersTogetherSetTheNamedBits) {
    start_with(0);
    for (const auto &setter : setters)
        setter.set(route());
    expect_flags(0x3ffbfff);
    for (const auto &tester : testers)
        EXPECT_EQ(tester.is(route()), 1) << tester.name;
}

TEST_P(RouteFlagsTest, TheUnnamedBit40LeavesEveryTesterAt0) {
    vell_mrib_set_flags(route(), std::uint64_t{1} << 40);
    expect_flags(unnamed_bit);
    for (const auto &tester : testers)
        EXPECT_EQ(tester.is(route()), 0) << tester.name;
}

TEST_P(RouteFlagsTest, DecapIsReadAsOverlayDecapAndTheOtherWayRound) {
    start_with(0);
    vell_mrib_set_flags_decap(route());
    EXPECT_EQ(vell_mrib_is_flags_overlay_decap(route()), 1);
    start_with(0);
    vell_mrib_set_flags_overlay_decap(route());
    EXPECT_EQ(vell_mrib_is_flags_decap(route()), 1);
}

TEST_P(RouteFlagsTest, DuxRpfIsSviIsTestedAsDuxRpfCheck) {
    start_with(0);
    EXPECT_EQ(vell_mrib_is_flags_dux_rpf_check(route()), 0);
    vell_mrib_set_flags_dux_rpf_is_svi(route());
    EXPECT_EQ(vell_mrib_is_flags_dux_rpf_check(route()), 1);
}

TEST(RouteFlagConstantsTest, AreTheMasksOfTheSetters) {
    for (const auto &setter : setters)
        EXPECT_EQ(setter.constant, setter.mask) << setter.name;
}

} // namespace
