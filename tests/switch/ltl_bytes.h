// Requests to the LTL manager written out by hand, and its answers read back.
#pragma once

#include "tests/switch/test_service.h"

#include <cstdint>
#include <cstring>
#include <vector>

using test_words = std::vector<std::uint32_t>;

inline bytes words(const test_words &values) {
    message made;
    for (const std::uint32_t value : values) {
        made.u32(value);
    }
    return made;
}

inline test_words words_of(const bytes &payload) {
    test_words made(payload.size() / 4);
    std::memcpy(made.data(), payload.data(), made.size() * 4);
    return made;
}

inline constexpr std::uint32_t allocation = 90001;
inline constexpr std::uint32_t modification = 90002;
inline constexpr std::uint32_t release = 90003;
inline constexpr std::uint32_t flood_update = 90004;

inline sim::frame_head ltl_head(std::uint32_t opcode) {
    return request_head(230, opcode, 0);
}

// An allocation or modification of one entry, with cookie 0x99.
inline bytes ltl_payload(std::uint32_t key1, std::uint32_t key2, const test_words &interfaces) {
    message sent;
    sent.u32(0x99).u32(1).u32(key1).u32(key2).u32(static_cast<std::uint32_t>(interfaces.size()));
    return sent.add(words(interfaces));
}

inline bytes release_payload(std::uint32_t key1, std::uint32_t key2) {
    return words({0x99, 1, key1, key2, 0});
}

// One VLAN of a flood update: its changes are pairs of interface index and operation. What is not
// read is not zero.
struct test_flood {
    std::uint32_t vlan;
    std::uint32_t line_card_mask;
    test_words changes{};
};

inline bytes flood_payload(const std::vector<test_flood> &vlans) {
    message sent;
    sent.u32(0x99).u32(static_cast<std::uint32_t>(vlans.size()));
    for (const auto &[vlan, mask, changes] : vlans) {
        sent.u32(vlan).u32(0xeeeeeee1).u32(0xeeeeeee2).u32(mask).u32(0xeeeeeee3);
        sent.u32(static_cast<std::uint32_t>(changes.size() / 2)).add(words(changes));
    }
    return sent;
}
