// The framing of the simulator's aligned TLV arrays.
//
//      0       2       4       6       8            8 + length
//      +-------+-------+-------+-------+------------+---------+-------+-------+-- - -
//      | count | words | type  | length| value      | 0 to 3  | type  | length| value
//      |  u16  |  u16  |  u16  |  u16  |            | zeros   |  u16  |  u16  |
//      +-------+-------+-------+-------+------------+---------+-------+-------+-- - -
//      |<--- head ---->|<------------ one TLV --------------->|<---- the next TLV
//
// `count` is the number of TLVs, `words` the bytes that they take in units of 4. A TLV's length is
// that of its value alone, without the zeros that bring the next TLV to a multiple of 4 from the
// array's start. All numbers are in host byte order, and nothing is expected of the array's own
// address. So 4 zero bytes are an array with no TLV in it.
#pragma once

#include <cstdint>

namespace sim {

inline constexpr std::uint32_t tlv_unit = 4;

struct tlv_array_head {
    std::uint16_t count;
    std::uint16_t words;
};

struct tlv_head {
    std::uint16_t type;
    std::uint16_t length;
};

static_assert(sizeof(tlv_array_head) == 4 && sizeof(tlv_head) == 4);

// What the functions return.
enum tlv_result : std::uint32_t {
    tlv_ok = 0,
    tlv_no_more = 1,      // the cursor is after the last TLV
    tlv_malformed = 2,    // the TLV at the cursor reaches beyond the array
    tlv_bad_argument = 3, // something to read from or write to is null
    tlv_no_room = 4,      // the capacity, or what `count` and `words` can say, would be exceeded
};

} // namespace sim
