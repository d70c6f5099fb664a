/*
 * What the simulated switch understands: service access points, opcodes, and what the values mean
 * that libvell carries without looking at them. On a switch the service defines these; this is the
 * simulator's definition, and the simulator's own tables use it. vell_sim.h describes and reads the
 * service's answers, nerb_sim.h those of the LTL manager.
 *
 * EVERY REQUEST goes to node VELL_SIM_NODE, with flags 0 and send-options word 0 = 1. Word 1 is as in
 * the table; the others are 0.
 *
 *   SAP                        opcode                               word 1
 *   VELL_SIM_SAP_REGISTRATION  VELL_SIM_OPCODE_REGISTER             0
 *                              VELL_SIM_OPCODE_DEREGISTER           0
 *   VELL_SIM_SAP_ROUTES        VELL_SIM_OPCODE_ROUTES               1, of a dux role update 0
 *                              VELL_SIM_OPCODE_IPV6_NOTICE          1
 *                              VELL_SIM_OPCODE_IPV4_STATS, _CLEAR   0
 *                              VELL_SIM_OPCODE_IPV6_STATS, _CLEAR   0
 *   VELL_SIM_SAP_L2            VELL_SIM_OPCODE_L2                   1
 *                              VELL_SIM_OPCODE_MARKER               0
 *                              VELL_SIM_OPCODE_DOWNLOAD_COMPLETE    0
 *                              VELL_SIM_OPCODE_OVERLAY_NOTICE       0, with a list of VLANs 1
 *                              VELL_SIM_OPCODE_OVERLAY_ROUTE        1
 *   NERB_SIM_SAP               those of nerb_sim.h                  0
 *
 * A request that is malformed changes nothing and is not answered; `vellsim show log` says why it was
 * refused. Registration, statistics and clear requests are answered under their own opcode.
 *
 * CLIENTS
 *   client id       the smallest that is free, 1 to 255. It is free again when its client deregisters,
 *                   registers again, or closes its connection.
 *   client id 0     in a layer-2 message: the sender has a queue, but no id yet. Layer-2 messages,
 *                   out-of-band markers, overlay notifications and requests to the LTL manager need no
 *                   id; everything else does.
 *   uuid            any; several clients may share one. Clients with the uuids 286 and 592 share no
 *                   memory segment with the service: the name in their registration is not read.
 *
 * ROUTES
 *   opcode          enum vell_sim_route_opcode; any other is refused. An add replaces the route of the
 *                   same key. Deleting a missing route is not an error: it is logged and counted.
 *   key             table id, source and its prefix length, group and its prefix length. Two keys are
 *                   equal when all five are, including bits beyond a prefix length.
 *   addresses       IPv4 addresses are uint32 in host byte order: 10.0.0.9 is 0x0a000009.
 *   (*, G)          has source 0.0.0.0 with prefix length 0.
 *   group           is multicast, 224.0.0.0/4, unless its prefix length is 0.
 *   life            routes remain when their client deregisters or goes away, until they are deleted or
 *                   the switch stops. Any client may replace or delete any route; a route belongs to the
 *                   client that wrote it last.
 *   dux role        a message of one record of opcode 23 whose message marker is
 *                   VELL_SIM_DUX_ROLE_MARKER sets the role, by its role flag, and touches no route.
 *                   Without a role flag it takes the role away.
 *
 * LAYER 2
 *   records         types 21 and 22 add and delete an MBD entry; 12 to 15 are a VLAN's flood list, kept
 *                   as it was last sent; 8 to 11 are kept as the last record of each type; 18 changes
 *                   lookup modes: its pairs are (VLAN, mode).
 *   MBD record      u32 at 12 the bridge's interface index, at 24 the VLAN id; the u32 at 16, 20 and 28
 *                   are not read. u16 at 32 the entry's flags. Address block 1 is the group, multicast of
 *                   its family; block 2 the source, of the same family, all zero for (*, G). Its list
 *                   has entries of kind 2, each a port's interface index with its flags.
 *   MBD entry       its key is VLAN, address family, group and source. An add creates a new entry, adds
 *                   the listed ports or gives them other flags, and sets bridge and entry flags. A
 *                   delete removes the listed ports; an entry without ports is removed, and so is one
 *                   whose delete lists none. Deleting a missing entry or port is not an error: it is
 *                   logged and counted. Entries remain when their client goes away; an entry belongs to the
 *                   client that added to it last.
 *   markers         1 begins a batch of layer-2 messages of its connection, 2 ends it; others are kept
 *                   as they come.
 *
 * OVERLAY
 *   notifications   enum vell_sim_overlay_type; a list of VLANs is u16 each. Route updates are kept as
 *                   they come.
 *
 * STATISTICS
 *   counters        exist for every installed IPv4 route, and for every route that `vellsim count`
 *                   names, which remain when the route goes. The simulator forwards nothing, so only
 *                   `vellsim count` moves them.
 *   clear           an IPv4 statistics request clears too when its clear word is not 0. An answer has
 *                   the counters as they were before they were cleared.
 *
 * LTL MANAGER
 *   requests        need a queue, but no client id. Entries are applied in order, and each has a status
 *                   in the answer: 0 when it was done, any other when it was refused and changed
 *                   nothing. Answers come in the order of the requests. In the fault modes of answers
 *                   (late, twice, never) a request is carried out at once all the same.
 *   cookie, context any; the answer repeats them.
 *   allocation      key word 1 (vell.h: key1) is a VLAN id, key word 2 (key2) a tag of the client's
 *                   choice, which need not be unique. It takes the smallest free LTL index of the pool
 *                   (VELL_SIM_LTL_POOL_FIRST, VELL_SIM_LTL_POOL_SIZE, `vellsim run --ltl-pool`). An LTL
 *                   remains until it is released, also when its client goes away; it belongs to the
 *                   client that allocated it or changed it last. Any client that knows its tag may
 *                   change or release it.
 *   change, release key word 1 is the LTL index, key word 2 the tag that it was allocated with. A
 *                   modification replaces the interfaces. No interface may be in a list twice.
 *   results         of vell.h's reading functions, for allocation, change and release: result 1 is the
 *                   LTL index, result 2 its number of interfaces, 0 once it is released.
 *   flood update    adds interfaces to a VLAN's flood set (VELL_SIM_FLOOD_ADD) and removes some
 *                   (VELL_SIM_FLOOD_REMOVE), all or none; the other VLANs of the request go on. An
 *                   interface may be named once; an added one must be absent before, a removed one
 *                   present. The line-card mask is kept as the last applied update had it. A VLAN
 *                   without interfaces remains, with an empty set.
 *   VLAN interface  flagged as such (SVI) in the lists that a client gives the library for a flood
 *                   update: while there are old entries left to compare with, the library skips those
 *                   of the new list, even one that is in both, but reports those of the old list as
 *                   removed. After the last old entry, and where none follows the first of the new list
 *                   that is not an SVI, it adds them as any other. So an SVI in the old list is removed
 *                   although it may never have been added, which the simulator refuses (status 6).
 *                   Leave it out of both lists.
 */
