// Where a message goes: the three sinks, their gates, and what they are given.
#include "client/log.h"
#include "library_test.h"

#include <climits>
#include <string>

namespace {

using fake::platform;
using vell::log_error;
using vell::log_trace;
using vell::vell_log;

using LogTest = LibraryTest;

const Message error_message = {.level = error,
                               .format = "%s(%d):ERROR: lost %d of %s\n",
                               .text = "fetch(1234):ERROR: lost -3 of it\n",
                               .client_text = "fetch(1234):ERROR: lost -3 of it\n"};
const Message trace_message = {.level = trace,
                               .format = "%s(%d):TRACE: lost %d of %s\n",
                               .text = "fetch(1234):TRACE: lost -3 of it\n",
                               .client_text = "fetch(1234):lost -3 of it\n"};

void log_the_error() {
    vell_log(log_error, "fetch", 1234, "%s(%d):ERROR: lost %d of %s\n", -3, "it");
}

void log_the_trace() {
    vell_log(log_trace, "fetch", 1234, "%s(%d):TRACE: lost %d of %s\n", -3, "it");
}

TEST_F(LogTest, TellsAnErrorToAllThreeSinksWithItsMarker) {
    log_the_error();
    EXPECT_CALLS(logged(error_message));
}

TEST_F(LogTest, TellsATraceToTheClientLogWithoutItsMarker) {
    log_the_trace();
    EXPECT_CALLS(logged(trace_message));
}

TEST_F(LogTest, GivesEachSinkTheExactRecord) {
    vell_log(log_trace, "f", 7, "%s(%d):TRACE: x");
    const bytes history = {104, 0,   0,   0,   'f', '(', '7', ')', ':',
                           'T', 'R', 'A', 'C', 'E', ':', ' ', 'x', 0};
    const bytes client = {104, 0, 0, 0, 'f', '(', '7', ')', ':', 'x', 0};
    EXPECT_CALLS(fake::HistoryCheck{0x730000, 104}, fake::HistoryEvent{0x730000, history},
                 fake::ConsoleCheck{104, 0, 0, 1},
                 fake::DebugPrint{1, &tessel_dbg_modname, 0, "%s(%d):TRACE: x", "f(7):TRACE: x"},
                 fake::ClientLog{384, 0x730000, 1, 0, client});
}

TEST_F(LogTest, ReachesTheClientLogEvenWhenBothGatesAreClosed) {
    platform().history_check.returns(1);
    platform().console_check.returns(0);
    log_the_error();
    log_the_trace();
    EXPECT_CALLS(history_asked(error), console_asked(error), to_client_log(error_message),
                 history_asked(trace), console_asked(trace), to_client_log(trace_message));
}

TEST_F(LogTest, SkipsTheConsoleWhenOnlyItsGateIsClosed) {
    platform().console_check.returns(0);
    log_the_trace();
    EXPECT_CALLS(history_asked(trace), to_history(trace_message), console_asked(trace),
                 to_client_log(trace_message));
}

TEST_F(LogTest, SkipsTheHistoryWhenOnlyItsGateIsClosed) {
    platform().history_check.returns(1);
    log_the_trace();
    EXPECT_CALLS(history_asked(trace), console_asked(trace), to_console(trace_message),
                 to_client_log(trace_message));
}

TEST_F(LogTest, TakesAnyNonZeroGateForTheHistoryClosedAndForTheConsoleOpen) {
    for (const auto result : {2U, 0x100U, 0x80000000U, 0xffffffffU}) {
        SCOPED_TRACE(result);
        platform().history_check.returns(result);
        platform().console_check.returns(result);
        log_the_error();
        EXPECT_CALLS(history_asked(error), console_asked(error), to_console(error_message),
                     to_client_log(error_message));
    }
}

TEST_F(LogTest, IgnoresWhatTheSinksReturn) {
    platform().history_event.returns(1);
    platform().client_log.returns(0xffffffff);
    log_the_error();
    EXPECT_CALLS(logged(error_message));
}

TEST_F(LogTest, UsesTheUuidOfTheMoment) {
    log_the_error();
    auto under_5 = error_message;
    under_5.uuid = 0x80000005;
    set_client_state({.uuid = 0x80000005});
    log_the_error();
    set_client_state({});
    log_the_error();
    EXPECT_CALLS(logged(error_message), logged(under_5), logged(error_message));
}

TEST_F(LogTest, LeavesTheClientStateAsItIs) {
    set_client_state({.id = 9, .queue = 7, .uuid = 5});
    log_the_error();
    log_the_trace();
    EXPECT_EQ(client_state(), (ClientState{.id = 9, .queue = 7, .uuid = 5}));
    fake::take_calls();
}

TEST_F(LogTest, CountsAnEmptyBodyAsThePrefixPlus5) {
    vell_log(log_trace, "f", 7, "%s(%d):TRACE: ");
    vell_log(log_error, "f", 7, "%s(%d):ERROR: ");

    const Message empty_trace = {
        .level = trace, .format = "%s(%d):TRACE: ", .text = "f(7):TRACE: ", .client_text = "f(7):"};
    const Message empty_error = {.level = error,
                                 .format = "%s(%d):ERROR: ",
                                 .text = "f(7):ERROR: ",
                                 .client_text = "f(7):ERROR: "};
    ASSERT_EQ(to_client_log(empty_trace).record.size(), 5U + 5U);
    ASSERT_EQ(to_history(empty_trace).record.size(), 12U + 5U);
    EXPECT_CALLS(logged(empty_trace), logged(empty_error));
}

// A name as long as a message may have, its neighbouring letters different.
struct LongestName {
    char text[256];
};
constexpr LongestName longest_name = [] {
    LongestName name = {};
    for (int i = 0; i < 255; ++i)
        name.text[i] = static_cast<char>('a' + i % 26);
    return name;
}();

TEST_F(LogTest, WritesFunctionAndLineAsTheyAreGiven) {
    struct Row {
        vell::log_function function;
        vell::log_line line;
        std::string prefix;
    };
    static constexpr char format[] = "%s(%d):TRACE: x";
    const Row rows[] = {{"", 0, "(0):"},
                        {"f", 9, "f(9):"},
                        {"ab", 10, "ab(10):"},
                        {"abc", 99, "abc(99):"},
                        {"abcd", 100, "abcd(100):"},
                        {"abcde", 1206, "abcde(1206):"},
                        {"a_function_name", 99999, "a_function_name(99999):"},
                        {"100%d%s", 1000, "100%d%s(1000):"},
                        {longest_name.text, 12345, std::string(longest_name.text) + "(12345):"}};
    for (const auto &row : rows) {
        vell_log(log_trace, row.function, row.line, format);
        EXPECT_CALLS(logged({.level = trace,
                             .format = format,
                             .text = row.prefix + "TRACE: x",
                             .client_text = row.prefix + "x"}));
    }
}

TEST_F(LogTest, MayBeCalledFromWithinTheHistoryAndBothMessagesComeOutWhole) {
    platform().history_event.runs(log_the_error);
    log_the_trace();
    EXPECT_CALLS(history_asked(trace), to_history(trace_message), logged(error_message),
                 console_asked(trace), to_console(trace_message), to_client_log(trace_message));
}

TEST_F(LogTest, MayBeCalledFromWithinTheConsoleAndBothMessagesComeOutWhole) {
    platform().debug_print.runs(log_the_error);
    log_the_trace();
    EXPECT_CALLS(history_asked(trace), to_history(trace_message), console_asked(trace),
                 to_console(trace_message), logged(error_message), to_client_log(trace_message));
}

TEST_F(LogTest, MayBeCalledFromWithinTheClientLogAndBothMessagesComeOutWhole) {
    platform().client_log.runs(log_the_error);
    log_the_trace();
    EXPECT_CALLS(logged(trace_message), logged(error_message));
}

// Two messages of one kind, the one made while the other is on its way.
class LogWithinItselfTest : public LibraryTest {
protected:
    static void log_number(int number) {
        vell_log(log_trace, "fetch", 1234, "%s(%d):TRACE: number %d\n", number);
    }

