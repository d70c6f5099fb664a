// The TLV array at the end of a route record: its interface and encapsulation lists.
//
//   array   u16 number of TLVs, u16 bytes of TLVs in units of 4 (this head not counted), the TLVs
//   TLV     u16 type, u16 length, value, padded to a multiple of 4
//   value   u32 number of entries, the entries back to back
//   entry   type 0, OIF:   8 bytes, u32 interface index, u32 kind (0, 1, 4, 8 or 12)
//           type 1, MTI:  16 bytes, four u32 words
//           type 2, GLT:  60 bytes, four u32 words, 36 bytes of data, u32 data length (36 at most), u32 word
#pragma once

#include "sim/switch/byte_reader.h"
#include "sim/switch/route.h"

namespace sim {

// Reads one array and leaves the reader behind it. Throws refusal.
route_lists decode_route_lists(byte_reader &reader);

} // namespace sim
