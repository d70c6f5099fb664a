// Messages of a head and records back to back, handed on as they get full.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <vector>

namespace feed {

// What is sent when one message is full, or when everything is in.
struct full_message {
    std::span<std::uint8_t> bytes;
    std::uint16_t records;
    bool first;
    bool last;
};

// False when the message could not be sent.
using batch_sender = std::function<bool(const full_message &)>;

class message_batch {
public:
    // No message gets longer than `message_bytes`, unless a single record needs more: that one has
    // a message to itself.
    message_batch(std::size_t head_bytes, std::uint32_t message_bytes, batch_sender send);

    // Zeroed room for a record of up to so many bytes, after sending the message so far when it has
    // no room for it. Null when that failed.
    std::uint8_t *room(std::size_t most_bytes);

    // The record is in its room, and took so many bytes of it.
    void take(std::size_t bytes);

    // Sends what is left, as the last message. False when that failed.
    bool finish();

    std::size_t messages_sent() const { return messages_sent_; }
    std::size_t records_sent() const { return records_sent_; }

private:
    bool send(bool last);
    void start(std::size_t first_record_bytes);

    std::size_t head_bytes_;
    std::uint32_t message_bytes_;
    batch_sender send_;
    std::vector<std::uint8_t> buffer_;
    std::size_t used_ = 0;
    std::uint16_t records_ = 0;
    std::size_t messages_sent_ = 0;
    std::size_t records_sent_ = 0;
};

} // namespace feed
