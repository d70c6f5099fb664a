#include "sim/switch/l2.h"
#include "tests/switch/l2_bytes.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using sim::decode_l2_message;
using sim::l2_oif_kind;
using sim::l2_record;
using testing::ElementsAre;
using testing::Pair;

namespace {

l2_record only_record(const bytes &record) {
    const sim::l2_message decoded = decode_l2_message(joined({l2_header(7, 1), record}));
    EXPECT_EQ(decoded.records.size(), 1u);
    return decoded.records.at(0);
}

std::string refusal_of_message(const bytes &sent) {
    return refusal_of([&] { decode_l2_message(sent); });
}

} // namespace

TEST(L2Message, HasAHeader) {
    const sim::l2_message decoded = decode_l2_message(l2_header(0xc3, 0));
    EXPECT_EQ(decoded.client_id, 0xc3);
    EXPECT_TRUE(decoded.records.empty());
}

TEST(L2Message, CarriesPairsWithTwoWords) {
    for (const int type : {8, 9}) {
        const l2_record record = only_record(pairs_record(type));
        EXPECT_EQ(record.type, type);
        EXPECT_THAT(record.words, ElementsAre(0x11121314u, 0x15161718u));
        EXPECT_THAT(record.pairs,
                    ElementsAre(Pair(0x21222324u, 0x25262728u), Pair(0x292a2b2cu, 0x2d2e2f30u)));
        EXPECT_TRUE(record.oifs.empty());
    }
}

TEST(L2Message, CarriesBarePairs) {
    for (const int type : {10, 11}) {
        const l2_record record = only_record(bare_pairs_record(type));
        EXPECT_EQ(record.type, type);
        EXPECT_TRUE(record.words.empty());
        EXPECT_THAT(record.pairs, ElementsAre(Pair(0x31323334u, 0x35363738u)));
    }
}

TEST(L2Message, CarriesFloodLists) {
    for (const int type : {12, 13, 14, 15}) {
        const l2_record record = only_record(flood_record(type));
        EXPECT_EQ(record.type, type);
        EXPECT_EQ(record.vlan, 300);
        EXPECT_THAT(record.words, ElementsAre(0x41424344u, 0x45464748u, 0x494a4b4cu));
        EXPECT_EQ(record.flags, 0x4d4e);
        EXPECT_EQ(address_text(record.addresses[0]), "10.81.82.83");
        EXPECT_EQ(address_text(record.addresses[1]), "54:55:56:57:58:59");
        ASSERT_EQ(record.oifs.size(), 3u);
        EXPECT_EQ(record.oifs[0].kind, l2_oif_kind::plain);
        EXPECT_EQ(record.oifs[0].flags, 0x61u);
        EXPECT_THAT(record.oifs[0].words, ElementsAre(0x62636465u, 0x66676869u));
        EXPECT_EQ(record.oifs[0].if_index, 0u);
        EXPECT_EQ(record.oifs[1].kind, l2_oif_kind::ipv6);
        EXPECT_EQ(record.oifs[1].flags, 4u);
        EXPECT_THAT(record.oifs[1].words, ElementsAre(0x6a6b6c6du, 0x6e6f7071u));
        EXPECT_THAT(record.oifs[1].ipv6,
                    ElementsAre(0xfe, 0x80, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x72, 0x73, 0x74, 0x75));
        EXPECT_EQ(record.oifs[2].kind, l2_oif_kind::if_index);
        EXPECT_EQ(record.oifs[2].flags, 0x7677u);
        EXPECT_THAT(record.oifs[2].words, ElementsAre(0x78797a7bu, 0x7c7d7e7fu));
        EXPECT_EQ(record.oifs[2].if_index, 0x80818283u);
    }
}

TEST(L2Message, CarriesLookupModes) {
    const l2_record record = only_record(lookup_mode_record());
    EXPECT_EQ(record.type, 18);
    EXPECT_THAT(record.words, ElementsAre(0x91929394u));
    EXPECT_THAT(record.pairs, ElementsAre(Pair(11u, 0x95969798u), Pair(10u, 0x999a9b9cu)));
}

