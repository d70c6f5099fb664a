// Registration: the two requests of a client's life, and the acknowledgment.
//
//   register request     248 bytes: u8 client id 0, 3 reserved, u32 uuid, char[240] segment name, NUL-terminated
//   deregister request   248 bytes: u8 client id, 247 reserved
//   acknowledgment       2 bytes: u8 client id, u8 flags, bit 0 set when the registration is accepted
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace sim {

// The acknowledgment answers under the opcode of the request.
inline constexpr std::uint32_t register_ack_opcode = 75796;

inline constexpr std::uint32_t sap_registration = 212;

struct register_request {
    std::uint32_t uuid = 0;
    std::string segment;
};

// Both throw refusal.
register_request decode_register_request(std::span<const std::byte> message);
std::uint8_t decode_deregister_request(std::span<const std::byte> message);

// A whole frame, ready to send.
std::vector<std::byte> encode_register_ack(std::uint8_t id, bool accepted);

} // namespace sim
