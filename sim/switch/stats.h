// Counters of multicast routes, and the requests for them.
//
//   IPv4 request   16 bytes: u32 table id, u8 source prefix length, u8 group prefix length,
//                  2 reserved, u32 source, u32 group; and in a statistics request u32 clear
//   IPv6 request   40 bytes: u32 table id, u8 source prefix length, u8 group prefix length,
//                  16 bytes of source, 16 bytes of group, 2 reserved
//   answer         72 bytes under the request's opcode: struct vell_sim_stats of vell_sim.h
#pragma once

#include "sim/base/address.h"
#include "sim/switch/route.h"

#include <compare>
#include <cstddef>
#include <cstdint>
#include <map>

namespace sim {

// Counters are sorted by these members, in this order.
struct counter_key {
    std::uint32_t table = 0;
    l2_address group; // never a MAC address
    l2_address source;
    std::uint8_t source_length = 0;
    std::uint8_t group_length = 0;

    friend auto operator<=>(const counter_key &, const counter_key &) = default;
};

struct traffic {
    std::uint64_t packets = 0;
    std::uint64_t bytes = 0;
    std::uint64_t wrong_if = 0;
};

struct route_counters {
    traffic seen;
    std::uint64_t requests = 0; // statistics and clear requests
    std::uint64_t clears = 0;
    bool counted = false; // traffic was counted, so that they stay when their route goes
};

using counter_table = std::map<counter_key, route_counters>;

counter_key key_of(const route_key &key);
route_key to_route_key(const counter_key &key); // of an IPv4 route

struct service;

// Whether the switch has the route. Only IPv4 routes are installed as records.
bool holds_route(const service &vell, const counter_key &key);

// The route is gone: its counters go with it, unless traffic was counted.
void forget_uncounted(counter_table &counters, const route_key &gone);

} // namespace sim
