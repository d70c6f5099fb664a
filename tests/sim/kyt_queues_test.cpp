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

TEST(KytCounts, NeedSomewhereToGo) {
    kyt_sim_get_counts(nullptr);
}

using KytTimeout = kyt_test;

TEST_F(KytTimeout, ThatIsNoNumberIsNamedOnceAndTheDefaultTaken) {
    for (const char *value : {"soon", "5s", "0", "-1", "99999999999", " 5"}) {
        const sim::file_descriptor end = connect();
        const scoped_environment timeout("VELLSIM_SEND_TIMEOUT_MS", value);
        const auto child =
            run_in_child([this] { return send({1}) == 0 && send({2}) == 0 ? 0 : 1; });
        EXPECT_EQ(child.exit_code, 0);
        EXPECT_EQ(child.err, std::string("libkyt: VELLSIM_SEND_TIMEOUT_MS is \"") + value +
                                 "\", not a number of milliseconds above 0; taken as 5000\n");
        kyt_sim_queue_close(queue);
        queue = kyt_sim_queue_open();
    }
}

TEST_F(KytTimeout, ThatIsANumberOrEmptyIsTakenSilently) {
    const sim::file_descriptor end = connect();
    for (const char *value : {"", "1", "2147483647"}) {
        const scoped_environment timeout("VELLSIM_SEND_TIMEOUT_MS", value);
        const auto child = run_in_child([this] { return send({1}) == 0 ? 0 : 1; });
        EXPECT_EQ(child.exit_code, 0);
        EXPECT_EQ(child.err, "");
    }
}

} // namespace
