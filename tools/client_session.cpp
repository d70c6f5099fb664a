#include "client_session.h"

#include "input_error.h"
#include "meanings.h"

#include <kyt.h>
#include <kyt_desk.h>
#include <vell.h>

#include <fmt/format.h>
#include <limits.h>
#include <memory>

namespace feed {

namespace {

// A client id and the flags byte.
constexpr std::uint32_t acknowledgment_bytes = 2;

struct message_deleter {
    void operator()(kyt_desk_message *message) const { kyt_desk_message_free(message); }
};
using message_ptr = std::unique_ptr<kyt_desk_message, message_deleter>;

std::string run_dir() {
    char path[PATH_MAX];
    return kyt_desk_run_dir(path, sizeof path) == 0 ? path : "the run directory (whose path is too long)";
}

std::string no_switch() {
    return fmt::format("no switch answers in {}; start one with `vellsim run`, or point VELLSIM_RUN_DIR at its run "
                       "directory",
                       run_dir());
}

bool needs_segment(std::uint32_t uuid) {
    for (const std::uint32_t without : desk::uuids_without_segment) {
        if (uuid == without)
            return false;
    }
    return true;
}

void check_segment(const session_options &options) {
    if (needs_segment(options.uuid) && options.segment.size() > VELL_SHM_NAME_MAX) {
        throw usage_error(fmt::format("the segment name is {} bytes long, {} is the most (--segment)",
                                      options.segment.size(), VELL_SHM_NAME_MAX));
    }
}

} // namespace

client_session::client_session(const session_options &options) {
    check_segment(options);
    queue_ = kyt_desk_queue_open();
    if (queue_ == 0)
        throw session_error("no transport queue could be opened: the process has no handle left");
    try {
        if (vell_register(queue_, options.uuid, options.segment.c_str()) == 0)
            throw session_error(no_switch());
        await_acknowledgment(options.timeout_ms);
    } catch (...) {
        close_queue();
        throw;
    }
}

void client_session::await_acknowledgment(int timeout_ms) {
    kyt_desk_message *received = nullptr;
    const int result = kyt_desk_receive(queue_, timeout_ms, &received);
    const message_ptr message(received);
    if (result < 0) {
        throw session_error("the switch closed the connection instead of acknowledging the registration; "
                            "`vellsim show log` may say why");
    }
    if (result == 0) {
        throw session_error(fmt::format("the switch did not acknowledge the registration within {} ms; if it is only "
                                        "slow, wait longer with --timeout",
                                        timeout_ms));
    }
    const std::uint32_t length = kyt_desk_message_length(message.get());
    if (length < acknowledgment_bytes) {
        throw session_error(fmt::format("the switch answered the registration with a message of {} bytes, an "
                                        "acknowledgment has {}",
                                        length, acknowledgment_bytes));
    }
    if (vell_register_ack(message.get()) == 0)
        throw session_error("the switch refused the registration; `vellsim show log` says why");
}

client_session::~client_session() {
    if (queue_ == 0)
        return;
    vell_deregister();
    close_queue();
}

bool client_session::send_routes(std::span<std::uint8_t> message, std::uint16_t routes) {
    kyt_msg_ref reference{};
    const auto length = static_cast<std::uint32_t>(message.size());
    if (vell_send_v4_mroute_update(message.data(), length, routes, 0, &reference) == 0)
        return false;
    kyt_drop(queue_, &reference);
    return true;
}

// A send only hands a message over; that nobody took it may show later.
void client_session::check_connection() {
    int result = 0;
    do {
        kyt_desk_message *received = nullptr;
        result = kyt_desk_receive(queue_, 0, &received);
        kyt_desk_message_free(received);
    } while (result > 0);
    if (result < 0) {
        throw session_error("everything was sent, but the switch closed the connection; `vellfeed compare` tells what "
                            "arrived");
    }
}

void client_session::close() {
    check_connection();
    const bool deregistered = vell_deregister() == 1;
    close_queue();
    if (!deregistered)
        throw session_error("everything was sent, but the switch went away before the client could deregister");
    kyt_desk_counts counts{};
    kyt_desk_get_counts(&counts);
    if (counts.open_references > 0 || counts.wrong_drops > 0) {
        throw session_error(fmt::format("the transport counts {} message references left open and {} wrong releases",
                                        counts.open_references, counts.wrong_drops));
    }
}

void client_session::close_queue() {
    kyt_desk_queue_close(queue_);
    queue_ = 0;
}

} // namespace feed
