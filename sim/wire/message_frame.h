// A whole frame to a client's queue, ready to send.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace sim {

std::vector<std::byte> message_frame(std::uint32_t sap, std::uint32_t opcode,
                                     std::span<const std::byte> payload);

} // namespace sim
