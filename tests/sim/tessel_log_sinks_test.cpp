#include "sim/wire/log_file.h"
#include "sim/wire/run_dir.h"
#include "tests/support/process.h"
#include "tests/support/scratch.h"

#include <tessel.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <memory>
#include <sys/stat.h>
#include <vector>

namespace {

namespace fs = std::filesystem;

constexpr std::uint32_t module = 0x730000;

// A record as long as it says and no longer, so that a read beyond it is a read beyond the
// allocation.
class record {
public:
    record(std::uint32_t level, const std::string &text)
        : size_(static_cast<std::uint32_t>(4 + text.size())) {
        bytes_ = std::make_unique<char[]>(size_);
        std::memcpy(bytes_.get(), &level, 4);
        std::memcpy(bytes_.get() + 4, text.data(), text.size());
    }

    const void *get() const { return bytes_.get(); }
    std::uint32_t size() const { return size_; }

private:
    std::uint32_t size_;
    std::unique_ptr<char[]> bytes_;
};

std::string with_nul(const std::string &text) {
    return text + '\0';
}

class TesselLog : public testing::Test {
protected:
    TesselLog() { EXPECT_EQ(sim::prepare_run_dir(directory.path()), ""); }

    std::vector<sim::log_line> lines(const std::string &sink) const {
        std::ifstream file(directory / ("log/" + sink));
        std::vector<sim::log_line> result;
        for (std::string text; std::getline(file, text);) {
            const auto line = sim::parse_log_line(text);
            // A process that finds another's line half written ends it with an empty one.
            EXPECT_TRUE(line || text.empty()) << text;
            if (line) {
                result.push_back(*line);
            }
        }
        return result;
    }

    bool nothing_was_written() const { return fs::is_empty(directory / "log"); }

    scratch_directory directory;
    scoped_environment run_dir{"VELLSIM_RUN_DIR", directory.path()};
};

TEST_F(TesselLog, KeepsTheHistory) {
    const record event(102, with_nul("vell_register(135):ERROR: kyt_send failed : -1\n"));
    EXPECT_EQ(tessel_hist_event(module, event.size(), event.get()), 0u);
    const auto found = lines("history");
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].sink, "history");
    EXPECT_EQ(found[0].pid, static_cast<std::uint32_t>(getpid()));
    EXPECT_EQ(found[0].uuid, 0u);
    EXPECT_EQ(found[0].module, 0x730000u);
    EXPECT_EQ(found[0].level, 102u);
    EXPECT_EQ(found[0].text, "vell_register(135):ERROR: kyt_send failed : -1\n");
    EXPECT_FALSE(fs::exists(directory / "log/client"));
}

TEST_F(TesselLog, KeepsTheClientsLogUnderItsUuid) {
    const record event(104, with_nul("text"));
    EXPECT_EQ(tessel_his_log_event_for_uuid_inst(384, module, 1, 0, event.size(), event.get()), 0u);
    EXPECT_EQ(
        tessel_his_log_event_for_uuid_inst(0xffffffff, 0x740001, 1, 0, event.size(), event.get()),
        0u);
    const auto found = lines("client");
    ASSERT_EQ(found.size(), 2u);
    EXPECT_EQ(found[0].sink, "client");
    EXPECT_EQ(found[0].uuid, 384u);
    EXPECT_EQ(found[0].level, 104u);
    EXPECT_EQ(found[0].text, "text");
    EXPECT_EQ(found[1].uuid, 0xffffffffu);
    EXPECT_EQ(found[1].module, 0x740001u);
    EXPECT_FALSE(fs::exists(directory / "log/history"));
}

TEST_F(TesselLog, TakesTextsOfEveryLengthAndByte) {
    for (const std::string &text :
         {std::string(), std::string(511, 'x'), std::string("\t\\\x01\x7f\x80\xff\n")}) {
        const record event(104, with_nul(text));
        EXPECT_EQ(tessel_hist_event(module, event.size(), event.get()), 0u);
        EXPECT_EQ(lines("history").back().text, text);
    }
}

TEST_F(TesselLog, TakesARecordAtAnOddAddress) {
    std::vector<char> room = {'?', 102, 0, 0, 0, 'o', 'd', 'd', '\0'};
    EXPECT_EQ(tessel_hist_event(module, 8, room.data() + 1), 0u);
    ASSERT_EQ(lines("history").size(), 1u);
    EXPECT_EQ(lines("history")[0].level, 102u);
    EXPECT_EQ(lines("history")[0].text, "odd");
}

