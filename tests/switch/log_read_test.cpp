// The logs, written and read in process.
#include "sim/switch/log_read.h"
#include "sim/switch/switch_log.h"
#include "tests/support/process.h"
#include "tests/support/scratch.h"

#include <fcntl.h>
#include <filesystem>
#include <fmt/format.h>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

namespace fs = std::filesystem;

std::string time_of(unsigned second) {
    return fmt::format("2026-01-31T{:02}:{:02}:{:02}.000000Z", second / 3600, second / 60 % 60,
                       second % 60);
}

class Log : public testing::Test {
protected:
    Log() { fs::create_directories(folder); }

    void write(unsigned second, const char *sink, const std::string &text, std::uint32_t pid = 7,
               std::uint32_t level = 104) const {
        ASSERT_EQ(sim::append_log_line(directory.path(),
                                       {time_of(second), sink, pid, 500, 0x730000, level, text}),
                  "");
    }

    static std::vector<std::string> rest_of(sim::log_reader &log) {
        std::vector<std::string> texts;
        while (const auto line = log.next()) {
            texts.push_back(line->text);
        }
        return texts;
    }
    std::vector<std::string> read(const sim::log_query &query) const {
        sim::log_reader log(directory.path(), query);
        std::vector<std::string> texts = rest_of(log);
        EXPECT_THAT(log.complaints(), IsEmpty());
        return texts;
    }

    scratch_directory directory;
    const std::string folder = directory.path() + "/log";
};

const std::vector<std::string> both = {"client", "service"};

using LogReader = Log;

TEST_F(LogReader, MergesTheSinksByTime) {
    EXPECT_THAT(read({.sinks = both}), IsEmpty());
    write(3, "client", "third");
    write(5, "client", "fifth");
    write(1, "service", "first");
    write(4, "service", "fourth");
    write(2, "history", "not asked for");
    EXPECT_THAT(read({.sinks = both}), ElementsAre("first", "third", "fourth", "fifth"));
    EXPECT_THAT(read({.sinks = {"history"}}), ElementsAre("not asked for"));
}

TEST_F(LogReader, LimitsToTheLatestLinesOfAllSinks) {
    for (unsigned second = 1; second <= 6; ++second) {
        write(second, second % 3 == 0 ? "service" : "client", std::to_string(second));
    }
    EXPECT_THAT(read({.sinks = both, .limit = 1}), ElementsAre("6"));
    EXPECT_THAT(read({.sinks = both, .limit = 3}), ElementsAre("4", "5", "6"));
    EXPECT_THAT(read({.sinks = both, .limit = 6}), SizeIs(6));
    EXPECT_THAT(read({.sinks = both, .limit = 7}), SizeIs(6));
    EXPECT_THAT(read({.sinks = {"history"}, .limit = 2}), IsEmpty());
}

TEST_F(LogReader, FiltersBeforeItLimits) {
    write(1, "client", "error of 7", 7, 102);
    write(2, "client", "trace of 7", 7);
    write(3, "client", "error of 8", 8, 102);
    write(4, "service", "trace of 9", 9);
    EXPECT_THAT(read({.sinks = both, .filter = {.pid = 7}}),
                ElementsAre("error of 7", "trace of 7"));
    EXPECT_THAT(read({.sinks = both, .limit = 1, .filter = {.pid = 7}}), ElementsAre("trace of 7"));
    EXPECT_THAT(read({.sinks = both, .filter = {.errors = true}}),
                ElementsAre("error of 7", "error of 8"));
    EXPECT_THAT(read({.sinks = both, .limit = 1, .filter = {.pid = 7, .errors = true}}),
                ElementsAre("error of 7"));
    EXPECT_THAT(read({.sinks = both, .filter = {.since = "2026-01-31T00:00:03"}}),
                ElementsAre("error of 8", "trace of 9"));
    EXPECT_THAT(read({.sinks = both, .limit = 9, .filter = {.since = "2026-01-31T00:00:03"}}),
                ElementsAre("error of 8", "trace of 9"));
    EXPECT_THAT(read({.sinks = both, .filter = {.since = "2026-02"}}), IsEmpty());
}

TEST_F(LogReader, ReadsThisRunUnlessAskedForTheOneBefore) {
    write(1, "client", "previous");
    ASSERT_EQ(sim::start_logs(directory.path()), "");
    write(2, "client", "older");
    fs::rename(folder + "/client", folder + "/client.older");
    write(3, "client", "latest");
    EXPECT_THAT(read({.sinks = both}), ElementsAre("older", "latest"));
    EXPECT_THAT(read({.sinks = both, .limit = 2}), ElementsAre("older", "latest"));
    EXPECT_THAT(read({.sinks = both, .all_runs = true}),
                ElementsAre("previous", "older", "latest"));
    EXPECT_THAT(read({.sinks = both, .all_runs = true, .limit = 2}),
                ElementsAre("older", "latest"));
}

// Lines of every length around the blocks that files are read in.
TEST_F(LogReader, FindsEveryLineWhereverABlockEnds) {
    for (unsigned number = 0; number < 3000; ++number) {
        write(number, "client", std::to_string(number) + std::string(number * 7 % 1000, 'x'));
    }
    const std::vector<std::string> all = read({.sinks = both});
    ASSERT_THAT(all, SizeIs(3000));
    for (std::size_t number = 0; number < all.size(); ++number) {
        EXPECT_EQ(all[number], std::to_string(number) + std::string(number * 7 % 1000, 'x'));
    }
    for (const std::uint32_t limit : {1u, 500u, 523u, 524u, 525u, 2999u, 3000u}) {
        EXPECT_EQ(
            read({.sinks = both, .limit = limit}),
            std::vector<std::string>(all.end() - static_cast<std::ptrdiff_t>(limit), all.end()))
            << limit;
    }
}

