/*
 * Interface and address helpers: what libvell calls of libqarnutils.
 */
#ifndef QARNUTILS_H
#define QARNUTILS_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The interface type code of a physical Ethernet port. */
#define IF_INDEX_TYPE_PHY_ETH 26

/* Stores the type code of an interface index. Returns 0, or a non-zero status when the index has no
 * type. */
uint32_t if_index_get_type(uint32_t if_index, uint8_t *type);

/*
 * Stores the fields of a physical Ethernet port's interface index: its line card (slot) number, its
 * port number and a third field. Returns 0, or a non-zero status when the index is not such a
 * port's.
 */
uint32_t if_index_phy_eth_get_fields(uint32_t if_index, uint8_t *slot, uint8_t *port,
                                     uint32_t *third);

/* Copies a 16-byte IPv6 address. Neither address needs to be aligned. */
void ipv6_addr_copy(const void *from, void *to);

#ifdef __cplusplus
}
#endif

#endif
