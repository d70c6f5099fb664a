#include "tests/support/simulator.h"
#include "tests/support/wait.h"
#include "tests/switch/raw_peer.h"
#include "tests/switch/test_service.h"

#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

using testing::Contains;
using testing::HasSubstr;

namespace {

unsigned mode_of(const std::string &path) {
    struct stat entry {};
    EXPECT_EQ(lstat(path.c_str(), &entry), 0) << path;
    return entry.st_mode & 07777;
}

bool is_there(const std::string &path) {
    return std::filesystem::exists(std::filesystem::symlink_status(path));
}

// In bytes.
rlim_t address_space(pid_t pid) {
    rlim_t pages = 0;
    std::ifstream(fmt::format("/proc/{}/statm", pid)) >> pages;
    return pages * static_cast<rlim_t>(sysconf(_SC_PAGESIZE));
}

class RunAndStop : public simulator {
protected:
    const std::string socket_path = run_dir + "/vell.sock";
    const std::string pid_path = run_dir + "/vellsim.pid";

    pid_t pid_in_file() const {
        pid_t pid = 0;
        std::ifstream(pid_path) >> pid;
        return pid;
    }
};

} // namespace

TEST_F(RunAndStop, MakesItsDirectoryAndSaysWhenItIsReady) {
    switch_process running(run_dir);
    EXPECT_EQ(running.ready_line(),
              fmt::format("vellsim: ready, {} (pid {})\n", socket_path, running.pid()));
    EXPECT_EQ(pid_in_file(), running.pid());
    EXPECT_EQ(mode_of(pid_path), 0600u);
    EXPECT_EQ(mode_of(run_dir), 0700u);
    EXPECT_EQ(mode_of(socket_path), 0600u);
    expect_service(run_dir);
}

TEST_F(RunAndStop, GoesOnInTheBackgroundOnceItCanBeReached) {
    const command_result run = vellsim({"run", "--run-dir", run_dir, "--detach"});
    EXPECT_EQ(run.exit_code, 0) << run.err;
    EXPECT_EQ(run.out, fmt::format("vellsim: ready, {} (pid {})\n", socket_path, pid_in_file()));
    expect_service(run_dir);
    EXPECT_EQ(vellsim({"stop", "--run-dir", run_dir}).exit_code, 0);
    EXPECT_FALSE(is_there(socket_path));
    EXPECT_FALSE(is_there(pid_path));
}

TEST_F(RunAndStop, InTheBackgroundFailsAsItDoesOtherwise) {
    switch_process running(run_dir);
    const command_result second = vellsim({"run", "--run-dir", run_dir, "--detach"});
    EXPECT_EQ(second.exit_code, 1);
    EXPECT_EQ(second.out, "");
    EXPECT_EQ(second.err, vellsim({"run", "--run-dir", run_dir}).err);
}

TEST_F(RunAndStop, EndsCleanlyOnSignals) {
    for (const int number : {SIGTERM, SIGINT, SIGHUP, SIGQUIT}) {
        switch_process running(run_dir);
        raw_peer peer(run_dir);
        peer.register_client();
        running.signal(number);
        EXPECT_EQ(running.wait(), 0);
        EXPECT_FALSE(is_there(socket_path));
        EXPECT_TRUE(peer.wait_for_close());
    }
}

TEST_F(RunAndStop, RefusesToStartBesideARunningSwitch) {
    switch_process running(run_dir);
    const command_result second = vellsim({"run", "--run-dir", run_dir});
    EXPECT_EQ(second.exit_code, 1);
    EXPECT_EQ(second.out, "");
    EXPECT_EQ(second.err,
              fmt::format("vellsim: another switch (pid {}) runs in {}; `vellsim stop` ends it\n",
                          running.pid(), run_dir));
    expect_service(run_dir);
}

TEST_F(RunAndStop, MakesItsSocketAgainWhenItIsRemoved) {
    switch_process running(run_dir);
    raw_peer client(run_dir);
    EXPECT_EQ(client.register_client(), 1);
    std::filesystem::remove(socket_path);
    EXPECT_TRUE(wait_until([&] { return is_there(socket_path); }));
    expect_service(run_dir);
    EXPECT_EQ(client.ask("clients").at("clients").at(0).at("state"), "registered");
    EXPECT_THAT(service_log(run_dir, 102), Contains(socket_path + " was removed; made again"));
    EXPECT_EQ(vellsim({"stop", "--run-dir", run_dir}).exit_code, 0);
    EXPECT_FALSE(is_there(socket_path));
}

TEST_F(RunAndStop, MakesItsDirectoryAgainWhenItIsRemoved) {
    switch_process running(run_dir);
    std::filesystem::remove_all(run_dir);
    EXPECT_TRUE(wait_until([&] { return is_there(socket_path); }));
    expect_service(run_dir);
    EXPECT_EQ(pid_in_file(), running.pid());
    EXPECT_THAT(service_log(run_dir, 102), Contains(socket_path + " was removed; made again"));
}

