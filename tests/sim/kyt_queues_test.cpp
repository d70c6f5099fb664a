#include "tests/sim/kyt_fixture.h"
#include "tests/support/process.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

extern "C" size_t kyt_sim_counts_size_in_c(void);

namespace {

using namespace sim_test;
using testing::HasSubstr;

using KytQueues = kyt_test;

TEST_F(KytQueues, HaveDistinctHandlesThatAreNotUsedAgain) {
    const std::uint32_t first = kyt_sim_queue_open();
    kyt_sim_queue_close(first);
    const std::uint32_t second = kyt_sim_queue_open();
    EXPECT_NE(first, 0u);
    EXPECT_NE(first, queue);
    EXPECT_NE(second, queue);
    EXPECT_NE(second, first);
    kyt_sim_queue_close(second);
}

TEST_F(KytQueues, HaveNoConnectionBeforeTheFirstSend) {
    EXPECT_TRUE(there.nobody_has_come());
    message_ptr message;
    EXPECT_EQ(receive(message), -1);
    EXPECT_TRUE(there.nobody_has_come());
}

TEST_F(KytQueues, CloseTheirConnection) {
    const std::size_t files = open_files();
    const sim::file_descriptor end = connect();
    kyt_sim_queue_close(queue);
    EXPECT_TRUE(at_end(end.get()));
    EXPECT_EQ(open_files(), files + 1); // the switch's end
}

TEST_F(KytQueues, IgnoreTheClosingOfAHandleThatIsNone) {
    const sim::file_descriptor end = connect();
    kyt_sim_queue_close(0);
    kyt_sim_queue_close(queue + 1000);
    EXPECT_EQ(send({4}), 0);
}

TEST_F(KytQueues, HaveAConnectionEach) {
    const sim::file_descriptor end = connect();
    const std::uint32_t first = queue;
    queue = kyt_sim_queue_open();
    const sim::file_descriptor other_end = connect();
    EXPECT_TRUE(is_quiet(end.get()));
    write_all(other_end.get(), message(5, {50}));
    message_ptr received;
    EXPECT_EQ(receive(received), 1);
    kyt_sim_queue_close(queue);
    queue = first;
    EXPECT_EQ(receive(received), 0);
}

TEST_F(KytQueues, DoNotPassTheirConnectionsOnToOtherPrograms) {
    const std::size_t files = open_files();
    const sim::file_descriptor end = connect();
    EXPECT_EQ(open_files(), files + 2);
    for (const auto &entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        const int fd = std::stoi(entry.path().filename().string());
        std::error_code gone;
        const bool is_socket =
            std::filesystem::read_symlink(entry.path(), gone).string().starts_with("socket:");
        EXPECT_TRUE(!is_socket || (fcntl(fd, F_GETFD) & FD_CLOEXEC) != 0) << fd;
    }
}

TEST(KytRunDir, IsWrittenWithItsNul) {
    const scoped_environment run_dir("VELLSIM_RUN_DIR", "/run/x");
    std::array<char, 8> path;
    path.fill('?');
    EXPECT_EQ(kyt_sim_run_dir(path.data(), 7), 0);
    EXPECT_STREQ(path.data(), "/run/x");
    EXPECT_EQ(path[7], '?');
}

TEST(KytRunDir, IsRefusedRoomThatIsTooSmall) {
    const scoped_environment run_dir("VELLSIM_RUN_DIR", "/run/x");
    std::array<char, 8> path;
    path.fill('?');
    EXPECT_EQ(kyt_sim_run_dir(path.data(), 6), -1);
    EXPECT_EQ(kyt_sim_run_dir(path.data(), 0), -1);
    EXPECT_EQ(kyt_sim_run_dir(nullptr, 100), -1);
    EXPECT_EQ(path[0], '?');
}

TEST(KytCounts, AreTheSameRecordForC) {
    EXPECT_EQ(kyt_sim_counts_size_in_c(), sizeof(kyt_sim_counts));
}

TEST(KytCounts, SurviveANullPointer) {
    kyt_sim_get_counts(nullptr);
}

// A process of its own, whose first complaint is always news.
class KytChild : public kyt_test {
protected:
    command_result in_child(const std::function<bool()> &holds) {
        return run_in_child([&] {
            queue = kyt_sim_queue_open();
            return holds() ? 0 : 1;
        });
    }
    void expect_in_child(const std::string &said, const std::function<bool()> &holds) {
        const command_result child = in_child(holds);
        EXPECT_EQ(child.exit_code, 0);
        EXPECT_EQ(child.err, said);
    }
    kyt_msg_ref send_and_keep(std::uint32_t opcode) const {
        kyt_msg_ref reference;
        kyt_send(queue, node, 212, opcode, nullptr, 0, &reference, 0, options.data());
        return reference;
    }
};

using KytTimeout = KytChild;

TEST_F(KytTimeout, ThatIsNotANumberIsNamedOnceAndTheDefaultTaken) {
    for (const char *value : {"soon", "5s", "0", "-1", "99999999999", " 5"}) {
        const scoped_environment timeout("VELLSIM_SEND_TIMEOUT_MS", value);
        expect_in_child(std::string("libkyt: VELLSIM_SEND_TIMEOUT_MS is \"") + value +
                            "\", not a number of milliseconds above 0; taken as 5000\n",
                        [this] { return send({1}) == 0 && send({2}) == 0; });
    }
}

TEST_F(KytTimeout, ThatIsANumberOrEmptyIsTakenSilently) {
    for (const char *value : {"", "1000", "2147483647"}) {
        const scoped_environment timeout("VELLSIM_SEND_TIMEOUT_MS", value);
        expect_in_child("", [this] { return send({1}) == 0; });
    }
}

using KytFork = KytChild;

TEST_F(KytFork, LeavesAQueueToTheProcessThatOpenedIt) {
    const sim::file_descriptor end = connect();
    const std::uint32_t of_parent = queue;
    expect_in_child("libkyt: kyt_send from queue " + std::to_string(of_parent) +
                        " failed: it belongs to process " + std::to_string(getpid()) +
                        "; a forked process opens a queue of its own\n",
                    [&] {
                        kyt_sim_message *message = nullptr;
                        const std::uint32_t own = queue;
                        queue = of_parent;
                        return send({1}) == -1 && kyt_sim_receive(of_parent, 0, &message) == -1 &&
                               kyt_sim_queue_fd(of_parent) == -1 && own != of_parent;
                    });
    EXPECT_TRUE(is_quiet(end.get()));
    queue = of_parent;
    EXPECT_EQ(send({2}), 0);
}

TEST_F(KytFork, LetsTheChildCloseItsCopyOfAQueueOfTheParent) {
    const sim::file_descriptor end = connect();
    kyt_msg_ref reference = send_and_keep(1);
    const std::uint32_t of_parent = queue;
    expect_in_child("", [&] {
        kyt_sim_queue_close(of_parent);
        return send({3}) == 0;
    });
    queue = of_parent;
    EXPECT_EQ(send({2}), 0);
    kyt_drop(queue, &reference);
}

using KytDescriptor = KytChild;

TEST_F(KytDescriptor, IsReadableWhenAMessageArrives) {
    EXPECT_EQ(kyt_sim_queue_fd(queue), -1); // before the first send
    const sim::file_descriptor end = connect();
    const int descriptor = kyt_sim_queue_fd(queue);
    ASSERT_GE(descriptor, 0);
    EXPECT_FALSE(readable(descriptor, 0));
    write_all(end.get(), message(5, {50}) + message(6, {60}));
    EXPECT_TRUE(readable(descriptor, patience_ms));
    message_ptr received;
    EXPECT_EQ(receive(received), 1);
    EXPECT_TRUE(readable(descriptor, 0)); // nothing of the second is held back
    EXPECT_EQ(receive(received), 1);
    EXPECT_FALSE(readable(descriptor, 0));
}

TEST_F(KytDescriptor, IsNoneForAQueueThatIsNot) {
    expect_in_child("libkyt: kyt_sim_queue_fd of queue 0 failed: there is no such queue\n",
                    [] { return kyt_sim_queue_fd(0) == -1 && kyt_sim_queue_fd(0) == -1; });
}

TEST_F(KytDescriptor, IsAboveThoseThatAProcessPrintsTo) {
    EXPECT_EQ(in_child([this] {
                  close(STDIN_FILENO);
                  close(STDOUT_FILENO);
                  close(STDERR_FILENO);
                  return send({1}) == 0 && kyt_sim_queue_fd(queue) > STDERR_FILENO;
              }).exit_code,
              0);
}

using KytLeak = KytChild;

TEST_F(KytLeak, IsReportedByOpcodeWhenItsQueueIsClosed) {
    expect_in_child(
        "libkyt: queue " + std::to_string(queue + 1) +
            " is closed before all of its message references are dropped: 2 of opcode 75796, "
            "1 of opcode 75831\n",
        [this] {
            send_and_keep(75796);
            send_and_keep(75831);
            kyt_msg_ref dropped = send_and_keep(75831);
            send_and_keep(75796);
            kyt_drop(queue, &dropped);
            const std::uint32_t other = queue;
            queue = kyt_sim_queue_open();
            send_and_keep(1);
            kyt_sim_queue_close(other);
            return true;
        });
}

TEST_F(KytLeak, IsReportedAtExitUnlessItWasBefore) {
    expect_in_child("libkyt: queue " + std::to_string(queue + 1) +
                        " is closed before all of its message references are dropped: 1 of "
                        "opcode 5\n"
                        "libkyt: the process ends with message references that were never dropped: "
                        "1 of opcode 6\n",
                    [this]() -> bool {
                        send_and_keep(5);
                        kyt_sim_queue_close(queue);
                        queue = kyt_sim_queue_open();
                        send_and_keep(6);
                        std::exit(0);
                    });
}

TEST_F(KytLeak, OfTheParentIsNotTheChilds) {
    kyt_msg_ref reference = send_and_keep(1);
    expect_in_child("", []() -> bool { std::exit(0); });
    kyt_drop(queue, &reference);
}

TEST_F(KytLeak, IsNotReportedByAProcessThatDropsAll) {
    expect_in_child("", [this]() -> bool {
        send({1});
        kyt_sim_queue_close(queue);
        std::exit(0);
    });
}

} // namespace
