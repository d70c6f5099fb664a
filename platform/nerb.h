/*
 * The LTL manager's client: the functions of libnerb that libvell calls.
 *
 * Every function returns 0 for success and a non-zero status otherwise. A send function must not
 * use its payload, or anything that the payload points to, after it returns. A reply remains the
 * property of the process that received it.
 */
#ifndef NERB_H
#define NERB_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* One entry of a reply: four words. A flood update's reply has the VLAN id in word 0; word 3 is the
 * entry's status. */
typedef struct nerb_rsp_info {
    uint32_t word[4];
} nerb_rsp_info;

/* The parameters of an allocation's reply: three words. */
typedef struct nerb_alloc_ltl_rsp_parm {
    uint32_t word[3];
} nerb_alloc_ltl_rsp_parm;

/* Requests multicast LTL indexes. `payload` is a 16-bit entry count, directly followed by 24-byte
 * entries. libvell passes `cookie` unchanged, here and below. */
uint32_t nerb_send_batched_mcast_alloc_req(uint32_t queue, const void *payload, uint32_t cookie);

/* Asks to change the interface lists of multicast LTL indexes. The payload is laid out as in an
 * allocation. */
uint32_t nerb_send_batched_mcast_mod_req(uint32_t queue, const void *payload, uint32_t cookie);

/* Releases multicast LTL indexes. `entries` are `count` records of 12 bytes. */
uint32_t nerb_send_batched_mcast_dealloc_msg(uint32_t queue, uint32_t count, const void *entries,
                                             uint32_t cookie);

/* Sends one flood LTL update. The payload carries its own counts. libvell passes its caller's
 * `context` unchanged; what becomes of it is the manager's business. */
uint32_t nerb_send_flood_ltl_update_req(uint32_t queue, const void *payload, void *context);

/* Stores a reply's overall status. */
uint32_t nerb_parse_rsp_status(const void *rsp, uint32_t *status);

/* Stores the number of a reply's entries. */
uint32_t nerb_parse_rsp_get_entry_count(const void *rsp, uint32_t *count);

/* Stores the first `count` entries of a reply. */
uint32_t nerb_parse_rsp_get_rsp_info(const void *rsp, uint32_t count, nerb_rsp_info *info);

/* Stores the status and the number of entries of an allocation's reply. libvell passes 13 as
 * `kind`; the manager defines its meaning. */
uint32_t nerb_parse_alloc_ltl_get_entry_count(const void *rsp, uint32_t *status, uint32_t kind,
                                              uint16_t *count);

/* Stores the status and the parameters of an allocation's reply, with the same `kind`. */
uint32_t nerb_parse_alloc_ltl_rsp_parm(const void *rsp, uint32_t *status, uint32_t kind,
                                       nerb_alloc_ltl_rsp_parm *parm);

#ifdef __cplusplus
}
#endif

#endif
