// Thousands of messages, held against snprintf.
#include "client/log.h"
#include "library_test.h"

#include <cstdio>
#include <random>
#include <string>

namespace {

using vell::log_error;
using vell::log_trace;
using vell::vell_log;

constexpr unsigned rounds = 500;

class LogRandomTest : public LibraryTest {
protected:
    // Numbers of every length, edges included.
    std::uint32_t number() {
        static constexpr std::uint32_t edges[] = {0, 1, 9, 10, 0x7fffffff, 0x80000000, 0xffffffff};
        const auto choice = random_() % 12;
        return choice < std::size(edges)
                   ? edges[choice]
                   : static_cast<std::uint32_t>(random_()) >> (random_() % 32);
    }

    int signed_number() { return static_cast<int>(number()); }

    // Mostly short, sometimes about as long as a record, of every character but NUL.
    std::string text() {
        const auto longest = random_() % 4 == 0 ? 700 : 40;
        std::string result(random_() % static_cast<unsigned>(longest), ' ');
        for (auto &c : result)
            c = static_cast<char>(1 + random_() % 255);
        return result;
    }

    struct Place {
        vell::log_function function;
        vell::log_line line;
    };

    // Names of every length up to 9, and longer ones: they are copied four characters at a time.
    const Place &place() {
        static constexpr Place places[] = {
            {"", 0},           {"a", 7},           {"ab", 42},
            {"abc", 255},      {"abcd", 1000},     {"abcde", 1206},
            {"abcdef", 9999},  {"abcdefg", 10000}, {"abcdefgh", 99999},
            {"abcdefghi", 80}, {"100%d%s%", 101},  {"vell_send_l2_mc_update_flood_ltl", 1332}};
        return places[random_() % std::size(places)];
    }

    template <typename... Values>
    static std::string model(const char *format, const Place &place, Values... values) {
        char record[512];
        std::snprintf(record, sizeof record, format, place.function.name, place.line.number,
                      values...);
        return record;
    }

    template <typename... Values>
    void check(const vell::log_format<vell::error_level, Values...> &format,
               const Values &...values) {
        const Place &from = place();
        vell_log(log_error, from.function, from.line, format, values...);
        const auto expected = model(format.text, from, values...);
        expect_records(error, expected, expected);
    }

    template <typename... Values>
    void check(const vell::log_format<vell::trace_level, Values...> &format,
               const Values &...values) {
        const Place &from = place();
        vell_log(log_trace, from.function, from.line, format, values...);
        std::string unmarked = format.text;
        unmarked.erase(7, 7);
        expect_records(trace, model(format.text, from, values...),
                       model(unmarked.c_str(), from, values...));
    }

    static void expect_records(std::uint32_t level, const std::string &history,
                               const std::string &client) {
        const Message message = {.level = level, .text = history, .client_text = client};
        EXPECT_CALLS(history_asked(level), to_history(message), console_asked(level),
                     to_client_log(message));
    }

    LogRandomTest() { fake::platform().console_check.returns(0); }

private:
    std::mt19937 random_{20240229};
};

template <typename... Values>
using ErrorFormat = vell::log_format<vell::error_level, Values...>;
template <typename... Values>
using TraceFormat = vell::log_format<vell::trace_level, Values...>;

TEST_F(LogRandomTest, MessagesWithoutValuesAreAsSnprintfMakesThem) {
    for (unsigned i = 0; i < rounds; ++i) {
        check(ErrorFormat<>("%s(%d):ERROR: out of it\n"));
        check(TraceFormat<>("%s(%d):TRACE: "));
    }
}

TEST_F(LogRandomTest, NumbersAreAsSnprintfMakesThem) {
    for (unsigned i = 0; i < rounds; ++i) {
        check(ErrorFormat<int>("%s(%d):ERROR: %d"), signed_number());
        check(ErrorFormat<std::uint32_t>("%s(%d):ERROR: %x"), number());
        check(TraceFormat<int, std::uint32_t>("%s(%d):TRACE: from %d to 0x%x\n"), signed_number(),
              number());
        check(TraceFormat<std::uint8_t, std::uint16_t, std::int16_t>("%s(%d):TRACE: %d%d%x."),
              static_cast<std::uint8_t>(number()), static_cast<std::uint16_t>(number()),
              static_cast<std::int16_t>(number()));
    }
}

TEST_F(LogRandomTest, StringsAreAsSnprintfMakesThem) {
    for (unsigned i = 0; i < rounds; ++i) {
        const auto first = text();
        const auto second = text();
        check(ErrorFormat<const char *>("%s(%d):ERROR: %s"), first.c_str());
        check(TraceFormat<const char *, const char *>("%s(%d):TRACE: %s and %s\n"), first.c_str(),
              second.c_str());
    }
}

TEST_F(LogRandomTest, MixedMessagesAreAsSnprintfMakesThem) {
    for (unsigned i = 0; i < rounds; ++i) {
        const auto first = text();
        const auto second = text();
        check(ErrorFormat<const char *, int, std::uint32_t, const char *>(
                  "%s(%d):ERROR: %s%d, 0x%x (%s)\n"),
              first.c_str(), signed_number(), number(), second.c_str());
        check(TraceFormat<int, const char *, std::uint32_t, int, const char *, int>(
                  "%s(%d):TRACE: vlan %d: %s 0x%x/%d %s %d"),
              signed_number(), first.c_str(), number(), signed_number(), second.c_str(),
              signed_number());
    }
}

} // namespace
