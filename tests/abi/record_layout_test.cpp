// The records that clients compile into their own code: their layouts never change.
#include <vell.h>

#include <cstddef>
#include <gtest/gtest.h>

namespace {

#define EXPECT_FIELD(record, field, offset, width)                                                 \
    EXPECT_EQ(offsetof(record, field), std::size_t{offset});                                       \
    EXPECT_EQ(sizeof(record::field), std::size_t{width})

TEST(RecordLayout, Route) {
    EXPECT_EQ(sizeof(vell_mrib_route), 40u);
    EXPECT_EQ(alignof(vell_mrib_route), 1u);
    EXPECT_FIELD(vell_mrib_route, opcode, 0, 1);
    EXPECT_FIELD(vell_mrib_route, reserved1, 1, 3);
    EXPECT_FIELD(vell_mrib_route, flags, 4, 8);
    EXPECT_FIELD(vell_mrib_route, source_length, 12, 1);
    EXPECT_FIELD(vell_mrib_route, group_length, 13, 1);
    EXPECT_FIELD(vell_mrib_route, reserved2, 14, 2);
    EXPECT_FIELD(vell_mrib_route, epoch, 16, 4);
    EXPECT_FIELD(vell_mrib_route, source, 20, 4);
    EXPECT_FIELD(vell_mrib_route, group, 24, 4);
    EXPECT_FIELD(vell_mrib_route, rpf_if, 28, 4);
    EXPECT_FIELD(vell_mrib_route, df_ordinal, 32, 1);
    EXPECT_FIELD(vell_mrib_route, reserved3, 33, 3);
    EXPECT_FIELD(vell_mrib_route, table_id, 36, 4);
}

TEST(RecordLayout, RouteMessageHead) {
    EXPECT_EQ(sizeof(vell_mrib_message), 8u);
    EXPECT_EQ(alignof(vell_mrib_message), 1u);
    EXPECT_FIELD(vell_mrib_message, client_id, 0, 1);
    EXPECT_FIELD(vell_mrib_message, reserved1, 1, 1);
    EXPECT_FIELD(vell_mrib_message, route_count, 2, 2);
    EXPECT_FIELD(vell_mrib_message, marker, 4, 2);
    EXPECT_FIELD(vell_mrib_message, reserved2, 6, 2);
}

TEST(RecordLayout, ListsAndTheirEntries) {
    EXPECT_EQ(sizeof(vell_mrib_list), 4u);
    EXPECT_EQ(alignof(vell_mrib_list), 1u);
    EXPECT_FIELD(vell_mrib_list, count, 0, 4);

    EXPECT_EQ(sizeof(vell_oif_entry), 8u);
    EXPECT_EQ(alignof(vell_oif_entry), 1u);
    EXPECT_FIELD(vell_oif_entry, if_index, 0, 4);
    EXPECT_FIELD(vell_oif_entry, kind, 4, 4);

    EXPECT_EQ(sizeof(vell_mti_entry), 16u);
    EXPECT_EQ(alignof(vell_mti_entry), 1u);
    EXPECT_FIELD(vell_mti_entry, words, 0, 16);

    EXPECT_EQ(sizeof(vell_glt_entry), 60u);
    EXPECT_EQ(alignof(vell_glt_entry), 1u);
    EXPECT_FIELD(vell_glt_entry, words, 0, 16);
    EXPECT_FIELD(vell_glt_entry, data, 16, 36);
    EXPECT_FIELD(vell_glt_entry, data_length, 52, 4);
    EXPECT_FIELD(vell_glt_entry, last_word, 56, 4);
}

TEST(RecordLayout, L2MessageAndRecordHead) {
    EXPECT_EQ(sizeof(vell_l2_message), 8u);
    EXPECT_EQ(alignof(vell_l2_message), 1u);
    EXPECT_FIELD(vell_l2_message, client_id, 0, 1);
    EXPECT_FIELD(vell_l2_message, reserved, 1, 1);
    EXPECT_FIELD(vell_l2_message, count, 2, 2);
    EXPECT_FIELD(vell_l2_message, value, 4, 2);
    EXPECT_FIELD(vell_l2_message, flags, 6, 2);

    EXPECT_EQ(sizeof(vell_l2_record), 12u);
    EXPECT_EQ(alignof(vell_l2_record), 1u);
    EXPECT_FIELD(vell_l2_record, type, 0, 1);
    EXPECT_FIELD(vell_l2_record, reserved, 1, 7);
    EXPECT_FIELD(vell_l2_record, length, 8, 4);
}

TEST(RecordLayout, L2AddressesAndEntries) {
    EXPECT_EQ(sizeof(vell_l2_address), 20u);
    EXPECT_EQ(alignof(vell_l2_address), 1u);
    EXPECT_FIELD(vell_l2_address, kind, 0, 4);
    EXPECT_FIELD(vell_l2_address, area, 4, 16);

    EXPECT_EQ(sizeof(vell_l2_pair), 8u);
    EXPECT_EQ(alignof(vell_l2_pair), 1u);
    EXPECT_FIELD(vell_l2_pair, words, 0, 8);

    EXPECT_EQ(sizeof(vell_l2_oif), 32u);
    EXPECT_EQ(alignof(vell_l2_oif), 1u);
    EXPECT_FIELD(vell_l2_oif, kind, 0, 4);
    EXPECT_FIELD(vell_l2_oif, flags, 4, 4);
    EXPECT_FIELD(vell_l2_oif, words, 8, 8);
    EXPECT_FIELD(vell_l2_oif, value, 16, 16);
    EXPECT_EQ(offsetof(vell_l2_oif, value.if_index), 16u);
    EXPECT_EQ(offsetof(vell_l2_oif, value.ipv6), 16u);
}

// The entries begin where each of these ends.
TEST(RecordLayout, L2Records) {
    EXPECT_EQ(sizeof(vell_l2_pairs_record), 24u);
    EXPECT_EQ(alignof(vell_l2_pairs_record), 1u);
    EXPECT_FIELD(vell_l2_pairs_record, head, 0, 12);
    EXPECT_FIELD(vell_l2_pairs_record, word0, 12, 4);
    EXPECT_FIELD(vell_l2_pairs_record, count, 16, 4);
    EXPECT_FIELD(vell_l2_pairs_record, word1, 20, 4);

    EXPECT_EQ(sizeof(vell_l2_bare_pairs_record), 16u);
    EXPECT_EQ(alignof(vell_l2_bare_pairs_record), 1u);
    EXPECT_FIELD(vell_l2_bare_pairs_record, head, 0, 12);
    EXPECT_FIELD(vell_l2_bare_pairs_record, count, 12, 4);

    EXPECT_EQ(sizeof(vell_l2_lookup_mode_record), 20u);
    EXPECT_EQ(alignof(vell_l2_lookup_mode_record), 1u);
    EXPECT_FIELD(vell_l2_lookup_mode_record, head, 0, 12);
    EXPECT_FIELD(vell_l2_lookup_mode_record, word, 12, 4);
    EXPECT_FIELD(vell_l2_lookup_mode_record, count, 16, 4);

    EXPECT_EQ(sizeof(vell_l2_vlan_record), 74u);
    EXPECT_EQ(alignof(vell_l2_vlan_record), 1u);
    EXPECT_FIELD(vell_l2_vlan_record, head, 0, 12);
    EXPECT_FIELD(vell_l2_vlan_record, words, 12, 12);
    EXPECT_FIELD(vell_l2_vlan_record, vlan, 24, 4);
    EXPECT_FIELD(vell_l2_vlan_record, half, 28, 2);
    EXPECT_FIELD(vell_l2_vlan_record, addresses, 30, 40);
    EXPECT_FIELD(vell_l2_vlan_record, count, 70, 4);

    EXPECT_EQ(sizeof(vell_l2_mbd_record), 78u);
    EXPECT_EQ(alignof(vell_l2_mbd_record), 1u);
    EXPECT_FIELD(vell_l2_mbd_record, head, 0, 12);
    EXPECT_FIELD(vell_l2_mbd_record, words, 12, 20);
    EXPECT_FIELD(vell_l2_mbd_record, half, 32, 2);
    EXPECT_FIELD(vell_l2_mbd_record, addresses, 34, 40);
    EXPECT_FIELD(vell_l2_mbd_record, count, 74, 4);
}

TEST(RecordLayout, OverlayMessage) {
    EXPECT_EQ(sizeof(vell_zeb_message), 4u);
    EXPECT_EQ(alignof(vell_zeb_message), 1u);
    EXPECT_FIELD(vell_zeb_message, type, 0, 2);
    EXPECT_FIELD(vell_zeb_message, length, 2, 2);
}

TEST(RecordLayout, FloodUpdate) {
    EXPECT_EQ(sizeof(vell_flood_update), 8u);
    EXPECT_EQ(alignof(vell_flood_update), 1u);
    EXPECT_FIELD(vell_flood_update, if_index, 0, 4);
    EXPECT_FIELD(vell_flood_update, operation, 4, 4);

    EXPECT_EQ(sizeof(vell_flood_delta), 24u);
    EXPECT_EQ(alignof(vell_flood_delta), 1u);
    EXPECT_FIELD(vell_flood_delta, vlan, 0, 4);
    EXPECT_FIELD(vell_flood_delta, reserved1, 4, 8);
    EXPECT_FIELD(vell_flood_delta, flc_bitmask, 12, 4);
    EXPECT_FIELD(vell_flood_delta, reserved2, 16, 4);
    EXPECT_FIELD(vell_flood_delta, update_count, 20, 4);

    EXPECT_EQ(sizeof(vell_flood_payload), 4u);
    EXPECT_EQ(alignof(vell_flood_payload), 1u);
    EXPECT_FIELD(vell_flood_payload, vlan_count, 0, 4);
}

TEST(RecordLayout, FloodResult) {
    EXPECT_EQ(sizeof(vell_flood_result), 80u);
    EXPECT_EQ(alignof(vell_flood_result), 1u);
    EXPECT_FIELD(vell_flood_result, type, 0, 1);
    EXPECT_FIELD(vell_flood_result, flags, 1, 1);
    EXPECT_FIELD(vell_flood_result, reserved1, 2, 22);
    EXPECT_FIELD(vell_flood_result, vlan, 24, 4);
    EXPECT_FIELD(vell_flood_result, reserved2, 28, 52);
}

TEST(RecordLayout, LtlRequests) {
    EXPECT_EQ(sizeof(vell_ltl_entry), 24u);
    EXPECT_EQ(alignof(vell_ltl_entry), 1u);
    EXPECT_FIELD(vell_ltl_entry, key1, 0, 4);
    EXPECT_FIELD(vell_ltl_entry, key2, 4, 4);
    EXPECT_FIELD(vell_ltl_entry, reserved1, 8, 4);
    EXPECT_FIELD(vell_ltl_entry, if_index_count, 12, 2);
    EXPECT_FIELD(vell_ltl_entry, reserved2, 14, 2);
    EXPECT_FIELD(vell_ltl_entry, if_indexes, 16, 4);
    EXPECT_FIELD(vell_ltl_entry, reserved3, 20, 4);

    EXPECT_EQ(sizeof(vell_ltl_payload), 2u);
    EXPECT_EQ(alignof(vell_ltl_payload), 1u);
    EXPECT_FIELD(vell_ltl_payload, count, 0, 2);

    EXPECT_EQ(sizeof(vell_ltl_release), 12u);
    EXPECT_EQ(alignof(vell_ltl_release), 1u);
    EXPECT_FIELD(vell_ltl_release, key1, 0, 4);
    EXPECT_FIELD(vell_ltl_release, key2, 4, 4);
    EXPECT_FIELD(vell_ltl_release, reserved, 8, 4);
}

TEST(RecordLayout, NamedValues) {
    EXPECT_EQ(vell_flood_added, 1);
    EXPECT_EQ(vell_flood_removed, 2);
    EXPECT_EQ(VELL_FLOOD_ACKNOWLEDGED, 1);

    EXPECT_EQ(vell_l2_begin_marker, 1);
    EXPECT_EQ(vell_l2_end_marker, 2);
    EXPECT_EQ(vell_l2_address_mac, 2);
    EXPECT_EQ(vell_l2_address_ipv4, 4);
    EXPECT_EQ(vell_l2_address_ipv6, 8);
    EXPECT_EQ(vell_l2_oif_plain, 0);
    EXPECT_EQ(vell_l2_oif_ipv6, 1);
    EXPECT_EQ(vell_l2_oif_if_index, 2);
    EXPECT_EQ(VELL_L2_OIF_SVI, 4);
    EXPECT_EQ(vell_l2_lookup_mode, 18);
    EXPECT_EQ(vell_l2_mbd_add, 21);
    EXPECT_EQ(vell_l2_mbd_delete, 22);

    EXPECT_EQ(vell_oif_kind_reg, 0);
    EXPECT_EQ(vell_oif_kind_vprime, 1);
    EXPECT_EQ(vell_oif_kind_duxsvi, 4);
    EXPECT_EQ(vell_oif_kind_duxbidir_rpf, 8);
    EXPECT_EQ(vell_oif_kind_dux_bidir_rpf_duxsvi, 12);

    EXPECT_EQ(vell_dux_role_forward_all, 1);
    EXPECT_EQ(vell_dux_role_forward_even, 2);
    EXPECT_EQ(vell_dux_role_forward_odd, 3);
    EXPECT_EQ(vell_dux_role_forward_none, 4);

    EXPECT_EQ(vell_mrib_flag_direct, 0x1);
    EXPECT_EQ(vell_mrib_flag_decap, 0x1000);
    EXPECT_EQ(vell_mrib_flag_overlay_decap, 0x1000);
    EXPECT_EQ(vell_mrib_flag_non_rpf_check, 0x8000);
    EXPECT_EQ(vell_mrib_flag_dux_rpf_is_svi, 0x800000);
    EXPECT_EQ(vell_mrib_flag_dux_forward_none, 0x2000000);
}

} // namespace
