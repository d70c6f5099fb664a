// Layer-2 messages, filled in host byte order and handed on as they get full.
#pragma once

#include "l2_changes.h"
#include "message_batch.h"

#include <cstdint>
#include <functional>
#include <span>

namespace feed {

// Sends one message of so many records, which it may change. False when it could not be sent.
using l2_sender = std::function<bool(std::span<std::uint8_t> message, std::uint16_t records)>;

class l2_messages {
public:
    // See message_batch. With `markers` the first message asks for the begin marker and the last
    // one for the end marker.
    l2_messages(std::uint32_t message_bytes, bool markers, l2_sender send);

    // Adds a record, after sending the message so far when it has no room for one more. False when
    // that failed.
    bool add(const l2_change &change);

    // Sends what is left. False when that failed.
    bool finish() { return batch_.finish(); }

    std::size_t messages_sent() const { return batch_.messages_sent(); }
    std::size_t records_sent() const { return batch_.records_sent(); }

private:
    message_batch batch_;
};

} // namespace feed
