// Messages written out by hand.
#pragma once

#include "sim/switch/byte_reader.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

using bytes = std::vector<std::byte>;

inline bytes literal(const std::vector<int> &values) {
    bytes made;
    for (const int value : values) {
        made.push_back(static_cast<std::byte>(value));
    }
    return made;
}

// A message put together field by field, little-endian.
class message {
public:
    message &u8(std::uint32_t value) { return number(value, 1); }
    message &u16(std::uint32_t value) { return number(value, 2); }
    message &u32(std::uint32_t value) { return number(value, 4); }
    message &u64(std::uint64_t value) { return number(value, 8); }
    message &fill(std::size_t count, int value) {
        made_.insert(made_.end(), count, static_cast<std::byte>(value));
        return *this;
    }
    message &text(std::string_view value, std::size_t size) {
        for (std::size_t i = 0; i < size; ++i) {
            u8(i < value.size() ? static_cast<unsigned char>(value[i]) : 0);
        }
        return *this;
    }
    message &add(const bytes &more) {
        made_.insert(made_.end(), more.begin(), more.end());
        return *this;
    }

    operator const bytes &() const { return made_; }
    const bytes &get() const { return made_; }

private:
    message &number(std::uint64_t value, std::size_t width) {
        for (std::size_t i = 0; i < width; ++i) {
            made_.push_back(static_cast<std::byte>(value >> 8 * i & 0xff));
        }
        return *this;
    }

    bytes made_;
};

// The same message with other bytes from an offset on.
inline bytes patched(bytes original, std::size_t offset, const std::vector<int> &values) {
    const bytes replacement = literal(values);
    std::ranges::copy(replacement, original.begin() + static_cast<std::ptrdiff_t>(offset));
    return original;
}

inline bytes cut(bytes original, std::size_t size) {
    original.resize(size);
    return original;
}

// What a decoder refuses, as "offset 12: reason"; "accepted" when it does not.
template <typename Decode>
std::string refusal_of(Decode decode) {
    try {
        decode();
    } catch (const sim::refusal &why) {
        return sim::describe(why);
    }
    return "accepted";
}
