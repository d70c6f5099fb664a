// A queue of this process and a switch to send to.
#pragma once

#include "tests/sim/fake_switch.h"

#include <kyt_sim.h>

#include <array>
#include <cstddef>
#include <filesystem>
#include <gtest/gtest.h>
#include <memory>

namespace sim_test {

inline constexpr std::uint32_t node = 0xfe000000;
inline constexpr std::array<std::uint32_t, KYT_SEND_OPTION_WORDS> options = {1};

inline kyt_sim_counts counts() {
    kyt_sim_counts result{};
    kyt_sim_get_counts(&result);
    return result;
}

inline std::size_t open_files() {
    const std::filesystem::directory_iterator files("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(files), end(files)));
}

inline bytes content(const kyt_msg_ref &reference) {
    return {reference.opaque, reference.opaque + sizeof reference};
}

struct message_deleter {
    void operator()(kyt_sim_message *message) const { kyt_sim_message_free(message); }
};
using message_ptr = std::unique_ptr<kyt_sim_message, message_deleter>;

inline bytes payload_of(const message_ptr &message) {
    const auto *payload = static_cast<const std::uint8_t *>(kyt_payload_get(message.get()));
    return payload == nullptr ? bytes()
                              : bytes(payload, payload + kyt_sim_message_length(message.get()));
}

class kyt_test : public testing::Test {
protected:
    void SetUp() override {
        queue = kyt_sim_queue_open();
        ASSERT_NE(queue, 0u);
    }
    void TearDown() override { kyt_sim_queue_close(queue); }

    // Sends, and hands the reference back at once.
    std::int32_t send(const bytes &payload, std::uint32_t opcode = 75796) {
        kyt_msg_ref reference;
        const std::int32_t result =
            kyt_send(queue, node, 212, opcode, payload.data(),
                     static_cast<std::uint32_t>(payload.size()), &reference, 0, options.data());
        if (result != -1)
            kyt_drop(queue, &reference);
        return result;
    }

    // Connects by a first message, and leaves the switch's end with nothing to read.
    sim::file_descriptor connect() {
        EXPECT_EQ(send({1, 2, 3}), 0);
        sim::file_descriptor end = there.accept();
        EXPECT_EQ(read_up_to(end.get(), sizeof(sim::frame_head) + 3).size(),
                  sizeof(sim::frame_head) + 3);
        return end;
    }

    int receive(message_ptr &message, int timeout_ms = 0) {
        kyt_sim_message *received = nullptr;
        const int result = kyt_sim_receive(queue, timeout_ms, &received);
        message.reset(received);
        return result;
    }

    fake_switch there;
    std::uint32_t queue = 0;
};

} // namespace sim_test
