// Frames as the switch and its clients send them, byte by byte.
#pragma once

#include "sim/wire/frame.h"
#include "tests/support/bytes.h"

#include <cstdint>
#include <cstring>
#include <string>

namespace sim_test {

inline bytes bytes_of(const sim::frame_head &head) {
    bytes result(sizeof head);
    std::memcpy(result.data(), &head, sizeof head);
    return result;
}

inline sim::frame_head head_of(sim::frame_kind kind, std::uint32_t opcode, std::size_t length) {
    sim::frame_head head{};
    head.magic = sim::frame_magic;
    head.kind = kind;
    head.length = static_cast<std::uint32_t>(length);
    head.opcode = opcode;
    return head;
}

// What the switch sends to a client's queue.
inline bytes message(std::uint32_t opcode, const bytes &payload) {
    return bytes_of(head_of(sim::frame_kind::message, opcode, payload.size())) + payload;
}

// What it sends before it closes the connection.
inline bytes closing(const std::string &why) {
    return bytes_of(head_of(sim::frame_kind::closing, 0, why.size())) +
           bytes(why.begin(), why.end());
}

} // namespace sim_test
