#include "sim/wire/log_line.h"
#include "tests/support/process.h"
#include "tests/support/scratch.h"

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <sys/resource.h>

namespace {

namespace fs = std::filesystem;
using sim::log_line;

log_line sample(std::string text) {
    return {"2026-01-31T23:59:59.123456Z", "client", 4711, 384, 0x730000, 104, std::move(text)};
}

std::string contents(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void expect_same(const log_line &left, const log_line &right) {
    EXPECT_EQ(left.time, right.time);
    EXPECT_EQ(left.sink, right.sink);
    EXPECT_EQ(left.pid, right.pid);
    EXPECT_EQ(left.uuid, right.uuid);
    EXPECT_EQ(left.module, right.module);
    EXPECT_EQ(left.level, right.level);
    EXPECT_EQ(left.text, right.text);
}

TEST(FormatLogLine, PutsTheFieldsInOrderAndTheTextLast) {
    EXPECT_EQ(sim::format_log_line(sample("vell_register(93):client already registered?")),
              "2026-01-31T23:59:59.123456Z client 4711 384 0x730000 104 vell_register(93):client "
              "already registered?");
}

TEST(FormatLogLine, KeepsEveryRecordOnOneLine) {
    EXPECT_EQ(sim::format_log_line(sample("a\tb\\c\r\x1b[1m\x7f\xe4\xff\n")),
              "2026-01-31T23:59:59.123456Z client 4711 384 0x730000 104 "
              "a\\tb\\\\c\\x0d\\x1b[1m\\x7f\\xe4\\xff\\n");
}

TEST(ParseLogLine, ReadsBackWhatWasFormatted) {
    std::string every_byte;
    for (int byte = 0; byte < 256; ++byte)
        every_byte += static_cast<char>(byte);
    for (const std::string &text :
         {std::string(), std::string(" blanks  around "), std::string("\\n is no line feed"),
          every_byte, std::string(5000, '\xff')}) {
        const auto parsed = sim::parse_log_line(sim::format_log_line(sample(text)));
        ASSERT_TRUE(parsed);
        expect_same(*parsed, sample(text));
    }
}

TEST(ParseLogLine, ReadsTheLargestNumbersAndEverySink) {
    for (const char *sink : {"history", "client", "console", "service"}) {
        const log_line line{"0000-00-00T00:00:00.000000Z",
                            sink,
                            0xffffffff,
                            0xfffffffe,
                            0xfffffffd,
                            0xfffffffc,
                            "x"};
        const auto parsed = sim::parse_log_line(sim::format_log_line(line));
        ASSERT_TRUE(parsed);
        expect_same(*parsed, line);
    }
}

TEST(ParseLogLine, RefusesWhatIsNoLine) {
    const std::string time = "2026-01-31T23:59:59.123456Z";
    for (const std::string &text :
         {std::string(), time, time + " client 1 2 0x3 102",
          std::string("yesterday client 1 2 0x3 102 text"),
          std::string("2026-01-31 23:59:59.123456Z client 1 2 0x3 102 text"),
          time + " elsewhere 1 2 0x3 102 text", time + "  client 1 2 0x3 102 text",
          time + " client -1 2 0x3 102 text", time + " client 1 0x2 0x3 102 text",
          time + " client 4294967296 2 0x3 102 text", time + " client 1 2 3 102 text",
          time + " client 1 2 0x 102 text", time + " client 1 2 0x3 1o2 text",
          time + " client 1 2 0x3  text"})
        EXPECT_FALSE(sim::parse_log_line(text)) << text;
}

TEST(ParseLogLine, RefusesTextsThatFormattingDoesNotMake) {
    const std::string head = "2026-01-31T23:59:59.123456Z client 1 2 0x3 102 ";
    for (const std::string &text :
         {std::string("\\"), std::string("\\q"), std::string("\\x"), std::string("\\x1"),
          std::string("\\xg0"), std::string("\\x-1"), std::string("line\nfeed"),
          std::string("\xe4"), std::string(1, '\0')})
        EXPECT_FALSE(sim::parse_log_line(head + text)) << text;
    EXPECT_TRUE(sim::parse_log_line(head + "text"));
}

TEST(LogTimeNow, HasTheFormThatParsingExpects) {
    log_line line = sample("text");
    line.time = sim::log_time_now();
    EXPECT_TRUE(sim::parse_log_line(sim::format_log_line(line))) << line.time;
    EXPECT_GT(line.time, "2020");
}

TEST(AppendLogLine, AppendsOneLineToTheSinksFile) {
    const scratch_directory scratch;
    fs::create_directory(scratch / "log");
    EXPECT_TRUE(sim::append_log_line(scratch.path(), sample("first\n")));
    EXPECT_TRUE(sim::append_log_line(scratch.path(), sample("second")));
    EXPECT_EQ(contents(scratch / "log/client"), sim::format_log_line(sample("first\n")) + "\n" +
                                                    sim::format_log_line(sample("second")) + "\n");
}

TEST(AppendLogLine, MakesAFileForThisUserOnly) {
    const scratch_directory scratch;
    fs::create_directory(scratch / "log");
    ASSERT_TRUE(sim::append_log_line(scratch.path(), sample("text")));
    EXPECT_EQ(fs::status(scratch / "log/client").permissions(),
              fs::perms::owner_read | fs::perms::owner_write);
}

TEST(AppendLogLine, RefusesASinkThatIsNone) {
    const scratch_directory scratch;
    fs::create_directory(scratch / "log");
    log_line line = sample("text");
    line.sink = "../outside";
    EXPECT_FALSE(sim::append_log_line(scratch.path(), line));
    EXPECT_FALSE(fs::exists(scratch / "outside"));
}

TEST(AppendLogLine, SaysWhenThereIsNoDirectory) {
    const scratch_directory scratch;
    EXPECT_FALSE(sim::append_log_line(scratch.path(), sample("text")));
    EXPECT_EQ(errno, ENOENT);
    EXPECT_TRUE(fs::is_empty(scratch.path()));
}

TEST(AppendLogLine, DoesNotFollowALink) {
    const scratch_directory scratch;
    fs::create_directory(scratch / "log");
    fs::create_symlink(scratch / "elsewhere", scratch / "log/client");
    EXPECT_FALSE(sim::append_log_line(scratch.path(), sample("text")));
    EXPECT_FALSE(fs::exists(scratch / "elsewhere"));
}

// Whether a line is written, and why not, when the file may grow by so many bytes only. A limit on
// its size stands in for a full disk.
command_result append_with_room_for(const scratch_directory &scratch, std::size_t room) {
    return run_in_child([&] {
        const auto size = static_cast<rlim_t>(fs::file_size(scratch / "log/client") + room);
        const rlimit limit{size, size};
        signal(SIGXFSZ, SIG_IGN);
        setrlimit(RLIMIT_FSIZE, &limit);
        return sim::append_log_line(scratch.path(), sample("text")) ? 0 : errno;
    });
}

TEST(AppendLogLine, SaysWhenTheFileCannotGrow) {
    const scratch_directory scratch;
    fs::create_directory(scratch / "log");
    const std::string line = sim::format_log_line(sample("text")) + "\n";
    ASSERT_TRUE(sim::append_log_line(scratch.path(), sample("text")));
    EXPECT_EQ(append_with_room_for(scratch, line.size()).exit_code, 0);
    EXPECT_EQ(append_with_room_for(scratch, 0).exit_code, EFBIG);
    EXPECT_EQ(contents(scratch / "log/client"), line + line);
}

TEST(AppendLogLine, SaysWhenALineIsCutShort) {
    const scratch_directory scratch;
    fs::create_directory(scratch / "log");
    ASSERT_TRUE(sim::append_log_line(scratch.path(), sample("text")));
    EXPECT_EQ(append_with_room_for(scratch, 10).exit_code, ENOSPC);
}

} // namespace
