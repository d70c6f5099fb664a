// The exported functions with their types, as clients call them: FUNCTION(name, result, arguments
// in brackets).
#pragma once

#include <vell.h>

#define VELL_SIGNATURES(FUNCTION)                                                                  \
    FUNCTION(vell_register, uint32_t, (uint32_t, uint32_t, const char *))                          \
    FUNCTION(vell_register_ack, uint32_t, (void *))                                                \
    FUNCTION(vell_deregister, uint32_t, ())                                                        \
    FUNCTION(vell_register_kyt_q, void, (uint32_t))                                                \
    FUNCTION(vell_mrib_set_flags, void, (vell_mrib_route *, uint64_t))                             \
    FUNCTION(vell_mrib_set_flag_init, void, (vell_mrib_route *))                                   \
    FUNCTION(vell_mrib_set_opcode, void, (vell_mrib_route *, uint32_t))                            \
    FUNCTION(vell_mrib_set_source, void, (vell_mrib_route *, uint32_t, uint8_t))                   \
    FUNCTION(vell_mrib_set_group, void, (vell_mrib_route *, uint32_t, uint8_t))                    \
    FUNCTION(vell_mrib_set_epoch, void, (vell_mrib_route *, uint32_t))                             \
    FUNCTION(vell_mrib_set_rpfif, void, (vell_mrib_route *, uint32_t))                             \
    FUNCTION(vell_mrib_get_rpfif, uint32_t, (const vell_mrib_route *))                             \
    FUNCTION(vell_mrib_set_df_ordinal, void, (vell_mrib_route *, uint32_t))                        \
    FUNCTION(vell_mrib_set_table_id, void, (vell_mrib_route *, uint32_t))                          \
    FUNCTION(vell_mrib_add_oifs_begin, void, ())                                                   \
    FUNCTION(vell_mrib_add_reg_oif, void, (uint32_t))                                              \
    FUNCTION(vell_mrib_add_vprime_oif, void, (uint32_t))                                           \
    FUNCTION(vell_mrib_add_duxsvi_oif, void, (uint32_t))                                           \
    FUNCTION(vell_mrib_add_duxbidir_rpf_oif, void, (uint32_t))                                     \
    FUNCTION(vell_mrib_add_dux_bidir_rpf_duxsvi_oif, void, (uint32_t))                             \
    FUNCTION(vell_mrib_add_oifs_end, void, (vell_mrib_route *))                                    \
    FUNCTION(vell_mrib_add_mti_encap_begin, void, ())                                              \
    FUNCTION(vell_mrib_add_mti_encap, void, (uint32_t, uint32_t, uint32_t, uint32_t))              \
    FUNCTION(vell_mrib_add_mti_encap_end, void, (vell_mrib_route *))                               \
    FUNCTION(vell_mrib_add_glt_encap_begin, void, ())                                              \
    FUNCTION(vell_mrib_add_glt_encap, void,                                                        \
             (uint32_t, uint32_t, uint32_t, uint32_t, const void *, uint32_t, uint32_t))           \
    FUNCTION(vell_mrib_add_glt_encap_end, void, (vell_mrib_route *))                               \
    FUNCTION(vell_mrib_test_add_oiflist, void,                                                     \
             (vell_mrib_route *, const vell_oif_entry *, uint32_t))                                \
    FUNCTION(vell_mrib_test_add_mti_oif, void,                                                     \
             (vell_mrib_route *, const vell_mti_entry *, uint32_t))                                \
    FUNCTION(vell_mrib_test_add_glt_oif, void,                                                     \
             (vell_mrib_route *, const vell_glt_entry *, uint32_t))                                \
    FUNCTION(vell_mrib_get_route_size, uint32_t, (const vell_mrib_route *))                        \
    FUNCTION(vell_mrib_get_max_route_size, uint32_t, (uint32_t, uint32_t, uint32_t))               \
    FUNCTION(vell_send_v4_mroute_update, uint32_t,                                                 \
             (void *, uint32_t, uint16_t, uint16_t, kyt_msg_ref *))                                \
    FUNCTION(vell_send_v6_mroute_update, uint32_t, (uint32_t, uint32_t, uint16_t))                 \
    FUNCTION(vell_mrib_send_dux_role_update, uint32_t, (uint32_t))                                 \
    FUNCTION(vell_mrib_send_dux_role_forward_all, uint32_t, ())                                    \
    FUNCTION(vell_mrib_send_dux_role_forward_even, uint32_t, ())                                   \
    FUNCTION(vell_mrib_send_dux_role_forward_odd, uint32_t, ())                                    \
    FUNCTION(vell_mrib_send_dux_role_forward_none, uint32_t, ())                                   \
    FUNCTION(vell_mrib_get_mroute_tlv_info, uint32_t,                                              \
             (const vell_mrib_route *, uint32_t *, uint32_t *, uint32_t *))                        \
    FUNCTION(vell_send_v4_mroute_stats_req, int,                                                   \
             (uint32_t, uint32_t, uint8_t, uint32_t, uint8_t, uint32_t))                           \
    FUNCTION(vell_send_v4_mroute_clear_req, int, (uint32_t, uint32_t, uint8_t, uint32_t, uint8_t)) \
    FUNCTION(vell_send_v6_mroute_stats_req, int,                                                   \
             (uint32_t, const void *, uint8_t, const void *, uint8_t))                             \
    FUNCTION(vell_send_v6_mroute_clear_req, int,                                                   \
             (uint32_t, const void *, uint8_t, const void *, uint8_t))                             \
    FUNCTION(vell_send_igmp_oob_notification, int, (uint32_t))                                     \
    FUNCTION(vell_send_igmp_download_complete, int, ())                                            \
    FUNCTION(vell_send_igmp_snoop_update, int, ())                                                 \
    FUNCTION(vell_send_l2_mc_update, int, (uint8_t *, uint32_t, uint16_t, uint16_t, uint32_t))     \
    FUNCTION(vell_send_zeb_feature_disable, int, (uint32_t, uint32_t))                             \
    FUNCTION(vell_send_zeb_vlans_disable, int, (uint32_t, void *))                                 \
    FUNCTION(vell_send_zeb_route_update, int, (uint32_t, const void *, kyt_msg_ref *))             \
    FUNCTION(vell_oif_comp, int, (const void *, const void *))                                     \
    FUNCTION(vell_set_flc_bitmask, uint32_t, (uint32_t *, uint32_t))                               \
    FUNCTION(vell_find_oiflist_delta, int32_t,                                                     \
             (vell_l2_oif *, uint32_t, vell_l2_oif *, uint32_t, vell_flood_delta *))               \
    FUNCTION(vell_build_nerb_flood_ltl_pyld, int32_t,                                              \
             (void *, void *, uint16_t, vell_flood_payload *))                                     \
    FUNCTION(vell_send_l2_mc_update_flood_ltl, uint32_t,                                           \
             (void *, uint32_t, uint16_t, void *, uint32_t, uint16_t, void *))                     \
    FUNCTION(vell_handle_l2_mc_update_flood_ltl_resp, uint32_t, (const void *, uint8_t **))        \
    FUNCTION(vell_nerb_l2_ltl_alloc, int,                                                          \
             (uint32_t, uint32_t, const uint32_t *, uint32_t, uint32_t))                           \
    FUNCTION(vell_nerb_l2_ltl_modify, int,                                                         \
             (uint32_t, uint32_t, const uint32_t *, uint32_t, uint32_t))                           \
    FUNCTION(vell_nerb_l2_ltl_dealloc, int, (uint32_t, uint32_t, uint32_t))                        \
    FUNCTION(vell_nerb_build_mcast_ltl_info, int,                                                  \
             (uint32_t, uint32_t, const uint32_t *, uint32_t, vell_ltl_entry *))                   \
    FUNCTION(vell_nerb_handle_l2_response, int, (const void *, uint32_t *, uint32_t *))            \
    FUNCTION(vell_nerb_handle_l2_alloc_response, int, (const void *, uint32_t *, uint32_t *))

