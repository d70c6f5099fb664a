#include "sim/wire/log_file.h"

#include <gtest/gtest.h>

namespace {

using sim::log_line;

log_line sample(std::string text) {
    return {"2026-01-31T23:59:59.123456Z", "client", 4711, 384, 0x730000, 104, std::move(text)};
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
    for (int byte = 0; byte < 256; ++byte) {
        every_byte += static_cast<char>(byte);
    }
    for (const std::string &text :
         {std::string(), std::string(" spaces  around "), std::string("\\n is not a line feed"),
          every_byte, std::string(5000, '\xff')}) {
        const auto parsed = sim::parse_log_line(sim::format_log_line(sample(text)));
        ASSERT_TRUE(parsed);
        expect_same(*parsed, sample(text));
    }
}

TEST(ParseLogLine, ReadsTheLargestNumbersAndEverySink) {
    for (const char *sink : {"history", "client", "service"}) {
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

TEST(ParseLogLine, RefusesWhatIsNotALine) {
    const std::string time = "2026-01-31T23:59:59.123456Z";
    for (const std::string &text :
         {std::string(), time, time + " client 1 2 0x3 102",
          std::string("yesterday client 1 2 0x3 102 text"),
          std::string("2026-01-31 23:59:59.123456Z client 1 2 0x3 102 text"),
          time + " console 1 2 0x3 102 text", time + "  client 1 2 0x3 102 text",
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

TEST(LogTimeAgo, IsSoManySecondsBefore) {
    const std::string before = sim::log_time_ago(86400);
    EXPECT_LT(before, sim::log_time_now());
    EXPECT_EQ(before.substr(11, 8), sim::log_time_ago(2 * 86400).substr(11, 8));
    EXPECT_LT(sim::log_time_ago(0xffffffff), "1970"); // 136 years
}

TEST(LogTime, BeginsWithItsLargerUnits) {
    const std::string time = "2026-01-31T23:59:59.123456Z";
    for (std::size_t size = 0; size <= time.size(); ++size) {
        EXPECT_TRUE(sim::is_start_of_log_time(time.substr(0, size))) << size;
    }
    for (const char *text : {"2026-1-31", "yesterday", "2026-01-31 23:59", "23:59",
                             "2026-01-31T23:59:59.123456Z ", " 2026"}) {
        EXPECT_FALSE(sim::is_start_of_log_time(text)) << text;
    }
}

} // namespace
