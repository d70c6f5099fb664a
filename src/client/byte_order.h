// Fields in a caller's buffer, at any address, and their order in network messages.
#pragma once

#include <cstdint>
#include <cstring>

namespace vell {

template <typename Value>
inline Value load(const std::uint8_t *from) {
    Value value;
    std::memcpy(&value, from, sizeof(value));
    return value;
}

template <typename Value>
inline void store(std::uint8_t *to, Value value) {
    std::memcpy(to, &value, sizeof(value));
}

constexpr std::uint16_t swapped(std::uint16_t value) {
    return __builtin_bswap16(value);
}
constexpr std::uint32_t swapped(std::uint32_t value) {
    return __builtin_bswap32(value);
}
static_assert(swapped(std::uint16_t{0x1122}) == 0x2211 &&
              swapped(std::uint32_t{0x11223344}) == 0x44332211);

// Turns a field from host to network order where it lies, or back.
template <typename Value>
inline void convert(std::uint8_t *field) {
    store(field, swapped(load<Value>(field)));
}

} // namespace vell
