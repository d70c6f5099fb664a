#include "sim/switch/route.h"
#include "tests/switch/route_bytes.h"

#include <gtest/gtest.h>

namespace {

using words = std::array<std::uint32_t, 4>;

} // namespace

TEST(RouteMessage, HasItsHeadDecoded) {
    const sim::route_message decoded = sim::decode_route_message(two_routes());
    EXPECT_EQ(decoded.client_id, 0xc3);
    EXPECT_EQ(decoded.marker, 0x2435);
    EXPECT_EQ(decoded.records.size(), 2u);
    EXPECT_FALSE(sim::is_dux_role_update(decoded));
}

TEST(RouteMessage, HasARecordsFieldsDecoded) {
    const sim::route_record record = sim::decode_route_message(two_routes()).records.at(0);
    EXPECT_EQ(record.opcode, 1);
    EXPECT_EQ(record.flags, 0x0706050403201080u);
    EXPECT_EQ(record.key.source_length, 24);
    EXPECT_EQ(record.key.group_length, 31);
    EXPECT_EQ(record.epoch, 0x4d4c4b4au);
    EXPECT_EQ(record.key.source, 0x0a0b0809u);
    EXPECT_EQ(record.key.group, 0xef0c0d0eu);
    EXPECT_EQ(record.rpf_if, 0x54535251u);
    EXPECT_EQ(record.df_ordinal, 0x58);
    EXPECT_EQ(record.key.table, 0x5f5e5d5cu);
}

TEST(RouteMessage, HasTheSecondRecordDecodedBehindTheFirst) {
    const sim::route_record record = sim::decode_route_message(two_routes()).records.at(1);
    EXPECT_EQ(record.opcode, 2);
    EXPECT_EQ(record.flags, 0x1917161514131211u);
    EXPECT_EQ(record.key.source_length, 0);
    EXPECT_EQ(record.key.group_length, 32);
    EXPECT_EQ(record.epoch, 0x25232221u);
    EXPECT_EQ(record.key.source, 0u);
    EXPECT_EQ(record.key.group, 0xe22b2a29u);
    EXPECT_EQ(record.rpf_if, 0x2f2e2d2cu);
    EXPECT_EQ(record.df_ordinal, 0x30);
    EXPECT_EQ(record.key.table, 0x34333231u);
    EXPECT_TRUE(record.lists.oifs.empty());
    EXPECT_TRUE(record.lists.mti.empty());
    EXPECT_TRUE(record.lists.glt.empty());
}

TEST(RouteMessage, HasItsListsDecoded) {
    const sim::route_lists lists = sim::decode_route_message(two_routes()).records.at(0).lists;
    ASSERT_EQ(lists.oifs.size(), 2u);
    EXPECT_EQ(lists.oifs[0].if_index, 0x64636261u);
    EXPECT_EQ(lists.oifs[0].kind, 12u);
    EXPECT_EQ(lists.oifs[1].if_index, 0x68676665u);
    EXPECT_EQ(lists.oifs[1].kind, 1u);
    ASSERT_EQ(lists.mti.size(), 1u);
    EXPECT_EQ(lists.mti[0], (words{0x94939291, 0x98979695, 0x9c9b9a99, 0xaf9f9e9d}));
    ASSERT_EQ(lists.glt.size(), 1u);
    EXPECT_EQ(lists.glt[0].words, (words{0x74737271, 0x78777675, 0x7c7b7a79, 0x817f7e7d}));
    EXPECT_EQ(lists.glt[0].length, 3u);
    EXPECT_EQ(lists.glt[0].last, 0x85848382u);
    std::array<std::uint8_t, 36> data{0xa0, 0xa1, 0xa2};
    EXPECT_EQ(lists.glt[0].data, data) << "bytes after the data in use are not kept";
}

TEST(RouteMessage, MayHaveAllTheGltDataInUse) {
    const sim::route_lists lists =
        sim::decode_route_message(patched(two_routes(), 136, {36})).records.at(0).lists;
    EXPECT_EQ(lists.glt[0].data.front(), 0xa0);
    EXPECT_EQ(lists.glt[0].data.back(), 0xfc);
}

TEST(RouteMessage, MayHaveNoRecords) {
    const sim::route_message decoded =
        sim::decode_route_message(literal({0xc3, 0, 0, 0, 0x35, 0x24, 0, 0}));
    EXPECT_EQ(decoded.marker, 0x2435);
    EXPECT_TRUE(decoded.records.empty());
}

TEST(RouteMessage, MayHaveAGroupThatIsNotMulticastWhenItsPrefixLengthIs0) {
    const bytes any_group = patched(patched(two_routes(), 195, {0x0a}), 181, {0});
    EXPECT_EQ(sim::decode_route_message(any_group).records.at(1).key.group, 0x0a2b2a29u);
}

TEST(RouteMessage, AcceptsEveryOifKind) {
    for (const int kind : {0, 1, 4, 8, 12}) {
        const auto decoded = sim::decode_route_message(patched(two_routes(), 64, {kind}));
        EXPECT_EQ(decoded.records.at(0).lists.oifs.at(0).kind, static_cast<std::uint32_t>(kind));
    }
}

TEST(RouteMessage, MayHaveAListWithoutEntries) {
    const bytes empty_list =
        message().add(cut(patched(two_routes(), 2, {1}), 48)).u16(1).u16(2).u16(0).u16(4).u32(0);
    EXPECT_TRUE(sim::decode_route_message(empty_list).records.at(0).lists.oifs.empty());
}

TEST(RoleUpdate, IsRecognised) {
    const sim::route_message decoded = sim::decode_route_message(role_update());
    EXPECT_TRUE(sim::is_dux_role_update(decoded));
    EXPECT_EQ(decoded.records.at(0).flags, 0x80000u);
}

TEST(RoleUpdate, MayGiveNoRole) {
    const sim::route_message decoded = sim::decode_route_message(patched(role_update(), 14, {0}));
    EXPECT_TRUE(sim::is_dux_role_update(decoded));
    EXPECT_EQ(decoded.records.at(0).flags, 0u);
}

TEST(RoleUpdate, IsOneOnlyWithItsMarkerItsOpcodeAndOneRecord) {
    EXPECT_FALSE(
        sim::is_dux_role_update(sim::decode_route_message(patched(role_update(), 4, {0xa6}))));
    const bytes add = patched(patched(role_update(), 8, {1}), 35, {0xef});
    EXPECT_FALSE(sim::is_dux_role_update(sim::decode_route_message(add)));
    const bytes one = role_update();
    const bytes twice = message().add(patched(one, 2, {2})).add(bytes(one.begin() + 8, one.end()));
    EXPECT_FALSE(sim::is_dux_role_update(sim::decode_route_message(twice)));
}

TEST(RoleRecord, InARouteUpdateMayHaveOtherFields) {
    // Every reserved byte and field of the first record, under another marker, but one role bit at
    // most.
    const bytes role = patched(patched(two_routes(), 8, {23}), 12, {0x80, 0x10, 0x20, 0x02});
    EXPECT_EQ(sim::decode_route_message(role).records.at(0).opcode, 23);
}
