// A registration with the switch, from opening the queue to closing it.
#pragma once

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

    // Sends one route message and releases its reference. False when it could not be sent.
    bool send_routes(std::span<std::uint8_t> message, std::uint16_t routes);

    // Deregisters and closes the queue. Throws session_error when the connection was lost, when the switch could not be
    // told, or when a message reference was not released, or wrongly.
    void close();

private:
    void await_acknowledgment(int timeout_ms);
    void check_connection();
    void close_queue();

    std::uint32_t queue_ = 0;
};

} // namespace feed
