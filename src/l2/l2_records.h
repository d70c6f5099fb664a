// The records of a layer-2 multicast message: how each type is laid out, and its conversion to network order.
#pragma once

#include <cstdint>

namespace vell {

enum class l2_entries : std::uint8_t {
    none,  // not a record that can be converted
    pairs, // 8 bytes: two u32
    oifs,  // 32 bytes: kind, three u32 and a value of that kind
};

// Where a record type has its fields, as offsets from the record's start; 0 ends or stands for a field it does not have.
struct l2_layout {
    std::uint8_t words[6];          // fixed u32 fields
    std::uint8_t half;              // the u16
    std::uint8_t address_blocks[2]; // u32 kind and 16 bytes of address each
    std::uint8_t count;             // u32 number of entries
    std::uint8_t first_entry;
    l2_entries entries;
};

// The layout of a record type, or null when its records cannot be converted.
const l2_layout *l2_layout_of(std::uint8_t type);

// Converts a record in place and returns its length.
std::uint32_t convert_l2_record(const l2_layout &layout, std::uint8_t *record);

} // namespace vell
