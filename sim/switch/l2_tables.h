// What the switch holds of layer 2: snooping entries, flood lists, and what else records of its
// messages carry.
#pragma once

#include "sim/switch/l2_decode.h"

#include <compare>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace sim {

// Who sent a request. The id is 0 for a peer that has a queue and no id.
struct sender_name {
    std::uint8_t client = 0;
    std::uint32_t pid = 0;
};

// The members stand in the order in which entries are sorted; the group's kind comes before its
// bytes.
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
    std::map<std::uint16_t, kept_record> flood{};          // by VLAN
    std::map<std::uint8_t, kept_record> pairs{};           // by record type
    std::map<std::uint32_t, std::uint32_t> lookup_modes{}; // by VLAN
    std::uint32_t lookup_mode_word = 0;                    // of the last lookup mode record
};

mbd_key key_of(const l2_record &record);
std::string key_text(const mbd_key &key);

// Returns false when the record deletes what is not there.
bool apply_l2_record(l2_tables &tables, const l2_record &record, const sender_name &from);

} // namespace sim
