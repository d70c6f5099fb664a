// A client of the service: one queue and one registration, from opening the queue to closing it, and
// registered again whenever the service has lost it.
//
// Everything that goes wrong with the switch is a session_error.
#pragma once

#include "feed/failure.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

struct kyt_sim_message;

namespace feed {

struct session_options {
    std::uint32_t uuid = 500;
    int timeout_ms = 5000; // for each answer of the switch
};

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

class session {
public:
    explicit session(const session_options &options);
    session(const session &) = delete;
    session &operator=(const session &) = delete;

    // Deregisters if close() did not, whatever comes of it, and closes the queue.
    ~session();

    std::uint32_t queue() const { return queue_; }
    int timeout_ms() const { return options_.timeout_ms; }

    // Readable when a message has arrived; -1 without a connection.
    int fd() const;

    // Sends the registration, and after a loss what the library needs first. False when no switch
    // takes it. Its answer is read by receive().
    bool start_registration();
    // Throws that the answer did not come in time.
    [[noreturn]] void give_up_registration() const;
    bool is_registered() const { return registered_; }

    // Registers and waits for the answer.
    void register_client();

    // The next message, after up to `timeout_ms`. Answers to a registration are handled here
    // and not returned: an accepted one registers the client, a refused one throws.
    std::optional<received_message> receive(int timeout_ms);

    // Waits for the answer to a request, whose name is for the error. Other messages are skipped:
    // they are late, or repeated.
    received_message await(std::string_view request,
                           const std::function<bool(const received_message &)> &is_answer);

    // Throws when `sent` is false: the transport did not take the message.
    void require_sent(bool sent, std::string_view what);

    // Each sends one message and releases its reference. A layer-2 message is in network byte order
    // afterwards.
    void send_routes(std::span<std::uint8_t> message, std::uint16_t routes);
    void send_groups(std::span<std::uint8_t> message, std::uint16_t records);

    // A number for a request whose answer repeats it, another one each time.
    std::uint32_t new_cookie() { return ++last_cookie_; }

    // Checks that the connection lived to the end, deregisters, and closes the queue. `teller` is the
    // command that shows what arrived: "`vellsim show routes`".
    void close(std::string_view teller);

private:
    void take_registration_answer(const received_message &message);

    session_options options_;
    std::uint32_t queue_;
    bool registered_ = false;
    bool awaits_answer_ = false; // to a registration
    std::uint32_t last_cookie_ = 0;
};

// "no switch answers in /run/user/1000/vellsim; start one with `vellsim run`, ..."
std::string no_switch();

} // namespace feed