TEST(L2Message, CarriesMbdEntries) {
    for (const int type : {21, 22}) {
        const l2_record record = only_record(mbd_record(type));
        EXPECT_EQ(record.type, type);
        EXPECT_EQ(record.vlan, 10);
        EXPECT_THAT(record.words, ElementsAre(0xa1a2a3a4u, 0u, 0u, 0u));
        EXPECT_EQ(record.flags, 1);
        EXPECT_EQ(address_text(record.addresses[0]), "239.4.5.6");
        EXPECT_EQ(address_text(record.addresses[1]), "10.1.2.3");
        ASSERT_EQ(record.oifs.size(), 2u);
        EXPECT_EQ(record.oifs[0].if_index, 9u);
        EXPECT_EQ(record.oifs[0].flags, 4u);
        EXPECT_EQ(record.oifs[1].if_index, 7u);
        EXPECT_EQ(record.oifs[1].flags, 0u);
    }
}

TEST(L2Message, CarriesGroupsOfEachKind) {
    const l2_record ipv6 =
        only_record(mbd_record({.kind = 8, .group = {0xff, 2, 0, 1}, .source = {0xfe, 0x80}}));
    EXPECT_EQ(address_text(ipv6.addresses[0]), "ff02:1::");
    EXPECT_EQ(address_text(ipv6.addresses[1]), "fe80::");
    const l2_record mac = only_record(mbd_record({.kind = 2, .group = {1, 0, 0x5e, 0x7f, 1, 2}}));
    EXPECT_EQ(address_text(mac.addresses[0]), "01:00:5e:7f:01:02");
    EXPECT_TRUE(is_zero(mac.addresses[1]));
}

TEST(L2Message, CarriesManyRecordsBackToBack) {
    const sim::l2_message decoded =
        decode_l2_message(joined({l2_header(0, 4), mbd_record(21), pairs_record(8),
                                  bare_pairs_record(11), flood_record(15)}));
    ASSERT_EQ(decoded.records.size(), 4u);
    EXPECT_EQ(decoded.records[0].type, 21);
    EXPECT_EQ(decoded.records[1].type, 8);
    EXPECT_EQ(decoded.records[2].type, 11);
    EXPECT_EQ(decoded.records[3].type, 15);
}

namespace {

// One byte string in a message of one record, and what is said of it.
struct refused_l2 {
    const char *name;
    bytes record;
    std::size_t offset; // in the message
    std::vector<int> values;
    const char *refusal;
};

void PrintTo(const refused_l2 &patch, std::ostream *out) {
    *out << patch.name;
}

std::string test_name(const testing::TestParamInfo<refused_l2> &info) {
    return info.param.name;
}

class L2Refusal : public testing::TestWithParam<refused_l2> {};

} // namespace

TEST_P(L2Refusal, NamesOffsetAndReason) {
    const refused_l2 &patch = GetParam();
    const bytes right = joined({l2_header(7, 1), patch.record});
    ASSERT_EQ(refusal_of_message(right), "accepted");
    EXPECT_EQ(refusal_of_message(patched(right, patch.offset, patch.values)), patch.refusal);
}

