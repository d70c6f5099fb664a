#include "client_session.h"

#include "input_error.h"
#include "sim/wire/protocol.h"

#include <kyt.h>
#include <vell.h>

#include <algorithm>
#include <chrono>
#include <fmt/format.h>
#include <utility>

namespace feed {

namespace {

// A client id and the flags byte.
constexpr std::uint32_t acknowledgment_opcode = VELL_SIM_OPCODE_REGISTER;
constexpr std::size_t acknowledgment_bytes = 2;

// Before anything is opened.
int checked_timeout(const session_options &options) {
    if (VELL_SIM_HAS_SEGMENT(options.uuid) && options.segment.size() > VELL_SHM_NAME_MAX) {
        throw usage_error(
            fmt::format("the segment name is {} bytes long, {} is the most (--segment)",
                        options.segment.size(), VELL_SHM_NAME_MAX));
    }
    return options.timeout_ms;
}

// Why vell_register_ack did not take an acknowledgment.
std::string refusal_text(const received_message &message) {
    constexpr std::uint8_t accepted_bit = 1;
    if ((message.payload()[1] & accepted_bit) != 0)
        return "the switch accepted the registration with client id 0, which is no id";
    return "the switch refused the registration; `vellsim show log` says why";
}

std::pair<std::uint32_t, std::vector<std::uint8_t>> copy_of(const received_message &message) {
    const auto payload = message.payload();
    return {message.opcode(), {payload.begin(), payload.end()}};
}

} // namespace

client_session::client_session(const session_options &options)
    : timeout_ms_(checked_timeout(options)) {
    if (vell_register(queue_.handle(), options.uuid, options.segment.c_str()) == 0)
        throw session_error(no_switch());
    acknowledge();
    registered_ = true;
}

void client_session::acknowledge() {
    const received_message message = queue_.await(
        {"acknowledge the registration", "acknowledging the registration"}, timeout_ms_);
    const std::size_t length = message.payload().size();
    if (length < acknowledgment_bytes) {
        throw session_error(
            fmt::format("the switch answered the registration with a message of {} bytes, an "
                        "acknowledgment has {}",
                        length, acknowledgment_bytes));
    }
    if (vell_register_ack(message.handle()) == 0)
        throw session_error(refusal_text(message));
}

bool client_session::came_before(const received_message &message) const {
    return message.opcode() == acknowledgment_opcode || answers_.contains(copy_of(message));
}

received_message client_session::await(const expected_action &action, const answer_test &answers) {
    using clock = std::chrono::steady_clock;
    const clock::time_point began = clock::now();
    for (;;) {
        const auto passed =
            std::chrono::duration_cast<std::chrono::milliseconds>(clock::now() - began).count();
        received_message message = queue_.await(
            action, timeout_ms_, static_cast<int>(std::min<long long>(passed, timeout_ms_)));
        const bool answer = answers(message);
        if (answer)
            answers_.insert(copy_of(message));
        if (answer || !came_before(message))
            return message;
    }
}

client_session::~client_session() {
    if (registered_)
        vell_deregister();
}

bool client_session::send_routes(std::span<std::uint8_t> message, std::uint16_t routes) {
    kyt_msg_ref reference{};
    const auto length = static_cast<std::uint32_t>(message.size());
    if (vell_send_v4_mroute_update(message.data(), length, routes, 0, &reference) == 0)
        return false;
    kyt_drop(queue_.handle(), &reference);
    return true;
}

bool client_session::send_l2(std::span<std::uint8_t> message, std::uint16_t records,
                             std::uint16_t value) {
    kyt_msg_ref reference{};
    const auto length = static_cast<std::uint32_t>(message.size());
    const auto address = static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(&reference));
    if (vell_send_l2_mc_update(message.data(), length, records, value, address) == 0)
        return false;
    kyt_drop(queue_.handle(), &reference);
    return true;
}

void client_session::close(const char *teller) {
    queue_.check_connection(teller);
    registered_ = false;
    const bool deregistered = vell_deregister() == 1;
    if (!deregistered)
        throw session_error(
            "everything was sent, but the switch went away before the client could deregister");
    queue_.close();
}

void require_sent(bool sent, const char *what) {
    if (!sent)
        throw session_error(fmt::format("the {} could not be sent: the switch went away", what));
}

} // namespace feed
