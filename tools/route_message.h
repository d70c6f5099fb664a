// Route messages, filled with the library's operations and handed on as they get full.
#pragma once

#include "route.h"

#include <cstdint>
#include <functional>
#include <span>
#include <vector>

namespace feed {

// Sends one message of so many routes. False when it could not be sent.
using message_sender = std::function<bool(std::span<std::uint8_t> message, std::uint16_t routes)>;

class route_messages {
public:
    // No message gets longer than `message_bytes`, unless a single route needs more: that one has a message to itself.
    route_messages(std::uint32_t message_bytes, message_sender send);

    // Adds a route, after sending the message so far when it has no room for one more. False when that failed.
    bool add(const route &route);

    // Sends what is left. False when that failed.
    bool flush();

    std::size_t messages_sent() const { return messages_sent_; }
    std::size_t routes_sent() const { return routes_sent_; }

private:
    void start(std::size_t first_route_bytes);

    std::uint32_t message_bytes_;
    message_sender send_;
    std::vector<std::uint8_t> buffer_;
    std::size_t used_ = 0;
    std::uint16_t routes_ = 0;
    std::size_t messages_sent_ = 0;
    std::size_t routes_sent_ = 0;
};

} // namespace feed