INSTANTIATE_TEST_SUITE_P(
    Patched, L2Refusal,
    testing::Values(
        refused_l2{"CountZero",
                   mbd_record(21),
                   3,
                   {0},
                   "offset 8: 144 bytes follow the last of 0 records"},
        refused_l2{"CountTooLarge",
                   mbd_record(21),
                   3,
                   {2},
                   "offset 152: the message has 0 bytes left here, record 2 of 2 needs 80 or more"},
        refused_l2{
            "CountHuge",
            mbd_record(21),
            2,
            {0xff, 0xff},
            "offset 152: the message has 0 bytes left here, record 2 of 65535 needs 80 or more"},
        refused_l2{"LengthInNetworkOrder",
                   mbd_record(21),
                   16,
                   {0, 0, 0, 0x90},
                   "offset 16: record length is 2415919104 (in host byte order), with 2 entries of "
                   "32 bytes it must be "
                   "144"},
        refused_l2{"LengthShort",
                   pairs_record(8),
                   16,
                   {88},
                   "offset 16: record length is 88 (in host byte order), with 2 entries of 8 bytes "
                   "it must be 96"},
        refused_l2{"LengthLong",
                   pairs_record(8),
                   16,
                   {104},
                   "offset 16: record length is 104 (in host byte order), with 2 entries of 8 "
                   "bytes it must be 96"},
        refused_l2{"LengthLongWithOifs",
                   mbd_record(21),
                   16,
                   {176},
                   "offset 16: record length is 176 (in host byte order), with 2 entries of 32 "
                   "bytes it must be 144"},
        refused_l2{"LengthHuge",
                   flood_record(12),
                   16,
                   {0xff, 0xff, 0xff, 0xff},
                   "offset 16: record length is 4294967295 (in host byte order), with 3 entries of "
                   "32 bytes it must be "
                   "176"},
        refused_l2{"EntryCountLow",
                   bare_pairs_record(10),
                   23,
                   {0},
                   "offset 16: record length is 88 (in host byte order), with 0 entries of 8 bytes "
                   "it must be 80"},
        refused_l2{"EntryCountHuge",
                   lookup_mode_record(),
                   24,
                   {0xff, 0xff, 0xff, 0xff},
                   "offset 16: record length is 96 (in host byte order), with 4294967295 entries "
                   "of 8 bytes it must be "
                   "34359738440"},
        refused_l2{"EntryCountHugeOfOifs",
                   mbd_record(21),
                   82,
                   {0xff, 0xff, 0xff, 0xff},
                   "offset 16: record length is 144 (in host byte order), with 4294967295 entries "
                   "of 32 bytes it must "
                   "be 137438953520"},
        refused_l2{"EntryCountHugeOfAFloodList",
                   flood_record(15),
                   78,
                   {0xff, 0xff, 0xff, 0xff},
                   "offset 16: record length is 176 (in host byte order), with 4294967295 entries "
                   "of 32 bytes it must "
                   "be 137438953520"},
        refused_l2{"EntryCountBeyondTheMessage",
                   pairs_record(9),
                   16,
                   {0x68, 0, 0, 0, 0x11, 0x12, 0x13, 0x14, 0, 0, 0, 3},
                   "offset 24: 3 entries make the record 104 bytes long, the message has 96 from "
                   "its start on"},
        refused_l2{"VlanZero", mbd_record(21), 35, {0}, "offset 32: VLAN id 0 is not 1 to 4094"},
        refused_l2{"VlanAbove",
                   mbd_record(22),
                   34,
                   {0x0f, 0xff},
                   "offset 32: VLAN id 4095 is not 1 to 4094"},
        refused_l2{"VlanOfFloodList",
                   flood_record(12),
                   32,
                   {1},
                   "offset 32: VLAN id 16777516 is not 1 to 4094"},
        refused_l2{"VlanOfALookupMode",
                   lookup_mode_record(),
                   38,
                   {0xff, 0xff},
                   "offset 36: VLAN id 65535 is not 1 to 4094"},
        refused_l2{
            "AddressKindOfBlock1",
            flood_record(13),
            41,
            {7},
            "offset 38: address family 7 of address block 1 is not 4 (IPv4), 8 (IPv6) or 2 (MAC)"},
        refused_l2{
            "AddressKindOfBlock2",
            flood_record(14),
            61,
            {0},
            "offset 58: address family 0 of address block 2 is not 4 (IPv4), 8 (IPv6) or 2 (MAC)"},
        refused_l2{"AddressKindInHostOrder",
                   mbd_record(21),
                   42,
                   {4, 0, 0, 0},
                   "offset 42: address family 67108864 of address block 1 is not 4 (IPv4), 8 "
                   "(IPv6) or 2 (MAC)"},
        refused_l2{
            "AddressKindOfSource",
            mbd_record(21),
            65,
            {3},
            "offset 62: address family 3 of address block 2 is not 4 (IPv4), 8 (IPv6) or 2 (MAC)"},
        refused_l2{"SourceOfAnotherKind",
                   mbd_record(21),
                   65,
                   {8},
                   "offset 62: source is of address family ipv6, its group of ipv4"},
        refused_l2{"GroupBelowMulticast",
                   mbd_record(21),
                   46,
                   {0xdf},
                   "offset 46: group 223.4.5.6 is not multicast"},
        refused_l2{"GroupAboveMulticast",
                   mbd_record(22),
                   46,
                   {0xf0},
                   "offset 46: group 240.4.5.6 is not multicast"},
        refused_l2{"Ipv6Group",
                   mbd_record({.kind = 8, .group = {0xff, 2}}),
                   46,
                   {0xfe},
                   "offset 46: group fe02:: is not multicast"},
        refused_l2{"MacGroup",
                   mbd_record({.kind = 2, .group = {1, 0, 0x5e, 1, 2, 3}}),
                   46,
                   {2},
                   "offset 46: group 02:00:5e:01:02:03 is not multicast"},
        refused_l2{"EntryKind",
                   flood_record(15),
                   149,
                   {3},
                   "offset 146: entry kind 3 is not 0, 1 (IPv6 address) or 2 (interface index)"},
        refused_l2{"EntryKindOfAPort",
                   mbd_record(21),
                   121,
                   {1},
                   "offset 118: entry kind 1 names no port, which takes 2 (interface index)"}),
    test_name);

