// What the service and the LTL manager should have, and what they have: four tables of plain rows.
//
// A row says what is wanted, never how it is sent: download bits, epochs and the place in a file are
// no part of it, so that two rows are equal exactly when nothing has to be sent. Interfaces are
// numbered as the switch numbers them (interfaces.h), all lists of them are sorted but for a route's
// outgoing interfaces, and IPv4 addresses are numbers in host byte order.
#pragma once

#include "sim/base/address.h"

#include <compare>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace feed {

struct route_key {
    std::uint32_t table = 0;
    std::uint32_t source = 0;
    std::uint8_t source_length = 0; // 0: any source
    std::uint32_t group = 0;
    std::uint8_t group_length = 0;

    friend auto operator<=>(const route_key &, const route_key &) = default;
};

struct route {
    using key_type = route_key;

    std::uint32_t rpf_if = 0;
    std::uint64_t flags = 0;         // without those that only say how it was sent
    std::vector<std::uint32_t> oifs; // in the kernel's order
    std::string other;               // of an installed route, what vellfeed never sends

    friend bool operator==(const route &, const route &) = default;
};

// Bits of a route's flags.
inline constexpr std::uint64_t route_flag_drop = 0x4;         // no outgoing interface
inline constexpr std::uint64_t route_flag_local_group = 0x8;  // 224.0.0.0/24
inline constexpr std::uint64_t route_flag_wildcard = 0x800;   // any source
inline constexpr std::uint64_t route_flags_of_sender = 0x180; // part of a download, the end of one

struct group_key {
    std::uint16_t vlan = 0;
    sim::l2_address group;
    std::optional<sim::l2_address> source; // of the group's family; none: any source

    friend auto operator<=>(const group_key &, const group_key &) = default;
};

struct group_port {
    std::uint32_t if_index = 0;
    std::uint32_t flags = 0; // VELL_SIM_PORT_SVI of the VLAN's own interface

    friend auto operator<=>(const group_port &, const group_port &) = default;
};

// Where a layer-2 multicast group goes in a VLAN.
struct group {
    using key_type = group_key;

    std::uint32_t bridge = 0;
    bool permanent = false;
    std::vector<group_port> ports; // sorted

    friend bool operator==(const group &, const group &) = default;
};

struct flood_key {
    std::uint16_t vlan = 0;

    friend auto operator<=>(const flood_key &, const flood_key &) = default;
};

// Where a VLAN's multicast goes that nobody is known to want.
struct flood_set {
    using key_type = flood_key;

    std::vector<std::uint32_t> interfaces; // sorted
    std::uint32_t line_cards = 0;          // a mask, of the interfaces' line cards

    friend bool operator==(const flood_set &, const flood_set &) = default;
};

// An LTL is known by its VLAN and the tag that it was allocated with. The tag is made from the group,
// so that every run of vellfeed finds its own again.
struct ltl_key {
    std::uint16_t vlan = 0;
    std::uint32_t tag = 0;

    friend auto operator<=>(const ltl_key &, const ltl_key &) = default;
};

// The LTL index of a group's ports.
struct ltl {
    using key_type = ltl_key;

    std::vector<std::uint32_t> interfaces; // sorted
    std::uint32_t index = 0;               // what the manager answered; 0: not known

    friend bool operator==(const ltl &one, const ltl &other) {
        return one.interfaces == other.interfaces;
    }
};

template <typename Row>
using table = std::map<typename Row::key_type, Row>;

struct state {
    table<route> routes;
    table<group> groups;
    table<flood_set> floods;
    table<ltl> ltls;

    friend bool operator==(const state &, const state &) = default;
};

// "(10.0.0.9, 239.1.1.2) in table 253", "(*, 239.1.1.2) in VLAN 10", "VLAN 10",
// "LTL of VLAN 10 with tag 0x1a2b3c4d".
std::string key_text(const route_key &key);
std::string key_text(const group_key &key);
std::string key_text(const flood_key &key);
std::string key_text(const ltl_key &key);

} // namespace feed
