// Receiving: the messages that the switch sends to a queue.
#include "sim/base/c_boundary.h"
#include "sim/kyt/kyt_complaints.h"
#include "sim/kyt/kyt_queues.h"

#include <memory>
#include <string>
#include <utility>

namespace sim {

namespace {

bool take_rescued(queue &q, frame &into) {
    if (q.rescued.empty())
        return false;
    into = std::move(q.rescued.front());
    q.rescued.pop_front();
    return true;
}

int receive_into(queue &q, int timeout_ms, frame &into) {
    if (take_rescued(q, into))
        return 1;
    if (!q.socket)
        return -1;
    const frame_result result =
        receive_frame(q.socket.get(), q.reader, deadline::after_ms(timeout_ms), into);
    if (result.status == frame_status::done)
        return 1;
    if (result.status == frame_status::timed_out)
        return 0;
    q.socket.reset();
    if (result.status == frame_status::broken)
        complain("queue " + std::to_string(q.handle) +
                 " has lost its connection to the switch: " + result.reason);
    return -1;
}

int receive(std::uint32_t handle, int timeout_ms, kyt_sim_message **message) {
    queue *q = find_queue(handle);
    if (q == nullptr) {
        complain_once(cause::queue, "kyt_sim_receive: there is no queue " + std::to_string(handle));
        return -1;
    }
    auto received = std::make_unique<kyt_sim_message>();
    const int result = receive_into(*q, timeout_ms, received->frame);
    if (result == 1)
        *message = received.release();
    return result;
}

} // namespace

} // namespace sim

int kyt_sim_receive(uint32_t queue, int timeout_ms, kyt_sim_message **message) {
    if (message == nullptr)
        return -1;
    return sim::guarded(-1, [=] { return sim::receive(queue, timeout_ms, message); });
}

uint32_t kyt_sim_message_sap(const kyt_sim_message *message) {
    return message == nullptr ? 0 : message->frame.head.sap;
}

uint32_t kyt_sim_message_opcode(const kyt_sim_message *message) {
    return message == nullptr ? 0 : message->frame.head.opcode;
}

uint32_t kyt_sim_message_length(const kyt_sim_message *message) {
    return message == nullptr ? 0 : message->frame.head.length;
}

void kyt_sim_message_free(kyt_sim_message *message) {
    delete message;
}

void *kyt_payload_get(void *message) {
    auto *received = static_cast<kyt_sim_message *>(message);
    return received == nullptr || received->frame.payload.empty() ? nullptr
                                                                  : received->frame.payload.data();
}
