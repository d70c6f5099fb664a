#include "tests/sim/kyt_fixture.h"
#include "tests/support/process.h"
#include "tests/support/streams.h"

#include <chrono>
#include <future>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace {

using namespace sim_test;
using testing::HasSubstr;
using testing::StartsWith;

// What a failed send must not have done is the same for every failure.
class KytSendFails : public kyt_test {
protected:
    void SetUp() override {
        kyt_test::SetUp();
        const sim::file_descriptor end = connect(); // so that every failure is news, and said
        kyt_sim_queue_close(queue);
        queue = kyt_sim_queue_open();
    }

    struct call {
        std::uint32_t queue;
        std::uint32_t node = sim_test::node;
        const void *payload = "abc";
        std::uint32_t length = 3;
        const std::uint32_t *options = sim_test::options.data();
    };

    // Returns what was said.
    std::string expect_refusal(const call &c) {
        testing::internal::CaptureStderr();
        const kyt_sim_counts before = counts();
        const std::size_t files = open_files();
        kyt_msg_ref reference;
        std::fill_n(reference.opaque, sizeof reference, std::uint8_t{0x5a});
        EXPECT_EQ(kyt_send(c.queue, c.node, 212, 1, c.payload, c.length, &reference, 0, c.options),
                  -1);
        EXPECT_EQ(content(reference), bytes(sizeof reference, 0x5a));
        EXPECT_EQ(counts().open_references, before.open_references);
        EXPECT_EQ(counts().sent, before.sent);
        EXPECT_EQ(counts().wrong_drops, before.wrong_drops);
        EXPECT_LE(open_files(), files); // fewer when a connection was dropped
        return testing::internal::GetCapturedStderr();
    }

    std::string expect_refusal() { return expect_refusal({.queue = queue}); }

    std::string failed(const std::string &reason) const {
        return "libkyt: kyt_send from queue " + std::to_string(queue) + " failed: " + reason + "\n";
    }

    std::string unreachable(const std::string &reason) const {
        return failed("the switch cannot be reached: " + reason);
    }

    void expect_usable_again() {
        const sim::file_descriptor end = connect();
        EXPECT_TRUE(end);
    }
};

TEST_F(KytSendFails, ToAnotherNode) {
    EXPECT_EQ(expect_refusal({.queue = queue, .node = 0xfe000001}),
              failed("there is no node 0xfe000001, only 0xfe000000"));
    EXPECT_TRUE(there.nobody_has_come());
    expect_usable_again();
}

TEST_F(KytSendFails, FromAQueueThatIsNone) {
    EXPECT_EQ(expect_refusal({.queue = 0}),
              "libkyt: kyt_send from queue 0 failed: there is no such queue\n");
    const std::uint32_t closed = kyt_sim_queue_open();
    kyt_sim_queue_close(closed);
    EXPECT_EQ(expect_refusal({.queue = closed}), ""); // said before
    EXPECT_TRUE(there.nobody_has_come());
}

TEST_F(KytSendFails, WithAPayloadThatIsTooLong) {
    const bytes payload(sim::frame_max_payload + 1);
    EXPECT_EQ(
        expect_refusal(
            {.queue = queue, .payload = payload.data(), .length = sim::frame_max_payload + 1}),
        failed("a payload of 16777217 bytes is longer than 16777216"));
    EXPECT_TRUE(there.nobody_has_come());
    expect_usable_again();
}

TEST_F(KytSendFails, WithoutAPayloadOptionsOrReference) {
    EXPECT_EQ(expect_refusal({.queue = queue, .payload = nullptr}),
              "libkyt: kyt_send failed: its payload, reference or send-options block is null\n");
    EXPECT_EQ(expect_refusal({.queue = queue, .options = nullptr}), "");
    const kyt_sim_counts before = counts();
    EXPECT_EQ(kyt_send(queue, node, 212, 1, "abc", 3, nullptr, 0, options.data()), -1);
    EXPECT_EQ(counts().open_references, before.open_references);
    EXPECT_EQ(counts().sent, before.sent);
    EXPECT_TRUE(there.nobody_has_come());
    expect_usable_again();
}