// Counts of entries that are 2^32 bytes together, in records of the 80 bytes that this leaves of
// their length.
TEST(L2Message, IsRefusedWithCountsThatDoNotFitIntoALength) {
    const auto without_entries = [](const bytes &record, std::size_t count_at) {
        return patched(patched(cut(record, 80), 8, {80}), count_at, {0, 0, 0, 0});
    };
    struct wrapping {
        bytes record;
        std::size_t count_at; // in the message
        std::vector<int> count;
        const char *entries;
    };
    const std::vector<int> oifs = {0x08, 0, 0, 0};
    const std::vector<int> pairs = {0x20, 0, 0, 0};
    const wrapping all[] = {
        {mbd_record(test_mbd{}), 82, oifs, "134217728 entries of 32 bytes"},
        {mbd_record(test_mbd{.type = 22}), 82, oifs, "134217728 entries of 32 bytes"},
        {without_entries(flood_record(12), 70), 78, oifs, "134217728 entries of 32 bytes"},
        {without_entries(pairs_record(8), 16), 24, pairs, "536870912 entries of 8 bytes"},
        {without_entries(bare_pairs_record(11), 12), 20, pairs, "536870912 entries of 8 bytes"},
        {without_entries(lookup_mode_record(), 16), 24, pairs, "536870912 entries of 8 bytes"},
    };
    for (const wrapping &row : all) {
        const bytes right = joined({l2_header(7, 1), row.record});
        EXPECT_EQ(refusal_of_message(right), "accepted");
        EXPECT_EQ(refusal_of_message(patched(right, row.count_at, row.count)),
                  fmt::format("offset 16: record length is 80 (in host byte order), with {} it "
                              "must be 4294967376",
                              row.entries));
    }
}

TEST(L2Message, IsRefusedWithRecordsThatCannotBeConverted) {
    for (const int type : {0, 1, 7, 16, 17, 19, 20, 23, 255}) {
        EXPECT_EQ(refusal_of_message(joined(
                      {l2_header(7, 2), pairs_record(8), patched(pairs_record(8), 0, {type})})),
                  fmt::format("offset 104: record type {} is not convertible to network byte "
                              "order; 8 to 15, 18, 21 "
                              "and 22 are",
                              type));
    }
}

TEST(L2Message, IsRefusedWhereverItIsCut) {
    const bytes whole = joined({l2_header(7, 2), mbd_record(21), flood_record(12)});
    ASSERT_EQ(refusal_of_message(whole), "accepted");
    // The header; the 80 bytes that a record has at least, and the count of its entries; the same
    // of the second one.
    const auto said_of = [](std::size_t size) {
        if (size < 8) {
            return fmt::format("offset 0: the message has {} bytes left here, header needs 8",
                               size);
        }
        if (size < 88) {
            return fmt::format(
                "offset 8: the message has {} bytes left here, record 1 of 2 needs 80 or more",
                size - 8);
        }
        if (size < 152) {
            return fmt::format(
                "offset 82: 2 entries make the record 144 bytes long, the message has {} from its "
                "start on",
                size - 8);
        }
        if (size < 232) {
            return fmt::format(
                "offset 152: the message has {} bytes left here, record 2 of 2 needs 80 or more",
                size - 152);
        }
        return fmt::format("offset 222: 3 entries make the record 176 bytes long, the message has "
                           "{} from its start on",
                           size - 152);
    };
    for (std::size_t size = 0; size < whole.size(); ++size) {
        EXPECT_EQ(refusal_of_message(cut(whole, size)), said_of(size));
    }
    EXPECT_EQ(refusal_of_message(message().add(whole).fill(3, 0)),
              "offset 328: 3 bytes follow the last of 2 records");
}
