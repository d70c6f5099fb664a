// Messages that are too long for a record: 511 characters of them are kept.
#include "client/log.h"
#include "library_test.h"

#include <string>

namespace {

using vell::log_error;
using vell::log_trace;
using vell::vell_log;

// Letters, neighbours different, so that a cut in the wrong place shows.
std::string letters(std::size_t count) {
    std::string text;
    for (std::size_t i = 0; i < count; ++i)
        text += static_cast<char>('a' + i % 26);
    return text;
}

class LogCutTest : public LibraryTest {
protected:
    // Logs one message of that many characters on each level, counted with the marker.
    static void log_with_length(std::size_t length) {
        const auto body = letters(length - 12);
        vell_log(log_error, "f", 7, "%s(%d):ERROR: %s", body.c_str());
        vell_log(log_trace, "f", 7, "%s(%d):TRACE: %s", body.c_str());
    }

    static Message error_of(std::size_t kept, std::size_t length) {
        const auto text = "f(7):ERROR: " + letters(length - 12);
        return {.level = error,
                .format = "%s(%d):ERROR: %s",
                .text = text.substr(0, kept),
                .client_text = text.substr(0, kept)};
    }

    static Message trace_of(std::size_t kept, std::size_t kept_unmarked, std::size_t length) {
        return {.level = trace,
                .format = "%s(%d):TRACE: %s",
                .text = ("f(7):TRACE: " + letters(length - 12)).substr(0, kept),
                .client_text = ("f(7):" + letters(length - 12)).substr(0, kept_unmarked)};
    }

    // The console is not cut: it formats for itself.
    static fake::Calls logged_in_full_on_the_console(const Message &message,
                                                     const std::string &full_text) {
        auto calls = logged(message);
        std::get<fake::DebugPrint>(calls.at(3)).text = full_text;
        return calls;
    }

    static fake::Calls both_levels(const Message &an_error, const Message &a_trace,
                                   std::size_t length) {
        const auto body = letters(length - 12);
        return fake::in_order(logged_in_full_on_the_console(an_error, "f(7):ERROR: " + body),
                              logged_in_full_on_the_console(a_trace, "f(7):TRACE: " + body));
    }
};

TEST_F(LogCutTest, AMessageOf600CharactersIsCutTo511AndItsLengthIs516) {
    log_with_length(600);
    const auto an_error = error_of(511, 600);
    const auto a_trace = trace_of(511, 511, 600);
    ASSERT_EQ(to_history(an_error).record.size(), 516U);
    ASSERT_EQ(to_client_log(a_trace).record.size(), 516U);
    EXPECT_CALLS(both_levels(an_error, a_trace, 600));
}

TEST_F(LogCutTest, AMessageOf510CharactersIsWhole) {
    log_with_length(510);
    EXPECT_CALLS(both_levels(error_of(510, 510), trace_of(510, 503, 510), 510));
}

TEST_F(LogCutTest, AMessageOf511CharactersIsWhole) {
    log_with_length(511);
    EXPECT_CALLS(both_levels(error_of(511, 511), trace_of(511, 504, 511), 511));
}

TEST_F(LogCutTest, AMessageOf512CharactersLosesItsLast) {
    log_with_length(512);
    EXPECT_CALLS(both_levels(error_of(511, 512), trace_of(511, 505, 512), 512));
}

TEST_F(LogCutTest, AMessageOf513CharactersLosesItsLastTwo) {
    log_with_length(513);
    EXPECT_CALLS(both_levels(error_of(511, 513), trace_of(511, 506, 513), 513));
}

TEST_F(LogCutTest, ATraceIsCutOnItsOwnWithoutItsMarker) {
    log_with_length(518);
    EXPECT_CALLS(both_levels(error_of(511, 518), trace_of(511, 511, 518), 518));
    log_with_length(519);
    EXPECT_CALLS(both_levels(error_of(511, 519), trace_of(511, 511, 519), 519));
    log_with_length(517);
    EXPECT_CALLS(both_levels(error_of(511, 517), trace_of(511, 510, 517), 517));
}

TEST_F(LogCutTest, AMessageOfThousandsOfCharactersIsCutTo511) {
    log_with_length(100000);
    EXPECT_CALLS(both_levels(error_of(511, 100000), trace_of(511, 511, 100000), 100000));
}

TEST_F(LogCutTest, AFunctionNameMayFillTheRecordAlone) {
    fake::platform().console_check.returns(0);
    for (const std::size_t length : {509U, 510U, 511U, 512U, 600U}) {
        SCOPED_TRACE(length);
        const auto name = letters(length);
        vell_log(log_trace, name.c_str(), 1234, "%s(%d):TRACE: x");
        const Message cut = {.level = trace,
                             .text = (name + "(1234):TRACE: x").substr(0, 511),
                             .client_text = (name + "(1234):x").substr(0, 511)};
        EXPECT_CALLS(history_asked(trace), to_history(cut), console_asked(trace),
                     to_client_log(cut));
    }
}

// Runs one text after `length` letters, so that the end of the record lies within it.
template <typename Log>
void expect_cut_within(std::size_t length, const std::string &rest, Log log) {
    SCOPED_TRACE(length);
    const auto start = letters(length);
    log(start.c_str());
    const auto text = ("f(7):ERROR: " + start + rest).substr(0, 511);
    const Message cut = {.level = error, .text = text, .client_text = text};
    EXPECT_CALLS(history_asked(error), to_history(cut), console_asked(error), to_client_log(cut));
}

TEST_F(LogCutTest, TheCutMayLieWithinANumber) {
    fake::platform().console_check.returns(0);
    for (std::size_t length = 480; length <= 502; ++length) {
        expect_cut_within(length, "-2147483648 ffffffff!", [](const char *start) {
            vell_log(log_error, "f", 7, "%s(%d):ERROR: %s%d %x!", start, -2147483647 - 1,
                     0xffffffffU);
        });
    }
}

TEST_F(LogCutTest, TheCutMayLieWithinTheFormatsOwnText) {
    fake::platform().console_check.returns(0);
    for (std::size_t length = 490; length <= 502; ++length) {
        expect_cut_within(length, "the end\n", [](const char *start) {
            vell_log(log_error, "f", 7, "%s(%d):ERROR: %sthe end\n", start);
        });
    }
}

TEST_F(LogCutTest, TheCutMayLieBetweenValues) {
    fake::platform().console_check.returns(0);
    for (std::size_t length = 495; length <= 500; ++length) {
        expect_cut_within(length, "12", [](const char *start) {
            vell_log(log_error, "f", 7, "%s(%d):ERROR: %s%s%d%s%d", start, "", 1, "", 2);
        });
    }
}

TEST_F(LogCutTest, TheRecordBehindTheCutIsNotTouched) {
    vell::log_record record;
    const auto start = letters(600);
    const vell::log_value values[] = {{.text = start.c_str()}, {.number = 0}};
    struct {
        vell::log_record record;
        std::uint8_t canary[16];
    } guarded;
    for (auto &byte : guarded.canary)
        byte = 0xc5;
    EXPECT_EQ(vell::fill_log_record(guarded.record, {102, "f", 7, "ERROR: %s", values}), 516U);
    for (const auto byte : guarded.canary)
        EXPECT_EQ(byte, 0xc5);
    EXPECT_EQ(vell::fill_log_record(record, {102, "f", 7, "%s", values}), 516U);
    EXPECT_EQ(record.level, 102U);
    EXPECT_EQ(std::string(record.text), ("f(7):" + start).substr(0, 511));
}

} // namespace