TEST_F(RunAndStop, LeavesTheNextSwitchAloneWhenItsDirectoryIsRemoved) {
    switch_process first(run_dir);
    first.signal(SIGSTOP);
    std::filesystem::remove_all(run_dir);
    switch_process second(run_dir);
    first.signal(SIGCONT);
    EXPECT_EQ(first.wait(), 1);
    expect_service(run_dir);
    EXPECT_EQ(pid_in_file(), second.pid());
}

TEST_F(RunAndStop, EndsWithItsOwnSocketAlone) {
    switch_process first(run_dir);
    first.signal(SIGSTOP);
    std::filesystem::remove_all(run_dir);
    switch_process second(run_dir);
    first.signal(SIGTERM);
    first.signal(SIGCONT);
    first.wait();
    expect_service(run_dir);
    EXPECT_EQ(pid_in_file(), second.pid());
}

TEST_F(RunAndStop, ReplacesTheSocketOfASwitchThatCrashed) {
    switch_process crashed(run_dir);
    crashed.signal(SIGKILL);
    EXPECT_EQ(crashed.wait(), 256 + SIGKILL);
    EXPECT_TRUE(is_there(socket_path));
    switch_process next(run_dir);
    expect_service(run_dir);
}

TEST_F(RunAndStop, LeavesAloneWhatIsNoSocket) {
    { switch_process running(run_dir); }
    std::filesystem::remove(socket_path);
    std::ofstream(socket_path) << "precious";
    const command_result refused = vellsim({"run", "--run-dir", run_dir});
    EXPECT_EQ(refused.exit_code, 1);
    EXPECT_EQ(refused.err, "vellsim: " + socket_path + ": is in the way, and is not a socket\n");
    EXPECT_EQ(std::filesystem::file_size(socket_path), 8u);
}

TEST_F(RunAndStop, RefusesADirectoryThatIsOpenToOthers) {
    std::filesystem::create_directory(run_dir);
    std::filesystem::permissions(run_dir, std::filesystem::perms::all);
    const command_result refused = vellsim({"run", "--run-dir", run_dir});
    EXPECT_EQ(refused.exit_code, 1);
    EXPECT_THAT(refused.err, HasSubstr(run_dir + ": is open to other users"));
}

TEST_F(RunAndStop, RefusesAPathTooLongForASocket) {
    const std::string long_path = directory / std::string(120, 'd');
    const command_result refused = vellsim({"run", "--run-dir", long_path});
    EXPECT_EQ(refused.exit_code, 1);
    EXPECT_THAT(refused.err, HasSubstr("is too long for a socket"));
    EXPECT_FALSE(is_there(long_path));
}

TEST_F(RunAndStop, StopsTheRunningSwitch) {
    switch_process running(run_dir);
    const command_result stopped = vellsim({"stop", "--run-dir", run_dir});
    EXPECT_EQ(stopped.exit_code, 0) << stopped.err;
    EXPECT_FALSE(is_there(socket_path));
    EXPECT_EQ(running.wait(), 0);
    // What stop has waited for is that the next switch can start at once.
    switch_process next(run_dir);
    expect_service(run_dir);
}

TEST_F(RunAndStop, GivesUpOnASwitchThatDoesNotAnswer) {
    switch_process running(run_dir);
    running.signal(SIGSTOP);
    for (const std::vector<std::string> &command :
         {std::vector<std::string>{"stop"}, {"show", "clients"}, {"fault"}}) {
        std::vector<std::string> arguments = command;
        arguments.insert(arguments.end(), {"--timeout", "1", "--run-dir", run_dir});
        const command_result gave_up = vellsim(arguments);
        EXPECT_EQ(gave_up.exit_code, 1);
        EXPECT_EQ(gave_up.err,
                  fmt::format("vellsim: the switch (pid {}) does not answer within 1 second "
                              "(--timeout)\n",
                              running.pid()));
    }
    running.signal(SIGCONT);
    EXPECT_EQ(running.wait(), 0) << "it reads the question that was left";
}

// A question is not lost on a switch that ends.
TEST_F(RunAndStop, StopsAfterWhatItHasReceived) {
    switch_process running(run_dir);
    raw_peer peer(run_dir);
    const std::uint8_t id = peer.register_client();
    peer.send(notice_head(), notice_payload(9, 1, 2, 3));
    EXPECT_EQ(vellsim({"stop", "--run-dir", run_dir}).exit_code, 0);
    EXPECT_EQ(running.wait(), 0);
    EXPECT_THAT(service_log(run_dir, 102),
                Contains(HasSubstr(fmt::format("client id is 9, this connection's is {}", id))));
}

