// Receiving: the messages that the switch sends to a queue.
#include "sim/base/c_boundary.h"
#include "sim/kyt/kyt_complaints.h"
#include "sim/kyt/kyt_queues.h"

#include <memory>
#include <string>
#include <unordered_set>
#include <utility>

// A received message, as the client holds it.
struct kyt_sim_message {
    sim::frame frame;
};

namespace sim {

namespace {

// Those that the client holds.
std::unordered_set<const kyt_sim_message *> &messages() {
    // Never destroyed: a client may free messages while it exits.
    static auto *all = new std::unordered_set<const kyt_sim_message *>;
    return *all;
}

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
    if (result.status != frame_status::closed)
        complain("queue " + std::to_string(q.handle) +
                 " has lost its connection to the switch: " + result.reason);
    return -1;
}

int receive(std::uint32_t handle, int timeout_ms, kyt_sim_message **message) {
    const found_queue found = find_queue(handle);
    if (found.usable == nullptr) {
        complain_once(cause::queue, "kyt_sim_receive from queue " + std::to_string(handle) +
                                        " failed: " + found.reason);
        return -1;
    }
    auto received = std::make_unique<kyt_sim_message>();
    const int result = receive_into(*found.usable, timeout_ms, received->frame);
    if (result == 1) {
        messages().insert(received.get());
        *message = received.release();
    }
    return result;
}

// Null, with a complaint, for anything but a message that was received and not freed.
const frame *find_message(const void *handle, const char *function) {
    const auto *message = static_cast<const kyt_sim_message *>(handle);
    if (message == nullptr)
        return nullptr;
    if (messages().contains(message))
        return &message->frame;
    guarded(0, [=] {
        complain_once(cause::message, std::string(function) +
                                          ": this is not a message that kyt_sim_receive has " +
                                          "handed out, or it was freed before");
        return 0;
    });
    return nullptr;
}

frame_head head_of(const kyt_sim_message *message, const char *function) {
    const frame *found = find_message(message, function);
    return found == nullptr ? frame_head{} : found->head;
}

} // namespace

} // namespace sim

int kyt_sim_receive(uint32_t queue, int timeout_ms, kyt_sim_message **message) {
    if (message == nullptr)
        return -1;
    return sim::guarded(-1, [=] { return sim::receive(queue, timeout_ms, message); });
}

uint32_t kyt_sim_message_sap(const kyt_sim_message *message) {
    return sim::head_of(message, __func__).sap;
}

uint32_t kyt_sim_message_opcode(const kyt_sim_message *message) {
    return sim::head_of(message, __func__).opcode;
}

uint32_t kyt_sim_message_length(const kyt_sim_message *message) {
    return sim::head_of(message, __func__).length;
}

void kyt_sim_message_free(kyt_sim_message *message) {
    if (sim::find_message(message, __func__) == nullptr)
        return;
    sim::messages().erase(message);
    delete message;
}

void *kyt_payload_get(void *message) {
    const sim::frame *found = sim::find_message(message, __func__);
    return found == nullptr || found->payload.empty()
               ? nullptr
               : static_cast<kyt_sim_message *>(message)->frame.payload.data();
}
