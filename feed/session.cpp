#include "feed/session.h"

#include "sim/base/deadline.h"
#include "sim/wire/protocol.h"
#include "sim/wire/vell_sim.h"

#include <kyt.h>
#include <kyt_sim.h>
#include <vell.h>

#include <climits>
#include <fmt/format.h>
#include <utility>

namespace feed {

namespace {

constexpr char segment_name[] = "vellfeed";

// The library's, which is one for the process: a session that cannot deregister leaves it the client
// id, and with one it refuses to register.
bool library_has_client_id = false;

bool deregister() {
    const bool is_done = vell_deregister() == 1;
    library_has_client_id = library_has_client_id && !is_done;
    return is_done;
}

std::string run_dir() {
    char path[PATH_MAX];
    return kyt_sim_run_dir(path, sizeof path) == 0 ? path
                                                   : "the run directory (whose path is too long)";
}

std::uint32_t open_queue() {
    const std::uint32_t queue = kyt_sim_queue_open();
    if (queue == 0) {
        throw session_error("no transport queue could be opened: the process has no handle left");
    }
    return queue;
}

} // namespace

std::string no_switch() {
    return fmt::format("no switch answers in {}; start one with `vellsim run`, or name its run "
                       "directory with --run-dir",
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

session::session(const session_options &options) : options_(options), queue_(open_queue()) {}

session::~session() {
    if (queue_ == 0) {
        return;
    }
    if (registered_) {
        deregister();
    }
    vell_register_kyt_q(0);
    kyt_sim_queue_close(queue_);
}

int session::fd() const {
    return kyt_sim_queue_fd(queue_);
}

bool session::start_registration() {
    registered_ = false;
    if (library_has_client_id) {
        // It gives the id up only for a deregistration that could be sent.
        vell_register_kyt_q(queue_);
        if (!deregister()) {
            return false;
        }
    }
    vell_register_kyt_q(0);
    awaits_answer_ = vell_register(queue_, options_.uuid, segment_name) == 1;
    return awaits_answer_;
}

void session::give_up_registration() const {
    throw session_error(fmt::format("no answer to the registration within {} ms; if the switch is "
                                    "only slow, wait longer with --timeout",
                                    options_.timeout_ms));
}

void session::register_client() {
    if (!start_registration()) {
        throw session_error(no_switch());
    }
    const sim::deadline end = sim::deadline::after_ms(options_.timeout_ms);
    while (!registered_) {
        if (!receive(end.left_ms()) && !registered_ && end.left_ms() == 0) {
            give_up_registration();
        }
    }
}

void session::take_registration_answer(const received_message &message) {
    vell_sim_registration answer{};
    if (vell_sim_registration_answer(static_cast<const kyt_sim_message *>(message.handle()),
                                     &answer) != VELL_SIM_READ ||
        (answer.accepted == 0 && !awaits_answer_)) {
        return;
    }
    awaits_answer_ = false;
    registered_ = vell_register_ack(message.handle()) == 1;
    library_has_client_id = registered_;
    if (!registered_) {
        throw session_error(
            answer.accepted == 0
                ? "the switch refused the registration; `vellsim show log` says why"
            : answer.client_id == 0
                ? "the switch accepted the registration with client id 0, which is not an id"
                : "the switch's answer to the registration cannot be read");
    }
}

std::optional<received_message> session::receive(int timeout_ms) {
    const sim::deadline end = sim::deadline::after_ms(timeout_ms);
    for (;;) {
        kyt_sim_message *received = nullptr;
        const int result = kyt_sim_receive(queue_, end.left_ms(), &received);
        if (result < 0) {
            registered_ = false;
            throw session_error("the switch closed the connection; `vellsim show log` may say why");
        }
        if (result == 0) {
            return std::nullopt;
        }
        received_message message(received);
        if (message.opcode() != VELL_SIM_OPCODE_REGISTER) {
            return message;
        }
        take_registration_answer(message);
        if (timeout_ms != 0 && registered_) {
            return std::nullopt;
        }
    }
}

received_message session::await(std::string_view request,
                                const std::function<bool(const received_message &)> &is_answer) {
    const sim::deadline end = sim::deadline::after_ms(options_.timeout_ms);
    for (;;) {
        std::optional<received_message> message = receive(end.left_ms());
        if (message && is_answer(*message)) {
            return std::move(*message);
        }
        if (!message && end.left_ms() == 0) {
            throw session_error(
                fmt::format("no answer to the {} within {} ms (to wait longer: --timeout); it may "
                            "have been carried out all the same",
                            request, options_.timeout_ms));
        }
    }
}

void session::require_sent(bool sent, std::string_view what) {
    if (!sent) {
        registered_ = false;
        throw session_error(fmt::format("the {} could not be sent: the switch went away", what));
    }
}

void session::send_routes(std::span<std::uint8_t> message, std::uint16_t routes) {
    kyt_msg_ref reference{};
    require_sent(vell_send_v4_mroute_update(message.data(),
                                            static_cast<std::uint32_t>(message.size()), routes, 0,
                                            &reference) != 0,
                 "route message");
    kyt_drop(queue_, &reference);
}

void session::send_groups(std::span<std::uint8_t> message, std::uint16_t records) {
    kyt_msg_ref reference{};
    const auto address = static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(&reference));
    require_sent(vell_send_l2_mc_update(message.data(), static_cast<std::uint32_t>(message.size()),
                                        records, 0, address) != 0,
                 "layer-2 message");
    kyt_drop(queue_, &reference);
}

void session::close(std::string_view teller) {
    try {
        while (receive(0)) {
        }
    } catch (const session_error &) {
        throw session_error(fmt::format(
            "everything was sent, but the switch closed the connection; {} shows what arrived",
            teller));
    }
    const bool deregistered = !registered_ || deregister();
    registered_ = false;
    if (!deregistered) {
        throw session_error(
            "everything was sent, but the switch went away before the client could deregister");
    }
    kyt_sim_queue_close(std::exchange(queue_, 0));
    kyt_sim_counts counts{};
    kyt_sim_get_counts(&counts);
    if (counts.open_references > 0 || counts.wrong_drops > 0) {
        throw session_error(fmt::format("the transport counts message references that were left "
                                        "open ({}) or released wrongly ({})",
                                        counts.open_references, counts.wrong_drops));
    }
}

} // namespace feed