TEST_F(RunAndStop, EndsWithItsOwnPidFileAlone) {
    switch_process running(run_dir);
    std::filesystem::remove(pid_path);
    std::ofstream(pid_path) << getpid() << '\n';
    EXPECT_EQ(vellsim({"stop", "--run-dir", run_dir}).exit_code, 0);
    EXPECT_EQ(running.wait(), 0);
    EXPECT_EQ(pid_in_file(), getpid());
}

TEST_F(RunAndStop, HasNothingToStopWithoutASwitch) {
    const command_result nothing = vellsim({"stop", "--run-dir", run_dir});
    EXPECT_EQ(nothing.exit_code, 1);
    EXPECT_THAT(nothing.err, HasSubstr("no switch answers on " + socket_path));
    EXPECT_THAT(nothing.err, HasSubstr("`vellsim run` starts one"));
}

TEST_F(RunAndStop, SaysOnStandardErrorWhatItLogs) {
    const sim::file_descriptor heard = unnamed_file();
    switch_process running(run_dir, {}, heard.get());
    raw_peer peer(run_dir);
    const std::uint8_t id = peer.register_client();
    peer.send(notice_head(), notice_payload(9, 1, 2, 3));
    peer.send(deregister_head(), deregister_payload(id));
    peer.ask("clients");
    const std::string who = fmt::format("vellsim: client 1 (pid {})", getpid());
    EXPECT_EQ(read_file(heard.get()),
              "vellsim: listens on " + socket_path + "\n" + who +
                  " registered: uuid 500, segment \"segment\"\n" + who +
                  ": IPv6 route notice (opcode 75779): offset 0: client id is 9, this "
                  "connection's is 1: refused\n" +
                  who + " deregistered\n");
}

TEST_F(RunAndStop, IsSilentWhenQuiet) {
    const sim::file_descriptor heard = unnamed_file();
    switch_process running(run_dir, {"--quiet"}, heard.get());
    expect_service(run_dir);
    EXPECT_EQ(read_file(heard.get()), "");
    EXPECT_THAT(service_log(run_dir, 104), Contains(HasSubstr("registered: uuid 777")));
}

TEST_F(RunAndStop, GoesOnWhenNobodyReadsItsStandardError) {
    pipe_ends unread = make_pipe();
    switch_process running(run_dir, {}, unread.write.get());
    unread.read.reset();
    unread.write.reset();
    expect_service(run_dir);
    expect_service(run_dir);
}

TEST_F(RunAndStop, WaitsForNobodyWhoDoesNotReadItsStandardError) {
    pipe_ends unread = make_pipe();
    switch_process running(run_dir, {}, unread.write.get());
    raw_peer peer(run_dir);
    peer.register_client();
    const int size = fcntl(unread.read.get(), F_GETPIPE_SZ);
    for (int written = 0; written < 2 * size; written += 80) {
        peer.send(notice_head(), notice_payload(9, 1, 2, static_cast<unsigned>(written)));
        peer.send(request_head(230, 1, 0), {}); // another line, so that both are written
    }
    expect_service(run_dir);
    std::string said(static_cast<std::size_t>(size), '\0');
    EXPECT_GT(read(unread.read.get(), said.data(), said.size()), size - 8192);
    peer.send(notice_head(), notice_payload(9, 1, 2, 3));
    peer.ask("clients");
    const ssize_t more = read(unread.read.get(), said.data(), said.size());
    ASSERT_GT(more, 0);
    EXPECT_THAT(
        said.substr(0, static_cast<std::size_t>(more)),
        testing::MatchesRegex("vellsim: [0-9]+ lines left out here\nvellsim: client 1 .*\n"));
}

TEST_F(RunAndStop, GoesOnWithoutItsLogFileAndSaysSoOnce) {
    const sim::file_descriptor heard = unnamed_file();
    switch_process running(run_dir, {"--quiet"}, heard.get());
    std::filesystem::remove_all(run_dir + "/log");
    expect_service(run_dir);
    EXPECT_EQ(read_file(heard.get()),
              "vellsim: " + run_dir + "/log/service: No such file or directory: lines are lost\n");
}

// Handled before it ends, or counted.
TEST_F(RunAndStop, DropsNoMessageInSilence) {
    {
        switch_process running(run_dir);
        raw_peer peer(run_dir);
        const std::uint8_t id = peer.register_client();
        running.signal(SIGSTOP);
        peer.send(notice_head(), notice_payload(9, 1, 2, 3));
        running.signal(SIGTERM);
        running.signal(SIGCONT);
        EXPECT_EQ(running.wait(), 0);
        EXPECT_THAT(
            service_log(run_dir, 102),
            Contains(HasSubstr(fmt::format("client id is 9, this connection's is {}", id))));
    }
    switch_process slow(run_dir, {"--slow", "3600000"});
    raw_peer peer(run_dir);
    peer.send(register_head(), register_payload(500));
    peer.send(register_head(), register_payload(500));
    peer.send_raw(cut(frame_bytes(register_head(), register_payload(500)), 100));
    slow.signal(SIGTERM);
    EXPECT_EQ(slow.wait(), 0);
    EXPECT_THAT(service_log(run_dir, 102),
                Contains(fmt::format("unregistered client (pid {}): 2 messages dropped: the switch "
                                     "ends",
                                     getpid())));
}

