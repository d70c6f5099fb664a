// The notices: out-of-band markers, of which two bracket a batch of layer-2 messages, the end of a
// download, and the IPv6 route notice.
//
//   out-of-band marker   4 bytes: u32 marker
//   download complete    4 bytes: u32 0
//   IPv6 route notice    16 bytes: u8 client id, 1 reserved, u16 third value, 4 reserved,
//                        u32 first value, u32 second value
#pragma once

#include "sim/switch/client.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <span>
#include <string>

namespace sim {

using batch_key = std::uint64_t;

struct l2_batch {
    batch_key key = 0;
    sender_name from;
    std::string begun{}; // the time; empty when an end marker came alone
    std::string ended{}; // also when no end marker came
    std::uint64_t messages = 0;
    std::uint64_t records = 0;
    bool open = false;
};

struct other_marker {
    sender_name from;
    std::uint32_t marker = 0;
    std::string time{};
};

struct batch_table {
    std::deque<l2_batch> batches{}; // oldest first
    std::deque<other_marker> others{};
    batch_key last_key = 0;

    // Null when the batch is forgotten.
    l2_batch *find(batch_key key);

    // It has no end marker: its connection ended, or another begin marker came.
    void abandon(batch_key key);
};

struct ipv6_notice {
    std::uint8_t client_id = 0;
    std::uint32_t first = 0;
    std::uint32_t second = 0;
    std::uint16_t third = 0;
};

// Throws refusal.
ipv6_notice decode_ipv6_notice(std::span<const std::byte> message);

} // namespace sim
