#include "sim/wire/message_frame.h"

#include "sim/wire/frame.h"

#include <cstring>

namespace sim {

std::vector<std::byte> message_frame(std::uint32_t sap, std::uint32_t opcode,
                                     std::span<const std::byte> payload) {
    frame_head head{};
    head.magic = frame_magic;
    head.kind = frame_kind::message;
    head.length = static_cast<std::uint32_t>(payload.size());
    head.sap = sap;
    head.opcode = opcode;
    std::vector<std::byte> frame(sizeof head);
    std::memcpy(frame.data(), &head, sizeof head);
    frame.insert(frame.end(), payload.begin(), payload.end());
    return frame;
}

} // namespace sim