TEST_F(RunAndStop, GoesOnInTheBackgroundWithoutStandardStreams) {
    for (const char *closed : {"<&-", ">&-", "2>&-", "<&- >&- 2>&-"}) {
        run_program({"/bin/sh", "-c",
                     fmt::format("exec \"$0\" run --run-dir \"$1\" --detach {}", closed),
                     VELLSIM_PATH, run_dir});
        expect_service(run_dir);
        EXPECT_EQ(vellsim({"stop", "--run-dir", run_dir}).exit_code, 0) << closed;
    }
}

// What is printed must never go into a file or a connection of the switch.
TEST_F(RunAndStop, LeavesTheStandardDescriptorsToNothingElse) {
    running_program running({"/bin/sh", "-c",
                             "echo started; exec \"$0\" run --run-dir \"$1\" <&- >&- 2>&-",
                             VELLSIM_PATH, run_dir});
    ASSERT_TRUE(wait_until([&] { return is_there(socket_path); }));
    expect_service(run_dir);
    for (const char *fd : {"0", "1", "2"}) {
        EXPECT_EQ(std::filesystem::read_symlink(fmt::format("/proc/{}/fd/{}", running.pid(), fd)),
                  "/dev/null");
    }
    EXPECT_EQ(vellsim({"stop", "--run-dir", run_dir}).exit_code, 0);
    EXPECT_EQ(running.wait(), 0);
}

// However it finds out: where it asks for memory, or where an exception cannot be caught.
TEST_F(RunAndStop, EndsWithAReasonWhenTheMemoryRunsOut) {
    if (under_address_sanitizer) {
        GTEST_SKIP() << "the address sanitizer needs more address space than the limits leave";
    }
    const auto expect_end = [&](rlim_t more, const auto &use_memory) {
        const sim::file_descriptor heard = unnamed_file();
        switch_process running(run_dir, {"--quiet"}, heard.get());
        raw_peer peer(run_dir);
        const std::uint8_t id = peer.register_client();
        const rlimit few{address_space(running.pid()) + more, RLIM_INFINITY};
        ASSERT_EQ(prlimit(running.pid(), RLIMIT_AS, &few, nullptr), 0);
        use_memory(peer, id);
        EXPECT_EQ(running.wait(), 1) << more;
        EXPECT_THAT(read_file(heard.get()), HasSubstr("vellsim: there is not enough memory"));
    };
    for (const rlim_t more : {1u << 20, 5u << 20, 12u << 20, 30u << 20}) {
        expect_end(more,
                   [](raw_peer &peer, std::uint8_t) { peer.send(route_head(), bytes(16u << 20)); });
    }
    // Little by little, so that not even a line for the log finds room at the end.
    expect_end(0, [](raw_peer &peer, std::uint8_t id) {
        for (std::uint32_t i = 0; i < 1'000'000; ++i) {
            peer.send(notice_head(), notice_payload(id + 1u, 1, 2, 3)); // refused, and counted
            if (!peer.send(route_head(), route_payload(id, {{.group = 0xe0000000 + i}}))) {
                return;
            }
        }
    });
}

TEST_F(RunAndStop, KeepsNothingOfTheCallerInTheBackground) {
    pipe_ends inherited = make_pipe();
    const int passed_on = dup(inherited.write.get());
    const command_result run =
        run_program({"/bin/sh", "-c", "cd \"$1\" && exec \"$0\" run --run-dir run --detach",
                     VELLSIM_PATH, directory.path()});
    EXPECT_EQ(run.exit_code, 0) << run.err;
    close(passed_on);
    inherited.write.reset();
    pollfd end{inherited.read.get(), POLLIN, 0};
    EXPECT_EQ(poll(&end, 1, 10'000), 1) << "the switch has the pipe's other end";
    const std::string process = fmt::format("/proc/{}", pid_in_file());
    EXPECT_EQ(std::filesystem::read_symlink(process + "/cwd"), "/");
    for (const char *fd : {"0", "1", "2"}) {
        EXPECT_EQ(std::filesystem::read_symlink(process + "/fd/" + fd), "/dev/null");
    }
    EXPECT_EQ(getsid(pid_in_file()), pid_in_file());
    expect_service(run_dir);
    EXPECT_EQ(vellsim({"stop", "--run-dir", run_dir}).exit_code, 0);
}
