#include "sim/switch/route.h"
#include "tests/switch/route_bytes.h"

#include <gtest/gtest.h>

namespace {

std::string refusal_of_message(const bytes &sent) {
    return refusal_of([&] { sim::decode_route_message(sent); });
}

struct refused_patch {
    const char *name;
    std::size_t offset;
    std::vector<int> values;
    const char *refusal;
};

void PrintTo(const refused_patch &patch, std::ostream *out) {
    *out << patch.name;
}

std::string test_name(const testing::TestParamInfo<refused_patch> &info) {
    return info.param.name;
}

class RouteRefusal : public testing::TestWithParam<refused_patch> {};
class RoleRefusal : public testing::TestWithParam<refused_patch> {};

} // namespace

TEST_P(RouteRefusal, NamesOffsetAndReason) {
    EXPECT_EQ(refusal_of_message(patched(two_routes(), GetParam().offset, GetParam().values)),
              GetParam().refusal);
}

INSTANTIATE_TEST_SUITE_P(
    Patched, RouteRefusal,
    testing::Values(
        refused_patch{
            "CountTooSmall", 2, {1}, "offset 168: 44 bytes follow the last of 1 route records"},
        refused_patch{
            "CountZero", 2, {0}, "offset 8: 204 bytes follow the last of 0 route records"},
        refused_patch{
            "CountTooLarge",
            2,
            {3},
            "offset 212: the message has 0 bytes left here, route record 3 of 3 needs 44 or more"},
        refused_patch{"CountHuge",
                      2,
                      {0xff, 0xff},
                      "offset 212: the message has 0 bytes left here, route record 3 of 65535 "
                      "needs 44 or more"},
        refused_patch{"OpcodeZero",
                      8,
                      {0},
                      "offset 8: route opcode 0 is not 1 (add), 2 (delete) or 23 (dux role)"},
        refused_patch{"OpcodeOfSecondRecord",
                      168,
                      {3},
                      "offset 168: route opcode 3 is not 1 (add), 2 (delete) or 23 (dux role)"},
        refused_patch{
            "SourcePrefixLength", 20, {33}, "offset 20: source prefix length 33 is above 32"},
        refused_patch{
            "GroupPrefixLength", 181, {255}, "offset 181: group prefix length 255 is above 32"},
        refused_patch{"GroupBelowMulticast",
                      35,
                      {0xdf},
                      "offset 32: group 223.12.13.14 is not multicast (224.0.0.0/4)"},
        refused_patch{"GroupAboveMulticastInDelete",
                      195,
                      {0xf0},
                      "offset 192: group 240.43.42.41 is not multicast (224.0.0.0/4)"},
        refused_patch{"TlvArrayBeyondMessage",
                      50,
                      {0x29},
                      "offset 52: the message has 160 bytes left here, TLV array needs 164"},
        refused_patch{"TlvCountTooSmall",
                      48,
                      {2},
                      "offset 144: 24 bytes follow the last of 2 TLVs in the TLV array"},
        refused_patch{"TlvCountTooLarge",
                      48,
                      {4},
                      "offset 168: the TLV array has 0 bytes left here, TLV type needs 2"},
        refused_patch{"TlvCountWithoutTlvs",
                      208,
                      {1},
                      "offset 212: the TLV array has 0 bytes left here, TLV type needs 2"},
        refused_patch{"TlvType",
                      76,
                      {3},
                      "offset 76: TLV type 3 is not 0 (OIF list), 1 (MTI list) or 2 (GLT list)"},
        refused_patch{"TlvTypeHighByte",
                      52,
                      {0, 1},
                      "offset 52: TLV type 256 is not 0 (OIF list), 1 (MTI list) or 2 (GLT list)"},
        refused_patch{"SecondGltList", 144, {2}, "offset 144: the record has a second GLT list"},
        refused_patch{"TlvLengthBeyondArray",
                      146,
                      {0x24},
                      "offset 148: the TLV array has 20 bytes left here, MTI list needs 36"},
        refused_patch{
            "TlvLengthBelowCount",
            54,
            {3},
            "offset 54: TLV length 3 of the OIF list is not 4 plus whole entries of 8 bytes"},
        refused_patch{
            "TlvLengthZero",
            54,
            {0},
            "offset 54: TLV length 0 of the OIF list is not 4 plus whole entries of 8 bytes"},
        refused_patch{
            "OifListLengthWithinEntry",
            54,
            {0x15},
            "offset 54: TLV length 21 of the OIF list is not 4 plus whole entries of 8 bytes"},
        refused_patch{
            "MtiListLengthWithinEntry",
            146,
            {0x0c},
            "offset 146: TLV length 12 of the MTI list is not 4 plus whole entries of 16 bytes"},
        refused_patch{
            "GltListLengthWithinEntry",
            78,
            {0x3c},
            "offset 78: TLV length 60 of the GLT list is not 4 plus whole entries of 60 bytes"}),
    test_name);