// The flags, of which all are set alike and all are tested alike.
#define VELL_FLAG_SETTERS(SETTER)                                                                  \
    SETTER(direct)                                                                                 \
    SETTER(local_addr)                                                                             \
    SETTER(drop_route)                                                                             \
    SETTER(local_group)                                                                            \
    SETTER(count_pfx)                                                                              \
    SETTER(set_df_bits)                                                                            \
    SETTER(rpf_only)                                                                               \
    SETTER(download)                                                                               \
    SETTER(download_done)                                                                          \
    SETTER(come_up_route)                                                                          \
    SETTER(drop_on_rpf_fail)                                                                       \
    SETTER(wildcard_route)                                                                         \
    SETTER(overlay_decap)                                                                          \
    SETTER(decap)                                                                                  \
    SETTER(svrf_download)                                                                          \
    SETTER(non_rpf_check)                                                                          \
    SETTER(even_route)                                                                             \
    SETTER(odd_route)                                                                              \
    SETTER(dux_forward_all)                                                                        \
    SETTER(dux_forward_even)                                                                       \
    SETTER(dux_forward_odd)                                                                        \
    SETTER(dux_src_rp_l3)                                                                          \
    SETTER(dux_none_forwarder)                                                                     \
    SETTER(dux_rpf_is_svi)                                                                         \
    SETTER(dux_l3src_behind_peer)                                                                  \
    SETTER(dux_forward_none)

#define VELL_FLAG_TESTERS(TESTER)                                                                  \
    TESTER(direct)                                                                                 \
    TESTER(local_addr)                                                                             \
    TESTER(drop_route)                                                                             \
    TESTER(local_group)                                                                            \
    TESTER(count_pfx)                                                                              \
    TESTER(set_df_bits)                                                                            \
    TESTER(rpf_only)                                                                               \
    TESTER(download)                                                                               \
    TESTER(download_done)                                                                          \
    TESTER(come_up_route)                                                                          \
    TESTER(drop_on_rpf_fail)                                                                       \
    TESTER(wildcard_route)                                                                         \
    TESTER(overlay_decap)                                                                          \
    TESTER(decap)                                                                                  \
    TESTER(svrf_download)                                                                          \
    TESTER(non_rpf_check)                                                                          \
    TESTER(even_route)                                                                             \
    TESTER(odd_route)                                                                              \
    TESTER(dux_forward_all)                                                                        \
    TESTER(dux_forward_even)                                                                       \
    TESTER(dux_forward_odd)                                                                        \
    TESTER(dux_src_rp_l3)                                                                          \
    TESTER(dux_none_forwarder)                                                                     \
    TESTER(dux_rpf_check)                                                                          \
    TESTER(dux_l3src_behind_peer)