TEST_F(LogReader, TakesLittleMemoryForTheEndOfAHugeLog) {
    // 256 MiB of zeros, which take no room on the disk.
    ASSERT_EQ(truncate((std::ofstream(folder + "/client"), folder + "/client").c_str(), 256 << 20),
              0);
    std::ofstream(folder + "/client", std::ios::app)
        << "\n"
        << sim::format_log_line({time_of(1), "client", 7, 500, 1, 104, "last"}) << "\n";
    rusage before{};
    getrusage(RUSAGE_SELF, &before);
    sim::log_reader log(directory.path(), {.sinks = both, .limit = 1});
    EXPECT_THAT(rest_of(log), ElementsAre("last"));
    rusage after{};
    getrusage(RUSAGE_SELF, &after);
    if (!under_address_sanitizer) {
        EXPECT_LT(after.ru_maxrss - before.ru_maxrss, 8 << 10); // KiB
    }
}

TEST_F(LogReader, LeavesOutWhatIsNotALogLineAndSaysWhere) {
    write(1, "client", "good");
    const auto end = fs::file_size(folder + "/client");
    std::ofstream(folder + "/client", std::ios::app) << "bad\n";
    write(2, "client", "better");
    sim::log_reader log(directory.path(), {.sinks = both});
    EXPECT_THAT(rest_of(log), ElementsAre("good", "better"));
    EXPECT_FALSE(log.has_failed());
    EXPECT_THAT(
        log.complaints(),
        ElementsAre(fmt::format("{}/client: byte {}: is not a log line, left out", folder, end)));
    std::ofstream(folder + "/client", std::ios::app) << "\nworse\n\nworst\n";
    log.refresh();
    EXPECT_THAT(rest_of(log), IsEmpty());
    EXPECT_THAT(log.complaints(),
                ElementsAre(fmt::format(
                    "{}/client: byte {}: is not a log line, left out, and so are 2 after it",
                    folder, end)));
}

TEST_F(LogReader, FailsWhereAFileCannotBeRead) {
    std::ofstream(directory.path() + "/secret") << "not shown\n";
    fs::create_symlink(directory.path() + "/secret", folder + "/client");
    ASSERT_EQ(mkfifo((folder + "/service").c_str(), 0600), 0);
    sim::log_reader log(directory.path(), {.sinks = both});
    EXPECT_THAT(rest_of(log), IsEmpty());
    EXPECT_TRUE(log.has_failed());
    EXPECT_THAT(log.complaints(), ElementsAre(folder + "/client: is a symbolic link",
                                              folder + "/service: is not a regular file"));
}

TEST_F(LogReader, GoesOnWithWhatIsLoggedLater) {
    sim::log_reader log(directory.path(), {.sinks = both});
    EXPECT_THAT(rest_of(log), IsEmpty());
    write(1, "client", "first");
    EXPECT_THAT(rest_of(log), IsEmpty());
    log.refresh();
    EXPECT_THAT(rest_of(log), ElementsAre("first"));
    // A line that is written in two pieces, a file that is full, and a new run.
    const std::string line =
        sim::format_log_line({time_of(2), "client", 7, 500, 1, 104, "second"}) + "\n";
    std::ofstream(folder + "/client", std::ios::app) << line.substr(0, 20);
    log.refresh();
    EXPECT_THAT(rest_of(log), IsEmpty());
    std::ofstream(folder + "/client", std::ios::app) << line.substr(20);
    fs::rename(folder + "/client", folder + "/client.older");
    write(3, "client", "third");
    log.refresh();
    EXPECT_THAT(rest_of(log), ElementsAre("second", "third"));
    ASSERT_EQ(sim::start_logs(directory.path()), "");
    write(4, "client", "fourth");
    log.refresh();
    EXPECT_THAT(rest_of(log), ElementsAre("fourth"));
    EXPECT_THAT(log.complaints(), IsEmpty());
}

using SwitchLog = Log;

TEST_F(SwitchLog, CountsEqualLinesInARow) {
    {
        sim::switch_log log(directory.path(), true);
        for (int times = 0; times < 3; ++times) {
            log.write(104, "a few");
        }
        for (int times = 0; times < 250; ++times) {
            log.write(102, "many");
        }
        log.write(102, "other");
        log.write(104, "other");
        for (int times = 0; times < 5; ++times) {
            log.write(104, "many");
        }
    }
    EXPECT_THAT(read({.sinks = {"service"}}),
                ElementsAre("a few", "a few", "a few", "many", "many", "many",
                            "7 more like the line before", "90 more like the line before",
                            "150 more like the line before", "other", "other", "many", "many",
                            "many", "2 more like the line before"));
}

TEST_F(SwitchLog, SaysOnceWhileItsFileCannotBeWritten) {
    fs::remove(folder);
    testing::internal::CaptureStderr();
    sim::switch_log log(directory.path(), true);
    log.write(104, "lost");
    log.write(104, "lost too");
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "vellsim: " + folder + "/service: No such file or directory: lines are lost\n");
}

} // namespace
