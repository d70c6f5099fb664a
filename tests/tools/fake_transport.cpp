#include "tests/tools/fake_transport.h"

#include <kyt_sim.h>
#include <vell.h>

#include <chrono>
#include <cstring>
#include <thread>

using feed::fake_transport;

namespace {

constexpr std::uint32_t the_queue = 9;
constexpr std::uint8_t reference_mark = 0xa5;

fake_transport transport;

} // namespace

struct kyt_sim_message {
    feed::fake_answer answer;
};

fake_transport &fake_transport::current() {
    return transport;
}
void fake_transport::reset() {
    transport = {};
    // A registration that an earlier test left behind ends only with a deregistration that can be
    // sent.
    vell_register_kyt_q(the_queue);
    vell_deregister();
    vell_register_kyt_q(0);
    transport = {};
}

extern "C" {

int32_t kyt_send(uint32_t, uint32_t, uint32_t sap, uint32_t opcode, const void *payload,
                 uint32_t length, kyt_msg_ref *reference, uint32_t, const uint32_t *) {
    if (transport.requests.size() >= transport.fail_send)
        return -1;
    const auto *bytes = static_cast<const std::uint8_t *>(payload);
    transport.requests.push_back({sap, opcode, {bytes, bytes + length}});
    std::memset(reference, reference_mark, sizeof *reference);
    ++transport.open_references;
    return 0;
}

void kyt_drop(uint32_t queue, kyt_msg_ref *reference) {
    if (queue != the_queue || reference->opaque[0] != reference_mark) {
        ++transport.wrong_drops;
        return;
    }
    std::memset(reference, 0, sizeof *reference);
    if (!transport.lose_drops)
        --transport.open_references;
}

void *kyt_payload_get(void *message) {
    return static_cast<kyt_sim_message *>(message)->answer.payload.data();
}

uint32_t kyt_sim_queue_open(void) {
    if (transport.no_queue)
        return 0;
    ++transport.open_queues;
    return the_queue;
}

void kyt_sim_queue_close(uint32_t queue) {
    transport.open_queues -= queue == the_queue ? 1 : 0;
}

int kyt_sim_receive(uint32_t, int timeout_ms, kyt_sim_message **message) {
    transport.last_timeout = timeout_ms;
    if (transport.received == transport.answers.size())
        return transport.result_without_answer;
    const auto &answer = transport.answers[transport.received++];
    if (!answer)
        return 0;
    std::this_thread::sleep_for(std::chrono::milliseconds(transport.delay_ms));
    *message = new kyt_sim_message{*answer};
    ++transport.messages_alive;
    return 1;
}

uint32_t kyt_sim_message_opcode(const kyt_sim_message *message) {
    return message->answer.opcode;
}

uint32_t kyt_sim_message_sap(const kyt_sim_message *message) {
    return message->answer.sap;
}

uint32_t kyt_sim_message_length(const kyt_sim_message *message) {
    return static_cast<uint32_t>(message->answer.payload.size());
}

void kyt_sim_message_free(kyt_sim_message *message) {
    transport.messages_alive -= message == nullptr ? 0 : 1;
    delete message;
}

void kyt_sim_get_counts(kyt_sim_counts *counts) {
    counts->sent = transport.requests.size();
    counts->open_references = static_cast<uint64_t>(transport.open_references);
    counts->wrong_drops = static_cast<uint64_t>(transport.wrong_drops);
}

int kyt_sim_run_dir(char *path, size_t size) {
    constexpr char run_dir[] = "/run/sim";
    if (size < sizeof run_dir)
        return -1;
    std::memcpy(path, run_dir, sizeof run_dir);
    return 0;
}

} // extern "C"
