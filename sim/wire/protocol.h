// What the simulated switch takes the fields of a request to mean.
//
// libvell carries these values without looking at them; on a switch the service gives them their
// meaning. The simulator needs one too, and this is the one place that says it.
//
//   route opcode     1 adds the route or replaces the one held, 2 deletes it, 23 is a dux role update and touches no
//                    route; any other is refused.
//   route key        table id, source and source mask length, group and group mask length. Two keys are equal when all
//                    five are, bits beyond a mask length included.
//   addresses        IPv4 addresses are numbers in host byte order: 10.0.0.9 is 0x0a000009.
//   source 0.0.0.0   with mask length 0: any source, the (*,G) route.
//   group            of an add or a delete is multicast, 224.0.0.0/4, unless its mask length is 0.
//   uuid             any; several clients may share one.
//   routes           stay when their client deregisters or goes away, until they are deleted or the switch stops. Any
//                    client may replace or delete any route; a route belongs to the client that wrote it last.
//   absent route     deleting it is no error: it is logged and counted as a missed delete.
//   message marker   0x5aa5 on a message of one opcode 23 record makes it a dux role update, which carries nothing but
//                    the role; in any other route message the marker has no meaning.
//   dux role         the role bit of an opcode 23 record; no role bit takes the role away ("none given").
//   layer-2 records  21 and 22 add and delete an MBD entry: one (VLAN, group, source) of a snooping bridge, with its
//                    ports. 12 to 15 are a VLAN's flood list, kept per VLAN as it was last sent. 8 to 11 are kept as
//                    the last record of each type. 18 changes lookup modes: its pairs are (VLAN, mode).
//   MBD record       u32 at 12 the bridge's interface index, at 24 the VLAN id; the u32 at 16, 20 and 28 are not read;
//                    u16 at 32 the entry's flags; address block 1 the group, multicast of its kind; block 2 the source,
//                    of the same kind, all zero for any source; entries of kind 2, each a port's interface index with
//                    its flags.
//   MBD entry        its key is VLAN, kind of the addresses, group and source. An add makes the entry when it is new,
//                    adds the ports it lists, or gives them other flags, and sets bridge and entry flags. A delete
//                    takes the ports it lists; an entry left without ports goes, and a delete that lists none removes
//                    it. Entries stay when their client goes away; an entry belongs to the client that added to it last.
//   absent entry     deleting it, or a port it does not have, is no error: it is logged and counted as a missed delete.
//   client id 0      in a layer-2 message: the sender has a queue, but no id yet. Layer-2 messages, out-of-band
//                    markers, overlay notifications and requests to the LTL manager need none; everything else does.
//   markers          1 begins a batch of layer-2 messages of its connection, 2 ends it; others are kept as they come.
//   overlay          type 1 disables the feature, type 3 does so with the flag, type 2 disables the VLANs that it
//                    lists, u16 each. A route update is kept as it comes.
//   statistics       a counter exists for every IPv4 route held and for every route that `vellsim count` names, which
//                    it keeps when the route goes; the simulator forwards nothing, so only `vellsim count` moves them. An
//                    answer holds them as they were before a clearing. An IPv4 statistics request clears too when its
//                    clear word is not 0.
//   LTL allocation   key word 1 (vell.h: key1) is a VLAN id, key word 2 (key2) a tag of the client's own choice, which
//                    need not be unique. It takes the smallest free LTL index of the pool, which has 1024 from 0x4000
//                    up unless `vellsim run` is told otherwise. An LTL stays until it is released, also when its
//                    client goes away; it belongs to the client that allocated it or changed it last. Any client that
//                    knows its tag may change or release it.
//   LTL change       and release: key word 1 is the LTL index, key word 2 the tag that it was allocated with. A
//                    modification replaces the interfaces. A list of interfaces is a set: none may be in it twice.
//   LTL results      of vell.h's reading functions, for allocation, change and release alike: result 1 is the LTL
//                    index, result 2 the number of interfaces that it has now, 0 once it is released.
//   flood update     adds interfaces to a VLAN's flood set (operation 1) and removes some (operation 2), whole or not
//                    at all; the other VLANs of the request go on. An interface may be named once only, an addition
//                    must be absent before, a removal present. The line-card mask is kept as sent with the last update
//                    that was applied. A VLAN whose last interface goes stays, with none.
//   VLAN interface   flagged as such (SVI) in the lists that a client gives the library for a flood update: while there
//                    are old entries left to compare with, the library passes over those of the new list, also one
//                    that is in both, but reports those of the old list as removed. Behind the last old entry, and
//                    where there is none behind the first of the new list that is no SVI, it adds them as any other.
//                    So an SVI that a client lists as a member in its old list is removed although it may never have
//                    been added, which the simulator refuses (status 6). Leave it out of both lists.
//   LTL requests     need a queue, but no client id. Entries are applied in their order; what becomes of each is in the
//                    answer: status 0 that it was done, any other why it was refused and changed nothing. Answers and
//                    statuses are described in nerb_sim.h, which also reads them.
//   cookie, context  of a request to the LTL manager: of the client's own choice. The answer has it as it was given, a
//                    context as the pointer that it is; nothing else is done with it.
//   LTL answers      come in the requests' order. A request that cannot be decoded is logged, and gets no answer. In the
//                    fault modes of answers (late, twice, never) a request is carried out at once all the same.
//   client id        goes back to the pool when its client deregisters or its connection ends; the smallest free one is
//                    handed out.
#pragma once

#include <cstdint>

namespace sim {

inline constexpr std::uint8_t route_opcode_add = 1;
inline constexpr std::uint8_t route_opcode_delete = 2;
inline constexpr std::uint8_t route_opcode_dux_role = 23;

inline constexpr std::uint16_t dux_role_marker = 0x5aa5;

inline constexpr std::uint64_t flag_dux_forward_all = 1u << 18;
inline constexpr std::uint64_t flag_dux_forward_even = 1u << 19;
inline constexpr std::uint64_t flag_dux_forward_odd = 1u << 20;
inline constexpr std::uint64_t flag_dux_forward_none = 1u << 25;
inline constexpr std::uint64_t dux_role_flags =
    flag_dux_forward_all | flag_dux_forward_even | flag_dux_forward_odd | flag_dux_forward_none;

inline constexpr std::uint8_t l2_record_lookup_mode = 18;
inline constexpr std::uint8_t l2_record_mbd_add = 21;
inline constexpr std::uint8_t l2_record_mbd_delete = 22;

inline constexpr std::uint16_t mbd_flag_permanent = 0x0001; // static; otherwise learned
inline constexpr std::uint32_t l2_port_flag_svi = 0x04;

inline constexpr std::uint32_t marker_begin = 1;
inline constexpr std::uint32_t marker_end = 2;

inline constexpr std::uint16_t highest_vlan = 4094;

constexpr bool is_vlan_id(std::uint32_t id) {
    return id >= 1 && id <= highest_vlan;
}

inline constexpr std::uint32_t ltl_pool_first = 0x4000;
inline constexpr std::uint32_t ltl_pool_size = 1024; // unless `vellsim run` is told otherwise

inline constexpr std::uint32_t flood_operation_add = 1;
inline constexpr std::uint32_t flood_operation_remove = 2;

inline constexpr std::uint16_t overlay_type_disable = 1;
inline constexpr std::uint16_t overlay_type_disable_vlans = 2;
inline constexpr std::uint16_t overlay_type_disable_with_flag = 3;

// Clients with these uuids share no memory segment with the service: the name in their registration
// is not read.
inline constexpr std::uint32_t uuids_without_segment[] = {286, 592};

} // namespace sim
