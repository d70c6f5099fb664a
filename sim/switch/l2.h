// The layer-2 tables: snooping entries, flood lists and what else layer-2 messages leave in the
// switch, each message whole or not at all and all of it within the limits.
#pragma once

#include "sim/switch/l2_decode.h"
#include "sim/switch/sender.h"

#include <compare>
#include <cstddef>
#include <cstdint>
#include <map>

namespace sim {

// Entries are sorted by the members in this order.
struct mbd_key {
    std::uint16_t vlan = 0;
    l2_address group;
    l2_address source;

    friend auto operator<=>(const mbd_key &, const mbd_key &) = default;
};

struct mbd_entry {
    std::uint32_t bridge = 0;
    std::uint16_t flags = 0;
    sender_name from;                               // who added to it last
    std::map<std::uint32_t, std::uint32_t> ports{}; // interface index, flags
};

struct kept_record {
    sender_name from;
    l2_record record;
};

struct l2_tables {
    std::map<mbd_key, mbd_entry> entries{};
    std::map<std::uint16_t, kept_record> flood{};          // flood lists, by VLAN
    std::map<std::uint8_t, kept_record> pairs{};           // by record type
    std::map<std::uint32_t, std::uint32_t> lookup_modes{}; // by VLAN
    std::uint32_t lookup_mode_word = 0;                    // of the last lookup mode record

    // How much of the limits is taken.
    std::size_t ports = 0;        // of all entries
    std::size_t record_bytes = 0; // of flood lists and pairs, as long as they were sent
};

} // namespace sim
