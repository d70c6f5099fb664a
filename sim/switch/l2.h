// The layer-2 tables: snooping entries, flood lists and what else layer-2 messages leave in the
// switch, each message whole or not at all and all of it within the limits.
//
// The message that fills them. All its numbers are in network byte order, but the records'
// lengths.
//
//   message   u8 client id, 1 reserved, u16 number of records, 4 not read, the records back to back
//   record    at 0 u8 type, 8 u32 length in host byte order, 12 the fields of its type, then its
//             entries; it is as long as 80 bytes and its entries together, though the entries start
//             before byte 80
//   entry     of types 8 to 11 and 18: 8 bytes, two u32 words
//             of types 12 to 15, 21 and 22: 32 bytes, u32 kind, u32 flags, two u32 words,
//             16 bytes of value: nothing (kind 0), an IPv6 address (kind 1) or a u32 interface
//             index (kind 2)
//   address   u32 family, 16 bytes: an IPv4 (4), an IPv6 (8) or a MAC address (2)
#pragma once

#include "sim/base/address.h"
#include "sim/switch/client.h"

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <map>
#include <span>
#include <utility>
#include <vector>

namespace sim {

enum class l2_oif_kind : std::uint32_t { plain = 0, ipv6 = 1, if_index = 2 };

struct l2_oif {
    l2_oif_kind kind = l2_oif_kind::plain;
    std::uint32_t flags = 0;
    std::array<std::uint32_t, 2> words{};
    std::uint32_t if_index = 0;          // of kind if_index
    std::array<std::uint8_t, 16> ipv6{}; // of kind ipv6
};

using l2_pair = std::pair<std::uint32_t, std::uint32_t>;

struct l2_record {
    std::uint8_t type = 0;
    std::uint16_t vlan = 0;                // of types 12 to 15, 21 and 22
    std::vector<std::uint32_t> words{};    // the other fixed words, lowest offset first
    std::uint16_t flags = 0;               // of the same types
    std::array<l2_address, 2> addresses{}; // of the same types
    std::vector<l2_pair> pairs{};          // of types 8 to 11 and 18
    std::vector<l2_oif> oifs{};            // of the others
};

struct l2_message {
    std::uint8_t client_id = 0;
    std::vector<l2_record> records;
};

// As long as it was sent.
std::size_t record_size(const l2_record &record);

// Throws refusal.
l2_message decode_l2_message(std::span<const std::byte> message);

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
