// A registration with the switch, from opening the queue to closing it.
#pragma once

#include "transport_queue.h"

#include <cstdint>
#include <span>
#include <string>

namespace feed {

struct session_options {
    std::uint32_t uuid = 500;
    std::string segment = "vellfeed";
    int timeout_ms = 5000;
};

class client_session {
public:
    // Opens a queue, registers, and waits for the acknowledgment. Throws session_error.
    explicit client_session(const session_options &options);
    client_session(const client_session &) = delete;
    client_session &operator=(const client_session &) = delete;

    // Deregisters if close() did not, whatever comes of it, and closes the queue.
    ~client_session();

    // Each sends one message and releases its reference. False when it could not be sent. A layer-2 message is in
    // network byte order then.
    bool send_routes(std::span<std::uint8_t> message, std::uint16_t routes);
    bool send_l2(std::span<std::uint8_t> message, std::uint16_t records, std::uint16_t value);

    // Waits for the next message as long as for the acknowledgment. A switch may acknowledge twice, which is passed
    // over. Throws session_error.
    received_message await(const expected_action &action);

    // Deregisters and closes the queue. Throws session_error when the connection was lost, when the switch could not be
    // told, or when a message reference was not released, or wrongly. `teller` is the command that tells what arrived.
    void close(const char *teller = "`vellfeed compare`");

private:
    void acknowledge();

    int timeout_ms_;
    transport_queue queue_;
    bool registered_ = false;
};

// Throws session_error when `what` could not be sent.
void require_sent(bool sent, const char *what);

} // namespace feed
