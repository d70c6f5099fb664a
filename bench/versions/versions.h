// The floors and the plain versions: each has the type of the library's function that it is compared
// with, and comes to the same bytes and calls.
#pragma once

#include <vell.h>

extern "C" {

// What an empty call costs.
VELL_API decltype(vell_send_igmp_snoop_update) floor_send_igmp_snoop_update;

VELL_API decltype(vell_register) floor_register;
VELL_API decltype(vell_register_ack) floor_register_ack;
VELL_API decltype(vell_deregister) floor_deregister;
VELL_API decltype(vell_register_kyt_q) floor_register_kyt_q;

VELL_API decltype(vell_mrib_add_oifs_begin) floor_mrib_add_oifs_begin;
VELL_API decltype(vell_mrib_add_reg_oif) floor_mrib_add_reg_oif;
VELL_API decltype(vell_mrib_add_oifs_end) floor_mrib_add_oifs_end;
VELL_API decltype(vell_send_v4_mroute_update) floor_send_v4_mroute_update;
VELL_API decltype(vell_send_v6_mroute_update) floor_send_v6_mroute_update;
VELL_API decltype(vell_send_v6_mroute_update) plain_send_v6_mroute_update;
VELL_API decltype(vell_mrib_send_dux_role_update) floor_mrib_send_dux_role_update;

VELL_API decltype(vell_send_v4_mroute_stats_req) floor_send_v4_mroute_stats_req;
VELL_API decltype(vell_send_v4_mroute_clear_req) floor_send_v4_mroute_clear_req;
VELL_API decltype(vell_send_v6_mroute_stats_req) floor_send_v6_mroute_stats_req;
VELL_API decltype(vell_send_v6_mroute_clear_req) floor_send_v6_mroute_clear_req;

VELL_API decltype(vell_send_igmp_oob_notification) floor_send_igmp_oob_notification;
VELL_API decltype(vell_send_igmp_download_complete) floor_send_igmp_download_complete;
VELL_API decltype(vell_send_l2_mc_update) floor_send_l2_mc_update;
VELL_API decltype(vell_send_l2_mc_update) plain_send_l2_mc_update;

VELL_API decltype(vell_send_zeb_feature_disable) floor_send_zeb_feature_disable;
VELL_API decltype(vell_send_zeb_vlans_disable) floor_send_zeb_vlans_disable;
VELL_API decltype(vell_send_zeb_route_update) floor_send_zeb_route_update;

// These two are for the cost of a log line, and take it that the entries are in order.
VELL_API decltype(vell_find_oiflist_delta) floor_find_oiflist_delta;
VELL_API decltype(vell_find_oiflist_delta) plain_find_oiflist_delta;
VELL_API decltype(vell_send_l2_mc_update_flood_ltl) floor_send_l2_mc_update_flood_ltl;
VELL_API decltype(vell_send_l2_mc_update_flood_ltl) plain_send_l2_mc_update_flood_ltl;
VELL_API decltype(vell_handle_l2_mc_update_flood_ltl_resp) floor_handle_l2_mc_update_flood_ltl_resp;

VELL_API decltype(vell_nerb_l2_ltl_alloc) floor_nerb_l2_ltl_alloc;
VELL_API decltype(vell_nerb_l2_ltl_modify) floor_nerb_l2_ltl_modify;
VELL_API decltype(vell_nerb_l2_ltl_dealloc) floor_nerb_l2_ltl_dealloc;
VELL_API decltype(vell_nerb_handle_l2_response) floor_nerb_handle_l2_response;
VELL_API decltype(vell_nerb_handle_l2_alloc_response) floor_nerb_handle_l2_alloc_response;
}
