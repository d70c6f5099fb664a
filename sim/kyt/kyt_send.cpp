// kyt_send: one frame on the queue's connection, which the first send makes.
#include "sim/base/c_boundary.h"
#include "sim/kyt/kyt_complaints.h"
#include "sim/kyt/kyt_queues.h"
#include "sim/kyt/kyt_references.h"
#include "sim/wire/protocol.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <optional>
#include <poll.h>
#include <string>
#include <utility>

namespace sim {

namespace {

static_assert(send_option_words == KYT_SEND_OPTION_WORDS);

struct request {
    std::uint32_t queue;
    frame_head head;
    const void *payload;
};

struct refusal {
    cause why;
    std::string reason;
};
using outcome = std::optional<refusal>; // empty: all is well

std::string node_text(std::uint32_t node) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%08x", node);
    return text;
}

outcome check_address_and_length(const frame_head &head) {
    if (head.node != VELL_SIM_NODE)
        return refusal{cause::node, "there is no node " + node_text(head.node) + ", only " +
                                        node_text(VELL_SIM_NODE)};
    if (head.length > frame_max_payload)
        return refusal{cause::length, "a payload of " + std::to_string(head.length) +
                                          " bytes is longer than " +
                                          std::to_string(frame_max_payload)};
    return {};
}

// A message into a connection that the switch has closed would look as if it were sent. The hang-up
// shows even while messages from before it wait to be received.
bool has_hung_up(int fd) {
    pollfd entry{fd, POLLRDHUP, 0};
    while (poll(&entry, 1, 0) < 0 && errno == EINTR)
        ;
    return (entry.revents & (POLLRDHUP | POLLHUP | POLLERR)) != 0;
}

frame_result send_connected(queue &q, const request &r) {
    if (has_hung_up(q.socket.get()))
        return {frame_status::closed, "the switch has closed the connection"};
    return send_frame(q.socket.get(), r.head, r.payload, send_timeout_ms());
}

outcome deliver(queue &q, const request &r) {
    if (!q.socket)
        if (std::string reason = connect_queue(q); !reason.empty())
            return refusal{cause::unreachable, "the switch cannot be reached: " + reason};
    const frame_result result = send_connected(q, r);
    if (result.status == frame_status::done)
        return {};
    const std::string why = give_up_connection(q);
    return refusal{cause::lost,
                   "the connection to the switch is lost: " + (why.empty() ? result.reason : why)};
}

outcome check_and_deliver(const request &r) {
    if (outcome refused = check_address_and_length(r.head))
        return refused;
    const found_queue found = find_queue(r.queue);
    return found.usable == nullptr ? refusal{cause::queue, found.reason}
                                   : deliver(*found.usable, r);
}

std::int32_t send_request(const request &r, kyt_msg_ref *reference) {
    if (const outcome refused = check_and_deliver(r)) {
        complain_once(refused->why, "kyt_send from queue " + std::to_string(r.queue) +
                                        " failed: " + refused->reason);
        return -1;
    }
    write_reference(reference, r.queue, references().open(r.queue, r.head.opcode));
    forget_complaints();
    return 0;
}

} // namespace

} // namespace sim

int32_t kyt_send(uint32_t queue, uint32_t node, uint32_t sap, uint32_t opcode, const void *payload,
                 uint32_t length, kyt_msg_ref *reference, uint32_t flags, const uint32_t *options) {
    return sim::guarded(-1, [=] {
        if (reference == nullptr || options == nullptr || (payload == nullptr && length != 0)) {
            sim::complain_once(
                sim::cause::argument,
                "kyt_send failed: its payload, reference or send-options block is null");
            return -1;
        }
        sim::request r{
            queue,
            {sim::frame_magic, sim::frame_kind::request, length, node, sap, opcode, flags, {}},
            payload};
        std::copy_n(options, sim::send_option_words, r.head.options);
        return sim::send_request(r, reference);
    });
}