TEST_F(TesselLog, DoesNotReadBeyondTheLengthNorBeyondTheNul) {
    const record no_nul(104, "without an end");
    EXPECT_EQ(tessel_hist_event(module, no_nul.size(), no_nul.get()), 0u);
    const record early_nul(104, with_nul("before") + with_nul("behind"));
    EXPECT_EQ(tessel_hist_event(module, early_nul.size(), early_nul.get()), 0u);
    const record longer(104, with_nul("cut here|not this"));
    EXPECT_EQ(tessel_hist_event(module, 4 + 8, longer.get()), 0u);
    const auto found = lines("history");
    ASSERT_EQ(found.size(), 3u);
    EXPECT_EQ(found[0].text, "without an end");
    EXPECT_EQ(found[1].text, "before");
    EXPECT_EQ(found[2].text, "cut here");
}

TEST_F(TesselLog, DropsWhatIsNoRecordAndSaysSo) {
    const record event(104, with_nul("text"));
    const auto child = run_in_child([&] {
        int dropped = 0;
        for (std::uint32_t length = 0; length <= 4; ++length)
            dropped += tessel_hist_event(module, length, event.get()) == 1;
        dropped += tessel_his_log_event_for_uuid_inst(384, module, 1, 0, 4, event.get()) == 1;
        dropped += tessel_hist_event(module, 9, nullptr) == 1;
        return dropped;
    });
    EXPECT_EQ(child.exit_code, 7);
    EXPECT_EQ(
        child.err,
        "libtessel: log records are dropped: a record of 0 bytes is not a level with a text\n");
    EXPECT_TRUE(nothing_was_written());
}

// Whatever keeps the records from their files, the client goes on, and reads of it once.
class TesselLogDrops : public TesselLog {
protected:
    void expect_dropped(const std::string &because) {
        const auto child = run_in_child([] {
            const record event(104, with_nul("text"));
            errno = EXDEV;
            for (int call = 0; call < 3; ++call)
                if (tessel_hist_event(module, event.size(), event.get()) == 0 ||
                    tessel_his_log_event_for_uuid_inst(384, module, 1, 0, event.size(),
                                                       event.get()) == 0)
                    return 1;
            return errno == EXDEV ? 0 : 2;
        });
        EXPECT_EQ(child.exit_code, 0);
        EXPECT_EQ(child.err, "libtessel: log records are dropped: " + because + "\n");
    }
};

TEST_F(TesselLogDrops, RecordsWithoutARunDirectory) {
    const scoped_environment elsewhere("VELLSIM_RUN_DIR", directory / "none");
    expect_dropped(directory / "none: No such file or directory");
    EXPECT_FALSE(fs::exists(directory / "none"));
}

TEST_F(TesselLogDrops, RecordsWithoutALogFolder) {
    fs::remove(directory / "log");
    expect_dropped(directory / "log/history: No such file or directory");
}

TEST_F(TesselLogDrops, RecordsWhoseFilesCannotBeWritten) {
    fs::create_directory(directory / "log/history");
    fs::create_directory(directory / "log/client");
    expect_dropped(directory / "log/history: Is a directory");
}

TEST_F(TesselLogDrops, RecordsInADirectoryThatIsOpenToOthers) {
    ASSERT_EQ(chmod(directory.path().c_str(), 0755), 0);
    expect_dropped(directory.path() + ": is open to other users (mode 0755, it must be 0700)");
    EXPECT_TRUE(nothing_was_written());
}

TEST_F(TesselLog, LeavesErrnoAloneWhenItWrites) {
    const record event(104, with_nul("text"));
    errno = EXDEV;
    EXPECT_EQ(tessel_hist_event(module, event.size(), event.get()), 0u);
    EXPECT_EQ(errno, EXDEV);
}

TEST_F(TesselLog, LeavesNoFileOpen) {
    const auto open_files = [] {
        const fs::directory_iterator files("/proc/self/fd");
        return std::distance(begin(files), end(files));
    };
    const auto before = open_files();
    const record event(104, with_nul("text"));
    EXPECT_EQ(tessel_hist_event(module, event.size(), event.get()), 0u);
    EXPECT_EQ(open_files(), before);
}

TEST_F(TesselLog, KeepsTheRecordsOfSeveralProcessesApart) {
    const auto log_some = [](const std::string &text) {
        const record event(104, with_nul(text));
        for (int number = 0; number < 50; ++number)
            tessel_hist_event(module, event.size(), event.get());
        return 0;
    };
    const pid_t other = fork();
    if (other == 0)
        _exit(log_some(std::string(500, 'b')));
    log_some(std::string(500, 'a'));
    int status = 0;
    ASSERT_EQ(waitpid(other, &status, 0), other);
    const auto found = lines("history");
    EXPECT_EQ(found.size(), 100u);
    for (const auto &line : found)
        EXPECT_EQ(line.text,
                  std::string(500, line.pid == static_cast<std::uint32_t>(other) ? 'b' : 'a'));
}

} // namespace
