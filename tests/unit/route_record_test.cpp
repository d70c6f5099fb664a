// The fields of a route record: where each lies, and that nothing else is touched.
#include "library_test.h"
#include "route_buffer.h"

namespace {

// The record at aligned and odd addresses alike.
class RouteRecordTest : public LibraryTest, public testing::WithParamInterface<std::size_t> {
protected:
    void expect_only(std::size_t offset, const bytes &patch) {
        EXPECT_EQ(buffer_.now(), buffer_.started_with(offset, patch));
        buffer_.restore();
    }

    vell_mrib_route *route() { return buffer_.route(); }

    RouteBuffer buffer_{GetParam()};
};
INSTANTIATE_TEST_SUITE_P(At, RouteRecordTest, testing::Values(0U, 1U, 2U, 3U),
                         testing::PrintToStringParamName());

TEST_P(RouteRecordTest, TheOpcodeIsTheFirstByte) {
    vell_mrib_set_opcode(route(), 0x5c);
    expect_only(0, {0x5c});
}

TEST_P(RouteRecordTest, AnOpcodeOf0x117IsStoredAs0x17) {
    vell_mrib_set_opcode(route(), 0x117);
    expect_only(0, {0x17});
    vell_mrib_set_opcode(route(), 0xffffff00);
    expect_only(0, {0x00});
}

TEST_P(RouteRecordTest, TheFlagWordIsReplacedAsAWhole) {
    vell_mrib_set_flags(route(), 0x1827364554637281);
    expect_only(4, {0x81, 0x72, 0x63, 0x54, 0x45, 0x36, 0x27, 0x18});
}

TEST_P(RouteRecordTest, TheFlagWordIsClearedAsAWhole) {
    vell_mrib_set_flag_init(route());
    expect_only(4, {0, 0, 0, 0, 0, 0, 0, 0});
}

TEST_P(RouteRecordTest, TheSourceIsStoredWithItsMaskLengthAndNothingIsMasked) {
    vell_mrib_set_source(route(), 0x14131211, 0x1f);
    const auto with_address = buffer_.started_with(20, {0x11, 0x12, 0x13, 0x14});
    EXPECT_EQ(buffer_.now(), patched(with_address, 4 + GetParam() + 12, {0x1f}));
}

TEST_P(RouteRecordTest, TheGroupIsStoredWithItsMaskLengthAndNothingIsMasked) {
    vell_mrib_set_group(route(), 0xe4e3e2e1, 0xff);
    const auto with_address = buffer_.started_with(24, {0xe1, 0xe2, 0xe3, 0xe4});
    EXPECT_EQ(buffer_.now(), patched(with_address, 4 + GetParam() + 13, {0xff}));
}

TEST_P(RouteRecordTest, TheEpochIsAtOffset16) {
    vell_mrib_set_epoch(route(), 0x24232221);
    expect_only(16, {0x21, 0x22, 0x23, 0x24});
}

TEST_P(RouteRecordTest, TheRpfInterfaceIsAtOffset28) {
    vell_mrib_set_rpfif(route(), 0x34333231);
    expect_only(28, {0x31, 0x32, 0x33, 0x34});
}

TEST_P(RouteRecordTest, TheRpfInterfaceIsReadBackAndTheRecordStaysAsItIs) {
    buffer_.put(28, {0xf1, 0xf2, 0xf3, 0xf4});
    EXPECT_EQ(vell_mrib_get_rpfif(route()), 0xf4f3f2f1);
    expect_only(28, {0xf1, 0xf2, 0xf3, 0xf4});
}

TEST_P(RouteRecordTest, TheDfOrdinalIsOneByteAtOffset32) {
    vell_mrib_set_df_ordinal(route(), 0x5c);
    expect_only(32, {0x5c});
}

TEST_P(RouteRecordTest, ADfOrdinalOf0x1ffIsStoredAs0xffAndTheThreeBytesAfterItAreUntouched) {
    vell_mrib_set_df_ordinal(route(), 0x1ff);
    expect_only(32, {0xff});
    vell_mrib_set_df_ordinal(route(), 0xffffff00);
    expect_only(32, {0x00});
}

TEST_P(RouteRecordTest, TheTableIdIsAtOffset36) {
    vell_mrib_set_table_id(route(), 0x44434241);
    expect_only(36, {0x41, 0x42, 0x43, 0x44});
}

TEST_P(RouteRecordTest, ReservedBytesHoldWhatTheBufferHeldWhenAllFieldsAreFilled) {
    buffer_.put(1, {0xa1, 0xa2, 0xa3});
    buffer_.put(14, {0xa4, 0xa5});
    buffer_.put(33, {0xa6, 0xa7, 0xa8});

    vell_mrib_set_opcode(route(), 0x01);
    vell_mrib_set_flag_init(route());
    vell_mrib_set_flags_direct(route());
    vell_mrib_set_flags_dux_forward_none(route());
    vell_mrib_set_source(route(), 0x14131211, 0x20);
    vell_mrib_set_group(route(), 0x18171615, 0x1c);
    vell_mrib_set_epoch(route(), 0x24232221);
    vell_mrib_set_rpfif(route(), 0x34333231);
    vell_mrib_set_df_ordinal(route(), 0x38);
    vell_mrib_set_table_id(route(), 0x44434241);

    const bytes record = {
        0x01, 0xa1, 0xa2, 0xa3,                         // opcode
        0x01, 0x00, 0x00, 0x02, 0x00, 0x00, 0x00, 0x00, // flags
        0x20, 0x1c, 0xa4, 0xa5,                         // source and group length
        0x21, 0x22, 0x23, 0x24,                         // epoch
        0x11, 0x12, 0x13, 0x14,                         // source
        0x15, 0x16, 0x17, 0x18,                         // group
        0x31, 0x32, 0x33, 0x34,                         // RPF interface
        0x38, 0xa6, 0xa7, 0xa8,                         // DF ordinal
        0x41, 0x42, 0x43, 0x44,                         // table id
    };
    ASSERT_EQ(record.size(), 40U);
    expect_only(0, record);
}

TEST_P(RouteRecordTest, ExtremeValuesAreStoredUnchecked) {
    vell_mrib_set_epoch(route(), 0xffffffff);
    expect_only(16, {0xff, 0xff, 0xff, 0xff});
    vell_mrib_set_table_id(route(), 0);
    expect_only(36, {0, 0, 0, 0});
    vell_mrib_set_flags(route(), 0xffffffffffffffff);
    expect_only(4, {0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff});
}

} // namespace
