// A transport that the test plays: it keeps what is sent and answers what it is told to.
#pragma once

#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

namespace feed {

struct fake_request {
    std::uint32_t sap;
    std::uint32_t opcode;
    std::vector<std::uint8_t> payload;
};

// A message that arrives. The bytes alone will do where nobody asks for the opcode.
struct fake_answer {
    fake_answer(std::vector<std::uint8_t> bytes, std::uint32_t code = 0)
        : payload(std::move(bytes)), opcode(code) {}

    std::vector<std::uint8_t> payload;
    std::uint32_t opcode;
    std::uint32_t sap = 230; // the LTL manager's; nobody asks for another's
};

struct fake_transport {
    // What it is told.
    bool no_queue = false;
    std::size_t fail_send = 1000000;                 // this send and those behind it fail
    std::vector<std::optional<fake_answer>> answers; // what arrives, in order; none: nothing does
    int result_without_answer = 0; // of a receive: 0 nothing came, -1 connection lost
    int delay_ms = 0;              // of a receive that something comes of
    bool lose_drops = false;       // keep counting references that are released

    // What it saw.
    std::vector<fake_request> requests;
    std::size_t received = 0;
    int last_timeout = 0;
    int open_queues = 0;
    int open_references = 0;
    int wrong_drops = 0;
    int messages_alive = 0;

    // The one that the platform's functions act on.
    static fake_transport &current();

    // Makes it new, and the library unregistered.
    static void reset();
};

} // namespace feed
