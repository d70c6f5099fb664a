// The notices: out-of-band markers, of which two bracket a batch of layer-2 messages, the end of a
// download, and the IPv6 route notice.
//
//   out-of-band marker   4 bytes: u32 marker
//   download complete    4 bytes: u32 0
//   IPv6 route notice    16 bytes: u8 client id, 1 reserved, u16 third value, 4 reserved, u32 first value, u32 second value
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

class batch_table {
public:
    batch_key begin(const sender_name &from);

    // Counts a message in; without effect when the batch is forgotten.
    void add_message(batch_key key, std::size_t records);

    // With an end marker, or without one: its connection ended, or another begin marker came.
    void end(batch_key key);
    void abandon(batch_key key);

    // An end marker that no begin marker came before.
    void add_lone_end(const sender_name &from);
    void add_other(const sender_name &from, std::uint32_t marker);

    // Oldest first.
    const std::deque<l2_batch> &all() const { return batches_; }
    const std::deque<other_marker> &others() const { return others_; }

private:
    l2_batch &add(const sender_name &from);
    l2_batch *find(batch_key key);

    std::deque<l2_batch> batches_;
    std::deque<other_marker> others_;
    batch_key last_key_ = 0;
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
