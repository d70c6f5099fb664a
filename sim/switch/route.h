// Multicast routes as the switch holds them, and the route message.
#pragma once

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace sim {

// Routes are sorted by these members, in this order.
struct route_key {
    std::uint32_t table = 0;
    std::uint32_t group = 0;
    std::uint32_t source = 0;
    std::uint8_t source_length = 0;
    std::uint8_t group_length = 0;

    friend auto operator<=>(const route_key &, const route_key &) = default;
};

// "(10.0.0.9, 239.1.1.2)", without the table.
std::string key_text(const route_key &key);

struct oif_entry {
    std::uint32_t if_index = 0;
    std::uint32_t kind = 0;
};

using mti_entry = std::array<std::uint32_t, 4>;

inline constexpr std::size_t glt_data_size = 36;

struct glt_entry {
    std::array<std::uint32_t, 4> words{};
    std::array<std::uint8_t, glt_data_size> data{};
    std::uint32_t length = 0; // of the data in use
    std::uint32_t last = 0;
};

struct route_lists {
    std::vector<oif_entry> oifs;
    std::vector<mti_entry> mti;
    std::vector<glt_entry> glt;
};

struct route {
    std::uint64_t flags = 0;
    std::uint32_t epoch = 0;
    std::uint32_t rpf_if = 0;
    std::uint8_t df_ordinal = 0;
    std::uint8_t client = 0; // the id of the client that wrote it last
    route_lists lists;
};

// The message: IPv4 route updates and the dux role update.
//
//   message   u8 client id, 1 reserved, u16 number of records, u16 marker, 2 reserved, the records
//   record    at 0 u8 route opcode, 4 u64 flags, 12 u8 source prefix length,
//             13 u8 group prefix length, 16 u32 epoch, 20 u32 source, 24 u32 group,
//             28 u32 RPF interface, 32 u8 DF ordinal, 36 u32 table id, 40 the TLV array
//   array   u16 number of TLVs, u16 bytes of TLVs in units of 4 (this head not counted), the TLVs
//   TLV     u16 type, u16 length, value, padded to a multiple of 4
//   value   u32 number of entries, the entries back to back
//   entry   type 0, OIF:   8 bytes, u32 interface index, u32 kind (0, 1, 4, 8 or 12)
//           type 1, MTI:  16 bytes, four u32 words
//           type 2, GLT:  60 bytes, four u32 words, 36 bytes of data, u32 data length (36 at most),
//                         u32 word

struct route_record {
    std::uint8_t opcode = 0;
    route_key key;
    std::uint64_t flags = 0;
    std::uint32_t epoch = 0;
    std::uint32_t rpf_if = 0;
    std::uint8_t df_ordinal = 0;
    route_lists lists;
};

struct route_message {
    std::uint8_t client_id = 0;
    std::uint16_t marker = 0;
    std::vector<route_record> records;
};

// Throws refusal.
route_message decode_route_message(std::span<const std::byte> message);

// Whether the message is what the library's role operations send: their marker, and one record, of
// opcode 23.
bool is_dux_role_update(const route_message &message);

} // namespace sim
