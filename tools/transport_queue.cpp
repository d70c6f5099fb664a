#include "transport_queue.h"

#include "input_error.h"

#include <kyt.h>
#include <kyt_sim.h>

#include <algorithm>
#include <fmt/format.h>
#include <limits.h>
#include <utility>

namespace feed {

namespace {

std::string run_dir() {
    char path[PATH_MAX];
    return kyt_sim_run_dir(path, sizeof path) == 0 ? path
                                                   : "the run directory (whose path is too long)";
}

// Behind a complaint that an answer did not come.
std::string may_be_done(const expected_action &action) {
    if (action.teller == nullptr)
        return {};
    return fmt::format("; the request may have been carried out all the same, which {} tells",
                       action.teller);
}

} // namespace

std::string no_switch() {
    return fmt::format("no switch answers in {}; start one with `vellsim run`, or point "
                       "VELLSIM_RUN_DIR at its run "
                       "directory",
                       run_dir());
}

std::uint32_t received_message::opcode() const {
    return kyt_sim_message_opcode(message_.get());
}

std::span<const std::uint8_t> received_message::payload() const {
    return {static_cast<const std::uint8_t *>(kyt_payload_get(message_.get())),
            kyt_sim_message_length(message_.get())};
}

void received_message::deleter::operator()(kyt_sim_message *message) const {
    kyt_sim_message_free(message);
}

transport_queue::transport_queue() : handle_(kyt_sim_queue_open()) {
    if (handle_ == 0)
        throw session_error("no transport queue could be opened: the process has no handle left");
}

transport_queue::~transport_queue() {
    if (handle_ != 0)
        kyt_sim_queue_close(handle_);
}

received_message transport_queue::await(const expected_action &action, int timeout_ms,
                                        int passed_ms) {
    kyt_sim_message *received = nullptr;
    const int result = kyt_sim_receive(handle_, std::max(timeout_ms - passed_ms, 0), &received);
    received_message message(received);
    if (result < 0) {
        throw session_error(fmt::format(
            "the switch closed the connection instead of {}; `vellsim show log` may say why{}",
            action.gerund, may_be_done(action)));
    }
    if (result == 0) {
        throw session_error(fmt::format(
            "the switch did not {} within {} ms{}", action.infinitive, timeout_ms,
            action.teller == nullptr ? "; if it is only slow, wait longer with --timeout"
                                     : may_be_done(action) + " (to wait longer: --timeout)"));
    }
    return message;
}

void transport_queue::check_connection(const char *teller) {
    int result = 0;
    do {
        kyt_sim_message *received = nullptr;
        result = kyt_sim_receive(handle_, 0, &received);
        kyt_sim_message_free(received);
    } while (result > 0);
    if (result < 0) {
        throw session_error(fmt::format(
            "everything was sent, but the switch closed the connection; {} tells what arrived",
            teller));
    }
}

void transport_queue::close() {
    kyt_sim_queue_close(std::exchange(handle_, 0));
    kyt_sim_counts counts{};
    kyt_sim_get_counts(&counts);
    if (counts.open_references > 0 || counts.wrong_drops > 0) {
        throw session_error(fmt::format(
            "the transport counts {} message references left open and {} wrong releases",
            counts.open_references, counts.wrong_drops));
    }
}

} // namespace feed
