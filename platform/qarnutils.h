/*
 * Interface and address helpers: the functions of libqarnutils that libvell calls.
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
 * Stores the fields of a physical Ethernet port's interface index. libvell uses only the first, the
 * line card (slot) number; the platform defines the other two. Returns 0, or a non-zero status when
 * the index is not that of such a port.
 */
uint32_t if_index_phy_eth_get_fields(uint32_t if_index, uint8_t *slot, uint8_t *second,
                                     uint32_t *third);

/* Copies a 16-byte IPv6 address. `from` and `to` may be at any address. */
void ipv6_addr_copy(const void *from, void *to);

#ifdef __cplusplus
}
#endif

#endif
