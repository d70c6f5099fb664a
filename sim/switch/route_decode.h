// The route message: IPv4 route updates and the dux role update.
//
//   message   u8 client id, 1 reserved, u16 number of records, u16 marker, 2 reserved, the records back to back
//   record    at 0 u8 route opcode, 4 u64 flags, 12 u8 source mask length, 13 u8 group mask length, 16 u32 epoch,
//             20 u32 source, 24 u32 group, 28 u32 RPF interface, 32 u8 DF ordinal, 36 u32 table id, 40 the TLV array
//   array   u16 number of TLVs, u16 bytes of TLVs in units of 4 (this head not counted), the TLVs
//   TLV     u16 type, u16 length, value, padded to a multiple of 4
//   value   u32 number of entries, the entries back to back
//   entry   type 0, OIF:   8 bytes, u32 interface index, u32 kind (0, 1, 4, 8 or 12)
//           type 1, MTI:  16 bytes, four u32 words
//           type 2, GLT:  60 bytes, four u32 words, 36 bytes of data, u32 data length (36 at most), u32 word
#pragma once

#include "sim/switch/route.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace sim {

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