    static Message number_message(const std::string &number) {
        return {.level = trace,
                .format = "%s(%d):TRACE: number %d\n",
                .text = "fetch(1234):TRACE: number " + number + "\n",
                .client_text = "fetch(1234):number " + number + "\n"};
    }

    const Message outer_ = number_message("1");
    const Message inner_ = number_message("234567");
};

TEST_F(LogWithinItselfTest, BothMessagesComeOutWholeFromWithinTheHistory) {
    platform().history_event.runs([] { log_number(234567); });
    log_number(1);
    EXPECT_CALLS(history_asked(trace), to_history(outer_), logged(inner_), console_asked(trace),
                 to_console(outer_), to_client_log(outer_));
}

TEST_F(LogWithinItselfTest, BothMessagesComeOutWholeFromWithinTheClientLog) {
    platform().client_log.runs([] { log_number(234567); });
    log_number(1);
    EXPECT_CALLS(logged(outer_), logged(inner_));
}

TEST_F(LogTest, IsRightInTheClientLogThoughTheHistoryScribblesOverItsRecord) {
    platform().scribbles_over_log_records = true;
    log_the_error();
    log_the_trace();
    EXPECT_CALLS(logged(error_message), logged(trace_message));
}

TEST(LogRecordTest, HasTheLayoutThatItsReadersKnow) {
    EXPECT_EQ(sizeof(vell::log_record), 516U);
    EXPECT_EQ(offsetof(vell::log_record, text), 4U);
    EXPECT_EQ(vell::log_module, 0x730000U);
    EXPECT_EQ(vell::error_level::number, 102U);
    EXPECT_EQ(vell::trace_level::number, 104U);
}

} // namespace
