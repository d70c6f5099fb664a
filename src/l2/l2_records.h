// The records of a layer-2 multicast message: how each type is laid out, and its conversion to
// network order.
#pragma once

#include <cstdint>

namespace vell {

// Converts a record in place and returns its length.
using l2_conversion = std::uint32_t (*)(std::uint8_t *record);

// The conversion for records of a type, or null when they cannot be converted.
l2_conversion l2_conversion_of(std::uint8_t type);

} // namespace vell