TEST_F(KytSendFails, WhenThereIsNoRunDirectory) {
    const std::string path = there.directory() / "none";
    const scoped_environment run_dir("VELLSIM_RUN_DIR", path);
    EXPECT_EQ(expect_refusal(), unreachable(path + ": No such file or directory"));
}

TEST_F(KytSendFails, WhenTheRunDirectoryIsOpenToOthers) {
    ASSERT_EQ(chmod(there.directory().path().c_str(), 0770), 0);
    EXPECT_EQ(expect_refusal(),
              unreachable(there.directory().path() +
                          ": is open to other users (mode 0770, it must be 0700)"));
    EXPECT_TRUE(there.nobody_has_come());
    ASSERT_EQ(chmod(there.directory().path().c_str(), 0700), 0);
    expect_usable_again();
}

TEST_F(KytSendFails, WhenTheRunDirectoryIsALink) {
    const scratch_directory scratch;
    std::filesystem::create_directory_symlink(there.directory().path(), scratch / "run");
    const scoped_environment run_dir("VELLSIM_RUN_DIR", scratch / "run");
    EXPECT_EQ(expect_refusal(), unreachable(scratch / "run: is a symbolic link"));
    EXPECT_TRUE(there.nobody_has_come());
}

TEST_F(KytSendFails, WhenThePathIsTooLongForASocket) {
    const scoped_environment run_dir("VELLSIM_RUN_DIR", "/tmp/" + std::string(200, 'd'));
    EXPECT_THAT(expect_refusal(), HasSubstr("is too long for a socket (215 bytes, at most 107)"));
}

TEST_F(KytSendFails, AtOnceWhenNobodyListens) {
    there.stop();
    EXPECT_EQ(expect_refusal(), unreachable(there.directory() / "vell.sock: Connection refused"));
    EXPECT_EQ(expect_refusal(), ""); // said before
    there.start();
    expect_usable_again();
    there.stop();
    EXPECT_THAT(expect_refusal(),
                StartsWith("libkyt: ")); // the queue is connected, and its switch gone
}

TEST_F(KytSendFails, WhenTheSwitchIsOfAnotherUser) {
    if (geteuid() != 0)
        GTEST_SKIP() << "only root can play another user";
    const scratch_directory scratch;
    sockaddr_un address;
    ASSERT_EQ(sim::service_address(scratch.path(), address), "");
    const sim::file_descriptor listener(socket(AF_UNIX, SOCK_STREAM, 0));
    ASSERT_EQ(bind(listener.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address),
              0);
    // A listener is known by the user that it had when it began to listen.
    const auto child =
        run_in_child([&] { return setuid(65534) == 0 && listen(listener.get(), 8) == 0 ? 0 : 1; });
    ASSERT_EQ(child.exit_code, 0);
    const scoped_environment run_dir("VELLSIM_RUN_DIR", scratch.path());
    EXPECT_EQ(expect_refusal(),
              unreachable(scratch / "vell.sock: the other end is of user 65534, not of user 0"));
}

TEST_F(KytSendFails, WhenTheSwitchHasClosedTheConnection) {
    sim::file_descriptor end = connect();
    end.reset();
    EXPECT_EQ(expect_refusal(),
              failed("the connection to the switch is lost: the switch has closed the connection"));
    expect_usable_again();
}

TEST_F(KytSendFails, WithTheReasonThatTheSwitchGives) {
    sim::file_descriptor end = connect();
    write_all(end.get(), message(41, {1}) + closing("it is full"));
    end.reset();
    EXPECT_EQ(expect_refusal(), failed("the connection to the switch is lost: the other end has "
                                       "closed the connection: it is full"));
    message_ptr received;
    EXPECT_EQ(receive(received), 1) << "what came before can be received";
    expect_usable_again();
}

