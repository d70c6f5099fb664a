// A registration with the switch, from opening the queue to closing it.
#pragma once

#include "transport_queue.h"

#include <cstdint>
#include <functional>
#include <set>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace feed {

struct session_options {
    std::uint32_t uuid = 500;
    std::string segment = "vellfeed";
    int timeout_ms = 5000;
};

// Whether a message answers the request that was sent last.
using answer_test = std::function<bool(const received_message &message)>;

class client_session {
public:
    // Opens a queue, registers, and waits for the acknowledgment. Throws session_error.
    explicit client_session(const session_options &options);
    client_session(const client_session &) = delete;
    client_session &operator=(const client_session &) = delete;

    // Deregisters if close() did not, whatever comes of it, and closes the queue.
    ~client_session();

    // Each sends one message and releases its reference. False when it could not be sent. A layer-2
    // message is in network byte order then.
    bool send_routes(std::span<std::uint8_t> message, std::uint16_t routes);
    bool send_l2(std::span<std::uint8_t> message, std::uint16_t records, std::uint16_t value);

    // A number for a request that is answered with it, another one each time.
    std::uint32_t new_cookie() { return ++last_cookie_; }

    // Waits for an answer as long as for the acknowledgment. A switch may acknowledge or answer
    // twice: what came before is passed over, unless it answers this request as well. Any other
    // message is returned, for the caller to say what is wrong with it. Throws session_error.
    received_message await(const expected_action &action, const answer_test &answers);

    // Deregisters and closes the queue. Throws session_error when the connection was lost, when the
    // switch could not be told, or when a message reference was not released, or wrongly. `teller`
    // is the command that tells what arrived.
    void close(const char *teller = "`vellfeed compare`");

private:
    void acknowledge();
    bool came_before(const received_message &message) const;

    int timeout_ms_;
    transport_queue queue_;
    bool registered_ = false;
    std::uint32_t last_cookie_ = 0;
    std::set<std::pair<std::uint32_t, std::vector<std::uint8_t>>> answers_; // opcodes and payloads
};

// Throws session_error when `what` could not be sent.
void require_sent(bool sent, const char *what);

} // namespace feed
