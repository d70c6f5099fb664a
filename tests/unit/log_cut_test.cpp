// Messages that are too long for a record: 511 characters of them are kept.
#include "client/log.h"
#include "library_test.h"

#include <string>
#include <type_traits>

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

// A message whose end is `length` characters from its start, the marker counted, on each level. Its
// last characters are `rest`, which `log` gets to write after a string.
template <typename Log>
void expect_both_cuts(std::size_t length, const std::string &rest, Log log) {
    SCOPED_TRACE(length);
    const auto start = letters(length - 12 - rest.size());
    const auto cut = [&](const char *prefix) { return (prefix + start + rest).substr(0, 511); };
    log(log_error, start.c_str());
    const Message an_error = {
        .level = error, .text = cut("f(7):ERROR: "), .client_text = cut("f(7):ERROR: ")};
    EXPECT_CALLS(history_asked(error), to_history(an_error), console_asked(error),
                 to_client_log(an_error));
    log(log_trace, start.c_str());
    const Message a_trace = {
        .level = trace, .text = cut("f(7):TRACE: "), .client_text = cut("f(7):")};
    EXPECT_CALLS(history_asked(trace), to_history(a_trace), console_asked(trace),
                 to_client_log(a_trace));
}

// One message on either level, with the marker that goes with it.
#define LOG_ON_EITHER_LEVEL(format, ...)                                                           \
    [](auto level, const char *start) {                                                            \
        if constexpr (std::is_same_v<decltype(level), vell::error_level>)                          \
            vell_log(level, "f", 7, "%s(%d):ERROR: " format, start __VA_OPT__(, ) __VA_ARGS__);    \
        else                                                                                       \
            vell_log(level, "f", 7, "%s(%d):TRACE: " format, start __VA_OPT__(, ) __VA_ARGS__);    \
    }

TEST_F(LogCutTest, EveryLengthAroundBothCutsIsExactInBothSinks) {
    fake::platform().console_check.returns(0);
    for (std::size_t length = 490; length <= 545; ++length) {
        expect_both_cuts(length, "", LOG_ON_EITHER_LEVEL("%s"));
        expect_both_cuts(length, "\n", LOG_ON_EITHER_LEVEL("%s\n"));
        expect_both_cuts(length, " is the end\n", LOG_ON_EITHER_LEVEL("%s is the end\n"));
        expect_both_cuts(length, " 1234567", LOG_ON_EITHER_LEVEL("%s %d", 1234567));
        expect_both_cuts(length, "-2147483648.", LOG_ON_EITHER_LEVEL("%s%d.", -2147483647 - 1));
        expect_both_cuts(length, "0x9abcdef", LOG_ON_EITHER_LEVEL("%s0x%x", 0x9abcdefU));
        expect_both_cuts(length, "two strings", LOG_ON_EITHER_LEVEL("%s%s", "two strings"));
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

TEST_F(LogCutTest, NothingIsWrittenAfterTheRecord) {
    fake::platform().console_check.returns(0);
    const auto start = letters(600);
    const vell::log_value values[] = {{.text = start.c_str()}, {.number = 0}};
    const std::uint8_t stretches[] = {7, 0};
    struct {
        vell::log_record record;
        std::uint8_t canary[16];
    } guarded;
    for (auto &byte : guarded.canary)
        byte = 0xc5;
    EXPECT_EQ(
        vell::fill_log_record(guarded.record, {102, "", "f", 7, "ERROR: %s", stretches, values, 1}),
        516U);
    for (const auto byte : guarded.canary)
        EXPECT_EQ(byte, 0xc5);
    EXPECT_EQ(guarded.record.level, 102U);
    const auto text = ("f(7):ERROR: " + start).substr(0, 511);
    EXPECT_EQ(std::string(guarded.record.text), text);
    const Message cut = {.level = error, .text = text, .client_text = text};
    EXPECT_CALLS(history_asked(error), to_history(cut));
}

} // namespace