INSTANTIATE_TEST_SUITE_P(
    PatchedLists, RouteRefusal,
    testing::Values(
        refused_patch{"OifCountTooLarge",
                      56,
                      {9},
                      "offset 56: OIF list says 9 entries but its TLV has room for 2"},
        refused_patch{"OifCountTooSmall",
                      56,
                      {1},
                      "offset 56: OIF list says 1 entries but its TLV has room for 2"},
        refused_patch{"OifCountWraps",
                      56,
                      {0x02, 0, 0, 0x20},
                      "offset 56: OIF list says 536870914 entries but its TLV has room for 2"},
        refused_patch{
            "MtiCount", 148, {0}, "offset 148: MTI list says 0 entries but its TLV has room for 1"},
        refused_patch{
            "GltCount", 80, {2}, "offset 80: GLT list says 2 entries but its TLV has room for 1"},
        refused_patch{"OifKindTwo", 64, {2}, "offset 64: OIF kind 2 is not 0, 1, 4, 8 or 12"},
        refused_patch{
            "OifKindOfSecondEntry", 72, {1, 1}, "offset 72: OIF kind 257 is not 0, 1, 4, 8 or 12"},
        refused_patch{"GltDataLength", 136, {37}, "offset 136: GLT data length 37 is above 36"},
        refused_patch{"GltDataLengthHuge",
                      136,
                      {0xff, 0xff, 0xff, 0xff},
                      "offset 136: GLT data length 4294967295 is above 36"}),
    test_name);

TEST_P(RoleRefusal, NamesOffsetAndReason) {
    EXPECT_EQ(refusal_of_message(patched(role_update(), GetParam().offset, GetParam().values)),
              GetParam().refusal);
}

INSTANTIATE_TEST_SUITE_P(
    Patched, RoleRefusal,
    testing::Values(
        refused_patch{
            "TwoRoles", 14, {0x0c}, "offset 12: dux role flags 0xc0000: more than one role bit"},
        refused_patch{"NoneAndAnother",
                      15,
                      {0x02},
                      "offset 12: dux role flags 0x2080000: more than one role bit"},
        refused_patch{"OtherFlag",
                      12,
                      {0x80},
                      "offset 12: flags 0x80 in a dux role update, it takes role bits only"},
        refused_patch{"SourcePrefixLength",
                      20,
                      {1},
                      "offset 20: source prefix length is not 0 in a dux role update"},
        refused_patch{"GroupPrefixLength",
                      21,
                      {1},
                      "offset 21: group prefix length is not 0 in a dux role update"},
        refused_patch{"Epoch", 27, {1}, "offset 24: epoch is not 0 in a dux role update"},
        refused_patch{"Source", 28, {1}, "offset 28: source is not 0 in a dux role update"},
        refused_patch{"Group", 33, {1}, "offset 32: group is not 0 in a dux role update"},
        refused_patch{
            "RpfInterface", 36, {1}, "offset 36: RPF interface is not 0 in a dux role update"},
        refused_patch{"DfOrdinal", 40, {1}, "offset 40: DF ordinal is not 0 in a dux role update"},
        refused_patch{"Table", 47, {1}, "offset 44: table id is not 0 in a dux role update"}),
    test_name);

TEST(RoleUpdate, MayHoldAnythingInReservedBytes) {
    for (const std::size_t reserved : {1u, 6u, 7u, 9u, 10u, 11u, 22u, 23u, 41u, 42u, 43u}) {
        EXPECT_EQ(refusal_of_message(patched(role_update(), reserved, {0xd5})), "accepted")
            << reserved;
    }
}

TEST(RoleUpdate, IsRefusedWithAList) {
    const bytes with_list =
        message().add(cut(role_update(), 48)).u16(1).u16(2).u16(0).u16(4).u32(0);
    EXPECT_EQ(refusal_of_message(with_list),
              "offset 48: TLV array head is not 0 in a dux role update");
}

// Wherever the message ends, it is refused, at an offset within it.
TEST(RouteMessage, IsRefusedWhenCutAnywhere) {
    const bytes whole = two_routes();
    for (std::size_t size = 0; size < whole.size(); ++size) {
        const bytes shortened = cut(whole, size);
        try {
            sim::decode_route_message(shortened);
            ADD_FAILURE() << "accepted, cut to " << size;
        } catch (const sim::refusal &why) {
            EXPECT_LE(why.offset, size);
        }
    }
}

TEST(RouteMessage, NamesWhatTheCutMessageEndsIn) {
    EXPECT_EQ(refusal_of_message({}),
              "offset 0: the message has 0 bytes left here, client id needs 1");
    EXPECT_EQ(refusal_of_message(cut(two_routes(), 7)),
              "offset 6: the message has 1 bytes left here, reserved needs 2");
    EXPECT_EQ(refusal_of_message(cut(two_routes(), 51)),
              "offset 8: the message has 43 bytes left here, route record 1 of 2 needs 44 or more");
    EXPECT_EQ(refusal_of_message(cut(two_routes(), 167)),
              "offset 52: the message has 115 bytes left here, TLV array needs 116");
}

TEST(RouteMessage, IsRefusedWithBytesBehindTheLastRecord) {
    EXPECT_EQ(refusal_of_message(cut(two_routes(), 213)),
              "offset 212: 1 bytes follow the last of 2 route records");
}

// An OIF list too long for the 16 bits of its TLV's length: its count shows it.
TEST(RouteMessage, IsRefusedWhenAListsLengthWasCut) {
    const bytes head = cut(patched(two_routes(), 2, {1}), 48);
    const bytes wrapped = message().add(head).u16(1).u16(2).u16(0).u16(4).u32(8192);
    EXPECT_EQ(refusal_of_message(wrapped),
              "offset 56: OIF list says 8192 entries but its TLV has room for 0");
}
