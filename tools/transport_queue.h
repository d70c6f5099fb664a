// A queue of the transport, from opening it to closing it, and what arrives on it.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>

struct kyt_sim_message;

namespace feed {

class received_message {
public:
    explicit received_message(kyt_sim_message *message) : message_(message) {}

    std::uint32_t opcode() const;
    std::span<const std::uint8_t> payload() const;

    // As the library takes it.
    void *handle() const { return message_.get(); }

private:
    struct deleter {
        void operator()(kyt_sim_message *message) const;
    };
    std::unique_ptr<kyt_sim_message, deleter> message_;
};

// What the switch is waited for to do, twice: "acknowledge the registration", "acknowledging the
// registration". Of a request that may have been carried out although nothing tells so, `teller` is
// the command that does.
struct expected_action {
    std::string infinitive;
    std::string gerund;
    const char *teller = nullptr;
};

class transport_queue {
public:
    // Throws session_error when there is none.
    transport_queue();
    transport_queue(const transport_queue &) = delete;
    transport_queue &operator=(const transport_queue &) = delete;
    ~transport_queue();

    std::uint32_t handle() const { return handle_; }

    // Throws session_error when nothing came in time, or the connection was lost. `passed_ms` of
    // the time is over.
    received_message await(const expected_action &action, int timeout_ms, int passed_ms = 0);

    // A send only hands a message over; that nobody took it may show later. Throws session_error
    // when the connection was lost; `teller` is the command that tells what arrived all the same.
    void check_connection(const char *teller);

    // Closes the queue. Throws session_error when a message reference was not released, or wrongly.
    void close();

private:
    std::uint32_t handle_;
};

// The switch could not be reached, in words for a session_error.
std::string no_switch();

} // namespace feed