#ifndef VELL_SIM_PROTOCOL_H
#define VELL_SIM_PROTOCOL_H

#define VELL_SIM_NODE 0xfe000000u

enum vell_sim_sap {
    VELL_SIM_SAP_REGISTRATION = 212,
    VELL_SIM_SAP_L2 = 213,
    VELL_SIM_SAP_ROUTES = 214
};

enum vell_sim_opcode {
    VELL_SIM_OPCODE_IPV6_NOTICE = 75779,
    VELL_SIM_OPCODE_IPV4_STATS = 75785,
    VELL_SIM_OPCODE_IPV6_STATS = 75786,
    VELL_SIM_OPCODE_DOWNLOAD_COMPLETE = 75789,
    VELL_SIM_OPCODE_REGISTER = 75796,
    VELL_SIM_OPCODE_DEREGISTER = 75797,
    VELL_SIM_OPCODE_IPV4_CLEAR = 75798,
    VELL_SIM_OPCODE_IPV6_CLEAR = 75799,
    VELL_SIM_OPCODE_MARKER = 75804,
    VELL_SIM_OPCODE_OVERLAY_ROUTE = 75818,
    VELL_SIM_OPCODE_OVERLAY_NOTICE = 75820,
    VELL_SIM_OPCODE_L2 = 75821,
    VELL_SIM_OPCODE_ROUTES = 75831
};

/* Whether a client with this uuid shares a memory segment with the service. */
#define VELL_SIM_HAS_SEGMENT(uuid) ((uuid) != 286 && (uuid) != 592)

enum vell_sim_route_opcode {
    VELL_SIM_ROUTE_ADD = 1,
    VELL_SIM_ROUTE_DELETE = 2,
    VELL_SIM_ROUTE_DUX_ROLE = 23
};

#define VELL_SIM_DUX_ROLE_MARKER 0x5aa5u

/* Route flags that set a dux role. */
enum vell_sim_dux_role {
    VELL_SIM_DUX_FORWARD_ALL = 1 << 18,
    VELL_SIM_DUX_FORWARD_EVEN = 1 << 19,
    VELL_SIM_DUX_FORWARD_ODD = 1 << 20,
    VELL_SIM_DUX_FORWARD_NONE = 1 << 25
};

#define VELL_SIM_DUX_ROLES                                                                         \
    (VELL_SIM_DUX_FORWARD_ALL | VELL_SIM_DUX_FORWARD_EVEN | VELL_SIM_DUX_FORWARD_ODD |             \
     VELL_SIM_DUX_FORWARD_NONE)

/* Words of an MBD record (vell.h: vell_l2_mbd_record). */
enum vell_sim_mbd_word { VELL_SIM_MBD_BRIDGE = 0, VELL_SIM_MBD_VLAN = 3 };

enum vell_sim_l2_record {
    VELL_SIM_L2_LOOKUP_MODE = 18,
    VELL_SIM_L2_MBD_ADD = 21,
    VELL_SIM_L2_MBD_DELETE = 22
};

#define VELL_SIM_MBD_PERMANENT 0x0001u /* entry flag: static; otherwise learned */
#define VELL_SIM_PORT_SVI 0x04u        /* port flag */

enum vell_sim_marker { VELL_SIM_MARKER_BEGIN = 1, VELL_SIM_MARKER_END = 2 };

#define VELL_SIM_HIGHEST_VLAN 4094u
#define VELL_SIM_IS_VLAN(id) ((id) >= 1 && (id) <= VELL_SIM_HIGHEST_VLAN)

#define VELL_SIM_LTL_POOL_FIRST 0x4000u
#define VELL_SIM_LTL_POOL_SIZE 1024u

enum vell_sim_flood_operation { VELL_SIM_FLOOD_ADD = 1, VELL_SIM_FLOOD_REMOVE = 2 };

enum vell_sim_overlay_type {
    VELL_SIM_OVERLAY_DISABLE = 1,
    VELL_SIM_OVERLAY_DISABLE_VLANS = 2,
    VELL_SIM_OVERLAY_DISABLE_WITH_FLAG = 3
};

#endif