TEST_F(KytSendFails, WhenTheSwitchHasClosedItsSideOnly) {
    const sim::file_descriptor end = connect();
    shutdown(end.get(), SHUT_WR);
    EXPECT_NE(expect_refusal(), "");
    EXPECT_TRUE(at_end(end.get())); // not a byte was sent
    expect_usable_again();
}

TEST_F(KytSendFails, AndKeepsTheMessagesThatCameBeforeTheSwitchClosed) {
    sim::file_descriptor end = connect();
    write_all(end.get(), message(41, {1, 2}) + message(42, {}) + part(message(43, {3}), 0, 20));
    end.reset();
    EXPECT_THAT(expect_refusal(),
                HasSubstr("has lost a message: the other end has closed the connection within a "
                          "frame, after 20 of at least 104 bytes\n"));
    message_ptr received;
    ASSERT_EQ(receive(received), 1);
    EXPECT_EQ(kyt_sim_message_opcode(received.get()), 41u);
    EXPECT_EQ(payload_of(received), (bytes{1, 2}));
    ASSERT_EQ(receive(received), 1);
    EXPECT_EQ(kyt_sim_message_opcode(received.get()), 42u);
    EXPECT_EQ(receive(received), -1);

    end = connect(); // nothing of the cut message is left to confuse the new connection
    write_all(end.get(), message(44, {4}));
    ASSERT_EQ(receive(received), 1);
    EXPECT_EQ(kyt_sim_message_opcode(received.get()), 44u);
}

TEST_F(KytSendFails, WhenTheSwitchVanishesWithinAFrame) {
    sim::file_descriptor end = connect();
    auto reader = std::async(std::launch::async, [&end] {
        const std::size_t count = read_up_to(end.get(), 100000).size();
        end.reset();
        return count;
    });
    const bytes payload = pattern(8u << 20);
    kyt_msg_ref reference;
    EXPECT_EQ(
        kyt_send(queue, node, 212, 1, payload.data(), 8u << 20, &reference, 0, options.data()), -1);
    EXPECT_EQ(reader.get(), 100000u);
    expect_usable_again();
}

TEST_F(KytSendFails, WhenTheSwitchStopsReading) {
    const sim::file_descriptor end = connect();
    write_all(end.get(), message(41, {1}));
    const scoped_environment timeout("VELLSIM_SEND_TIMEOUT_MS", "30");
    const bytes payload = pattern(8u << 20);
    const signal_rain rain;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(expect_refusal({.queue = queue, .payload = payload.data(), .length = 8u << 20}),
              failed("the connection to the switch is lost: the other end has stopped reading"));
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(30));

    // The frame is cut: nothing may follow it on this connection.
    EXPECT_LT(read_up_to(end.get(), 8u << 20).size(), 8u << 20);
    EXPECT_TRUE(at_end(end.get()));
    message_ptr received;
    EXPECT_EQ(receive(received), 1);
    EXPECT_EQ(kyt_sim_message_opcode(received.get()), 41u);
    expect_usable_again();
}

TEST_F(KytSendFails, AndTheNextSendReachesARestartedSwitch) {
    sim::file_descriptor end = connect();
    end.reset();
    there.stop();
    expect_refusal();
    expect_refusal();
    there.start();
    EXPECT_TRUE(there.nobody_has_come());
    end = connect();
    EXPECT_EQ(send({9}), 0);
    EXPECT_EQ(read_up_to(end.get(), sizeof(sim::frame_head) + 1).back(), 9);
}

TEST_F(KytSendFails, AndSaysSoAgainAfterASendThatSucceeded) {
    const call wrong{.queue = queue, .node = 1};
    EXPECT_NE(expect_refusal(wrong), "");
    EXPECT_EQ(expect_refusal(wrong), "");
    expect_usable_again();
    EXPECT_NE(expect_refusal(wrong), "");
}

} // namespace
