#include "tests/support/simulator.h"
#include "tests/switch/raw_peer.h"
#include "tests/switch/test_service.h"

#include <csignal>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
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

class RunAndStop : public simulator {
protected:
    const std::string socket_path = run_dir + "/vell.sock";
};

} // namespace

TEST_F(RunAndStop, MakesItsDirectoryAndSaysWhenItIsReady) {
    switch_process running(run_dir);
    EXPECT_EQ(running.ready_line(), "vellsim: ready, " + socket_path + "\n");
    EXPECT_EQ(mode_of(run_dir), 0700u);
    EXPECT_EQ(mode_of(socket_path), 0600u);
    expect_service(run_dir);
}

TEST_F(RunAndStop, GoesOnInTheBackgroundOnceItCanBeReached) {
    const command_result run = vellsim({"run", "--run-dir", run_dir, "--detach"});
    EXPECT_EQ(run.exit_code, 0) << run.err;
    EXPECT_EQ(run.out, "vellsim: ready, " + socket_path + "\n");
    expect_service(run_dir);
    EXPECT_EQ(vellsim({"stop", "--run-dir", run_dir}).exit_code, 0);
    EXPECT_FALSE(is_there(socket_path));
}

TEST_F(RunAndStop, InTheBackgroundFailsAsItDoesOtherwise) {
    switch_process running(run_dir);
    const command_result second = vellsim({"run", "--run-dir", run_dir, "--detach"});
    EXPECT_EQ(second.exit_code, 1);
    EXPECT_EQ(second.out, "");
    EXPECT_EQ(second.err, vellsim({"run", "--run-dir", run_dir}).err);
}

TEST_F(RunAndStop, EndsCleanlyOnSigtermAndSigint) {
    for (const int number : {SIGTERM, SIGINT}) {
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
              "vellsim: another switch holds " + run_dir + "; `vellsim stop` ends it\n");
    expect_service(run_dir);
}

TEST_F(RunAndStop, RefusesToStartWhenSomethingElseAnswersOnTheSocket) {
    // A listener that holds no lock, such as a switch whose directory was moved.
    std::string elsewhere = directory / "elsewhere";
    switch_process running(elsewhere);
    std::filesystem::create_directory(run_dir);
    std::filesystem::permissions(run_dir, std::filesystem::perms::owner_all);
    std::filesystem::rename(elsewhere + "/vell.sock", socket_path);
    const command_result second = vellsim({"run", "--run-dir", run_dir});
    EXPECT_EQ(second.exit_code, 1);
    EXPECT_EQ(second.err,
              "vellsim: a switch answers on " + socket_path + "; `vellsim stop` ends it\n");
    expect_service(run_dir);
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

TEST_F(RunAndStop, GivesUpOnASwitchThatDoesNotEnd) {
    switch_process running(run_dir);
    running.signal(SIGSTOP);
    const command_result gave_up = vellsim({"stop", "--wait", "1", "--run-dir", run_dir});
    EXPECT_EQ(gave_up.exit_code, 1);
    EXPECT_EQ(gave_up.err,
              fmt::format("vellsim: the switch (pid {}) has not ended within 1 seconds\n",
                          running.pid()));
    running.signal(SIGCONT);
    EXPECT_EQ(running.wait(), 0);
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

TEST_F(RunAndStop, GoesOnWithoutItsLogFileAndSaysSoOnce) {
    const sim::file_descriptor heard = unnamed_file();
    switch_process running(run_dir, {"--quiet"}, heard.get());
    std::filesystem::remove_all(run_dir + "/log");
    expect_service(run_dir);
    EXPECT_EQ(read_file(heard.get()),
              "vellsim: " + run_dir + "/log/service: No such file or directory: lines are lost\n");
}
