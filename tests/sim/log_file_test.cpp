#include "sim/wire/log_file.h"
#include "tests/support/process.h"
#include "tests/support/scratch.h"

#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using sim::log_line;

log_line sample(std::string text) {
    return {"2026-01-31T23:59:59.123456Z", "client", 4711, 384, 0x730000, 104, std::move(text)};
}

std::string line_of(const std::string &text) {
    return sim::format_log_line(sample(text)) + "\n";
}

std::string contents(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

class LogFile : public testing::Test {
protected:
    LogFile() { fs::create_directory(scratch / "log"); }

    std::string append(const std::string &text) const {
        return sim::append_log_line(scratch.path(), sample(text));
    }

    // Writes a file of exactly this size, whose last line is whole.
    void fill(std::uint64_t size) const {
        std::ofstream(path) << std::string(static_cast<std::size_t>(size - 1), 'x') << '\n';
    }

    scratch_directory scratch;
    std::string path = scratch / "log/client";
};

TEST_F(LogFile, TakesOneLineAfterTheOther) {
    EXPECT_EQ(append("first\n"), "");
    EXPECT_EQ(append("second"), "");
    EXPECT_EQ(contents(path), line_of("first\n") + line_of("second"));
}

TEST_F(LogFile, IsForThisUserOnly) {
    ASSERT_EQ(append("text"), "");
    EXPECT_EQ(fs::status(path).permissions(), fs::perms::owner_read | fs::perms::owner_write);
}

TEST_F(LogFile, IsOfAKnownSink) {
    log_line line = sample("text");
    line.sink = "../outside";
    EXPECT_EQ(sim::append_log_line(scratch.path(), line), "../outside: is not a log sink");
    EXPECT_FALSE(fs::exists(scratch / "outside"));
}

TEST_F(LogFile, NeedsItsFolder) {
    fs::remove(scratch / "log");
    EXPECT_EQ(append("text"), path + ": No such file or directory");
    EXPECT_TRUE(fs::is_empty(scratch.path()));
}

TEST_F(LogFile, IsNotALink) {
    fs::create_symlink(scratch / "elsewhere", path);
    EXPECT_EQ(append("text"), path + ": is a symbolic link");
    EXPECT_FALSE(fs::exists(scratch / "elsewhere"));
    EXPECT_EQ(sim::open_log(path).error, path + ": is a symbolic link");
}

TEST_F(LogFile, IsNotAFifoThatNobodyReads) {
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    EXPECT_EQ(append("text"), path + ": is not a regular file");
    EXPECT_EQ(sim::open_log(path).error, path + ": is not a regular file");
}

TEST_F(LogFile, HasADescriptorAboveTheStandardOnes) {
    EXPECT_EQ(run_in_child([this] {
                  close(STDIN_FILENO);
                  close(STDERR_FILENO);
                  const sim::opened_log log = sim::open_log(path);
                  return append("text").empty() && log.is_missing &&
                                 sim::open_log(path).file.get() > STDERR_FILENO
                             ? 0
                             : 1;
              }).exit_code,
              0);
}

// What is said when the file may grow by `room` bytes only. A limit on its size acts as a
// full disk.
std::string append_with_room_for(const scratch_directory &scratch, std::size_t room) {
    return run_in_child([&] {
               const auto size = static_cast<rlim_t>(fs::file_size(scratch / "log/client") + room);
               rlimit limit{};
               getrlimit(RLIMIT_FSIZE, &limit);
               signal(SIGXFSZ, SIG_IGN);
               const rlimit low{size, limit.rlim_max};
               setrlimit(RLIMIT_FSIZE, &low);
               const std::string said = sim::append_log_line(scratch.path(), sample("text"));
               setrlimit(RLIMIT_FSIZE, &limit);
               std::fputs(said.c_str(), stderr);
               return 0;
           })
        .err;
}

TEST_F(LogFile, SaysWhenItCannotGrow) {
    ASSERT_EQ(append("text"), "");
    EXPECT_EQ(append_with_room_for(scratch, line_of("text").size()), "");
    EXPECT_EQ(append_with_room_for(scratch, 0), path + ": File too large");
    EXPECT_EQ(contents(path), line_of("text") + line_of("text"));
}

TEST_F(LogFile, LosesTheLineThatAFullDiskCutsAndNoOther) {
    ASSERT_EQ(append("before"), "");
    EXPECT_EQ(append_with_room_for(scratch, 10), path + ": No space left on device");
    ASSERT_EQ(append("after"), "");
    EXPECT_EQ(contents(path),
              line_of("before") + line_of("text").substr(0, 10) + "\n" + line_of("after"));
}

TEST_F(LogFile, IsMovedAwayWhenTheNextLineWouldPassItsLimit) {
    const std::uint64_t room = line_of("text").size();
    fill(sim::log_file_limit - room);
    ASSERT_EQ(append("text"), "");
    EXPECT_EQ(fs::file_size(path), sim::log_file_limit);
    EXPECT_FALSE(fs::exists(path + ".older"));
    ASSERT_EQ(append("next"), "");
    EXPECT_EQ(contents(path), line_of("next"));
    EXPECT_EQ(fs::file_size(path + ".older"), sim::log_file_limit);
    fill(sim::log_file_limit - room + 1);
    ASSERT_EQ(append("text"), "");
    EXPECT_EQ(contents(path), line_of("text"));
    EXPECT_EQ(fs::file_size(path + ".older"), sim::log_file_limit - room + 1);
}

// A stopped process may hold the lock that keeps two from moving a file at once.
TEST_F(LogFile, WaitsForNobodyToBeMoved) {
    const sim::file_descriptor folder(open((scratch / "log").c_str(), O_RDONLY | O_DIRECTORY));
    ASSERT_EQ(flock(folder.get(), LOCK_EX), 0);
    fill(sim::log_file_limit);
    EXPECT_EQ(append("text"), "");
    EXPECT_EQ(fs::file_size(path), sim::log_file_limit + line_of("text").size());
}

TEST_F(LogFile, OfTheRunBeforeIsKept) {
    std::ofstream(path) << "last run\n";
    std::ofstream(path + ".older") << "last run, earlier\n";
    std::ofstream(path + ".previous") << "the run before that\n";
    EXPECT_EQ(sim::start_logs(scratch.path()), "");
    EXPECT_FALSE(fs::exists(path));
    EXPECT_FALSE(fs::exists(path + ".older"));
    EXPECT_EQ(contents(path + ".previous"), "last run\n");
    // A run that logged nothing has nothing to keep.
    EXPECT_EQ(sim::start_logs(scratch.path()), "");
    EXPECT_TRUE(fs::is_empty(scratch / "log"));
}

TEST_F(LogFile, ThatCannotBeMovedIsNamed) {
    fs::create_directory(path);
    fs::create_directory(path + ".older");
    EXPECT_EQ(sim::start_logs(scratch.path()), path + ": Is a directory");
}

} // namespace
