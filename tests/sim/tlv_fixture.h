// Room for a TLV array at an address of one's choice, with marked bytes around it.
#pragma once

#include <tlv.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace sim_test {

using bytes = std::vector<std::uint8_t>;

inline bytes operator+(bytes left, const bytes &right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

inline constexpr std::uint8_t untouched = 0xcc;

inline std::uint32_t address_of(const void *at) {
    return static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(at));
}

// What a caller keeps between two appends.
struct append_state {
    std::uint32_t position = 0;
    std::uint32_t size = 0;

    std::uint32_t append(void *array, std::uint32_t capacity, std::uint16_t type,
                         const bytes &value) {
        return tlv_aligned_array_append_tlv(array, &position, &size, capacity, type,
                                            static_cast<std::uint16_t>(value.size()), value.data(),
                                            0);
    }

    bool operator==(const append_state &) const = default;
};

// What get_next_tlv gives out, preset to what it must not leave behind.
struct found_tlv {
    std::uint16_t type = 0xdddd;
    std::uint16_t length = 0xeeee;
    const void *value = nullptr;

    std::uint32_t next(const void *array, std::uint32_t &cursor) {
        return tlv_aligned_array_get_next_tlv(array, &type, &length, &value, 0, &cursor);
    }

    bool operator==(const found_tlv &) const = default;
};

} // namespace sim_test
