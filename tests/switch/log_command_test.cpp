// `vellsim show log`, as its users run it.
#include "sim/wire/log_file.h"
#include "tests/support/simulator.h"
#include "tests/switch/raw_peer.h"
#include "tests/switch/test_service.h"

#include <csignal>
#include <filesystem>
#include <fmt/format.h>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <unistd.h>

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

namespace fs = std::filesystem;

class ShowLog : public testing::Test {
protected:
    scratch_directory directory;
    const std::string run_dir = directory.path() + "/run";

    // As a switch leaves it.
    void make_run_dir() const {
        fs::create_directories(run_dir + "/log");
        fs::permissions(run_dir, fs::perms::owner_all);
        fs::permissions(run_dir + "/log", fs::perms::owner_all);
    }
    void write(const char *time, const char *sink, const std::string &text,
               std::uint32_t level = 104) const {
        ASSERT_EQ(
            sim::append_log_line(run_dir, {std::string("2026-01-31T10:00:") + time + ".000000Z",
                                           sink, 7, 500, 0x730000, level, text}),
            "");
    }
    command_result show_log(std::vector<std::string> arguments = {}) const {
        arguments.insert(arguments.begin(), {"show", "log"});
        arguments.insert(arguments.end(), {"--run-dir", run_dir});
        return vellsim(arguments);
    }
    std::string shown(const std::vector<std::string> &arguments = {}) const {
        const command_result result = show_log(arguments);
        EXPECT_EQ(result.exit_code, 0);
        EXPECT_EQ(result.err, "");
        return result.out;
    }
};

TEST_F(ShowLog, PrintsEachMessageOnceWithoutASwitch) {
    make_run_dir();
    write("01", "service", "first");
    write("02", "history", "f(1):TRACE: second\n", 7);
    write("02", "client", "f(1):second\n");
    write("03", "client", "\x1b[2Jthird\n", 102);
    EXPECT_EQ(shown(), "2026-01-31T10:00:01.000000Z service trace pid 7 uuid 500: first\n"
                       "2026-01-31T10:00:02.000000Z client  trace pid 7 uuid 500: f(1):second\n"
                       "2026-01-31T10:00:03.000000Z client  error pid 7 uuid 500: \\x1b[2Jthird\n"
                       "3 lines\n");
    EXPECT_EQ(shown({"--limit", "1", "--sink", "history"}),
              "2026-01-31T10:00:02.000000Z history level 7 pid 7 uuid 500: f(1):TRACE: second\n"
              "1 line, the latest\n");
    EXPECT_THAT(shown({"--errors", "--limit", "4"}), EndsWith("third\n1 line\n"));
    EXPECT_THAT(shown({"--since", "2026-01-31T10:00:03"}), EndsWith("third\n1 line\n"));
    EXPECT_EQ(shown({"--since", "1d"}), "0 lines\n");
    EXPECT_EQ(shown({"--pid", "8"}), "0 lines\n");
}

TEST_F(ShowLog, SaysInJsonByWhatItWasNarrowed) {
    make_run_dir();
    write("01", "client", "first\n");
    write("02", "client", "second\n");
    EXPECT_EQ(shown({"--json", "--limit", "1", "--pid", "7"}),
              R"({"log":[{"time":"2026-01-31T10:00:02.000000Z","sink":"client","pid":7,)"
              R"("uuid":500,"module":7536640,"level":104,"text":"second\u000a"}],)"
              R"("matched":null,"narrowed":{"pid":7,"limit":1}})"
              "\n");
    const auto whole = nlohmann::json::parse(shown({"--json"}));
    EXPECT_EQ(whole.at("log").size(), 2u);
    EXPECT_EQ(whole.at("matched"), 2);
    EXPECT_EQ(whole.at("narrowed"), nullptr);
}

TEST_F(ShowLog, PrintsTheServicesOwnLogOfARunningSwitch) {
    switch_process running(run_dir);
    raw_peer client(run_dir);
    client.register_client(500);
    client.ask("clients");
    const auto lines = nlohmann::json::parse(shown({"--json", "--sink", "service"})).at("log");
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].at("text"), "listens on " + run_dir + "/vell.sock");
    EXPECT_EQ(lines[1].at("text"),
              fmt::format("client 1 (pid {}) registered: uuid 500, segment \"segment\"", getpid()));
    EXPECT_EQ(lines[1].at("pid"), running.pid());
    EXPECT_EQ(lines[1].at("uuid"), 0);
    EXPECT_EQ(lines[1].at("module"), 0);
    EXPECT_EQ(lines[1].at("level"), 104);
}

