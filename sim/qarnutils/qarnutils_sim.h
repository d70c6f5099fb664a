/*
 * How the simulator's interface indexes are made, and the names that people give them.
 *
 *   bits 31..26  the interface's type; bits 25..0 depend on it
 *
 *    26  a physical Ethernet port: bits 23..16 its slot (line card), 15..8 its port, 7..0 its breakout lane, 0 for the
 *        undivided port; bits 25..24 are zero. "Eth3/7", and with a lane "Eth3/7/2". Slots and ports count from 0.
 *     6  a port-channel: bits 15..0 its number, the others zero. "Po12".
 *     5  a VLAN interface (SVI): bits 15..0 its VLAN id, 1 to 4094, the others zero. "Vlan10".
 *     1  an interface of a kernel, whose place in a chassis is unknown: bits 25..0 the kernel's index, from 1. "if12".
 *
 * An index that is not made like this has no type and no name.
 *
 * if_index_get_type returns 1 for an index without a type. if_index_phy_eth_get_fields stores slot,
 * port and, as the third field, the lane; it returns 1 for an index without a type, 2 for one of
 * another type. Neither touches its outputs when it fails.
 */
#ifndef QARNUTILS_SIM_H
#define QARNUTILS_SIM_H

#include <qarnutils.h>

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The types beside IF_INDEX_TYPE_PHY_ETH. */
#define QARNUTILS_SIM_TYPE_KERNEL 1
#define QARNUTILS_SIM_TYPE_SVI 5
#define QARNUTILS_SIM_TYPE_PORT_CHANNEL 6

/* Room for every name and its NUL. */
#define QARNUTILS_SIM_NAME_SIZE 16

/*
 * Stores the index of the interface of this name. Returns 0, or -1 when that is not an
 * interface's name. A name is written exactly as above: upper and lower case count, numbers have no leading
 * zeros, signs or spaces.
 */
int qarnutils_sim_if_index(const char *name, uint32_t *if_index);

/*
 * Writes the interface's name, NUL-terminated, into `name`. Returns 0, or -1 when the index has no
 * name or needs more than `size` bytes; nothing is written then.
 */
int qarnutils_sim_if_name(uint32_t if_index, char *name, size_t size);

#ifdef __cplusplus
}
#endif

#endif
