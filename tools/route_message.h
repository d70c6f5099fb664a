// Route messages, filled with the library's operations and handed on as they get full.
#pragma once

#include "message_batch.h"
#include "route.h"

#include <cstdint>
#include <functional>
#include <span>

namespace feed {

// Sends one message of so many routes. False when it could not be sent.
using message_sender = std::function<bool(std::span<std::uint8_t> message, std::uint16_t routes)>;

class route_messages {
public:
    // See message_batch.
    route_messages(std::uint32_t message_bytes, message_sender send);

    // Adds a route, after sending the message so far when it has no room for one more. False when
    // that failed.
    bool add(const route &route);

    // Sends what is left. False when that failed.
    bool finish() { return batch_.finish(); }

    std::size_t messages_sent() const { return batch_.messages_sent(); }
    std::size_t records_sent() const { return batch_.records_sent(); }

private:
    message_batch batch_;
};

} // namespace feed