TEST_F(ShowLog, IsOfThisRunUnlessAskedForMore) {
    { const switch_process first(run_dir, {"--ack-id", "9"}); }
    { const switch_process second(run_dir); }
    EXPECT_THAT(shown(), Not(HasSubstr("--ack-id")));
    EXPECT_THAT(shown({"--all"}), HasSubstr("--ack-id"));
    { const switch_process third(run_dir); }
    EXPECT_THAT(shown({"--all"}), Not(HasSubstr("--ack-id")));
}

TEST_F(ShowLog, FailsWhereItCannotRead) {
    make_run_dir();
    write("01", "service", "shown all the same");
    std::ofstream(run_dir + "/secret") << "not shown\n";
    fs::create_symlink(run_dir + "/secret", run_dir + "/log/client");
    const command_result result = show_log();
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_THAT(result.out, EndsWith(": shown all the same\n1 line\n"));
    EXPECT_EQ(result.err, "vellsim: " + run_dir + "/log/client: is a symbolic link\n");
}

TEST_F(ShowLog, ChecksTheRunDirectoryAsTheSwitchDoes) {
    EXPECT_EQ(show_log().err, "vellsim: no log: " + run_dir + ": No such file or directory\n");
    make_run_dir();
    fs::permissions(run_dir, fs::perms::others_read, fs::perm_options::add);
    EXPECT_EQ(show_log().err, "vellsim: no log: " + run_dir +
                                  ": is open to other users (mode 0704, it must be 0700)\n");
    fs::permissions(run_dir, fs::perms::owner_all);
    fs::remove(run_dir + "/log");
    fs::create_symlink(directory.path(), run_dir + "/log");
    const command_result result = show_log();
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_EQ(result.err, "vellsim: no log: " + run_dir + "/log: is a symbolic link\n");
}

TEST_F(ShowLog, FollowsWhatIsLogged) {
    make_run_dir();
    write("01", "client", "before");
    write("02", "client", "latest");
    running_program follower(
        {VELLSIM_PATH, "show", "log", "--follow", "--limit", "1", "--run-dir", run_dir});
    EXPECT_THAT(follower.first_line(), EndsWith(": latest\n"));
    write("03", "service", "later");
    EXPECT_THAT(follower.next_line(), EndsWith(": later\n"));
    follower.signal(SIGINT);
    EXPECT_EQ(follower.wait(), 256 + SIGINT);
}

TEST_F(ShowLog, RefusesWrongOptions) {
    const auto complaint = [this](const std::vector<std::string> &arguments) {
        const command_result refused = show_log(arguments);
        EXPECT_EQ(refused.exit_code, 2);
        EXPECT_EQ(refused.out, "");
        EXPECT_THAT(refused.err, StartsWith("vellsim: "));
        return refused.err.substr(9, refused.err.find('\n') - 9);
    };
    EXPECT_EQ(complaint({"--sink", "syslog"}), "--sink: syslog not in {history,client,service}");
    EXPECT_EQ(complaint({"--since", "yesterday"}),
              "--since: yesterday is neither a time such as 2026-01-31T23:59 (UTC) nor an age such "
              "as 90s, 10m, 2h or 1d");
    for (const char *wrong : {"10", "m", "10 m", "-1m", "10w", "2026", "50000d", "1.5h"}) {
        EXPECT_THAT(complaint({"--since", wrong}),
                    StartsWith(fmt::format("--since: {} is neither a time", wrong)));
    }
    EXPECT_EQ(complaint({"--pid", "self"}), "--pid: self is not a number from 0 to 4294967295");
    EXPECT_EQ(complaint({"--follow", "--json"}), "--follow: does not go with --json");
}

TEST(RunHelp, NamesTheBoundOfALog) {
    EXPECT_THAT(
        vellsim({"run", "--help"}).out,
        HasSubstr(fmt::format("\n{} MiB goes on in a new file", sim::log_file_limit >> 20)));
}

TEST(RunDirOption, MayNotBeEmpty) {
    for (const char *command : {"run", "stop", "count"}) {
        const command_result refused = vellsim({command, "--run-dir", ""});
        EXPECT_EQ(refused.exit_code, 2) << command;
        EXPECT_THAT(refused.err, StartsWith("vellsim: --run-dir: the directory's path is empty: "
                                            "name a directory\n"));
    }
}

TEST(RunDirOption, IsPrintedInOneSpelling) {
    const scratch_directory directory;
    const switch_process running(directory.path() + "/./run//");
    EXPECT_THAT(running.ready_line(), HasSubstr(" " + directory.path() + "/run/vell.sock (pid "));
    const command_result second = vellsim({"run", "--run-dir", directory.path() + "//run"});
    EXPECT_THAT(second.err, HasSubstr(" " + directory.path() + "/run; "));
}

} // namespace
