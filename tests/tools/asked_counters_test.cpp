#include "asked_counters.h"
#include "tests/tools/error_of.h"

#include <gtest/gtest.h>

namespace feed {
namespace {

using texts = std::vector<std::string>;

asked_counter asked(std::uint32_t source, std::uint32_t requests = 1) {
    const std::uint8_t source_length = source == 0 ? 0 : 32;
    return {6, {253, ipv4_address(source), source_length, ipv4_address(0xef010102), 32}, requests};
}

TEST(AskedCounters, AreReadFromWhatVellsimShows) {
    const auto counters = parse_asked_counters({"held.json", R"({"stats":[
        {"table":253,"family":"ipv4","source":"10.0.0.9","source_len":32,"group":"239.1.1.2","group_len":32,"requests":2},
        {"table":7,"family":"ipv6","source":"::","source_len":0,"group":"ff0e::1","group_len":128,"requests":1},
        {"table":253,"family":"ipv4","source":"10.0.0.8","source_len":32,"group":"239.1.1.2","group_len":32,
         "requests":0}]})"});
    ASSERT_EQ(counters.size(), 2u) << "nobody asked about the last one";
    EXPECT_EQ(key_text(counters[0].key), "(10.0.0.9, 239.1.1.2) in table 253");
    EXPECT_EQ(counters[0].requests, 2u);
    EXPECT_EQ(key_text(counters[1].key), "(*, ff0e::1) in table 7");
}

TEST(AskedCounters, ThatAreSomethingElseAreRefused) {
    const auto error = [](const char *text) {
        return error_of([&] { parse_asked_counters({"held.json", text}); });
    };
    EXPECT_EQ(error(R"({"ltl":[]})"),
              "held.json: expected a member \"stats\" (the held counters), found only \"ltl\"");
    EXPECT_EQ(
        error(R"({"stats":[{"table":1,"source":"x"}]})"),
        "held.json: /stats/0/source: expected an IPv4 or IPv6 address, found the string \"x\"");
    EXPECT_EQ(error(R"({"stats":[],"matched":1})"),
              "held.json: these are 0 of 1 counters: print them without --limit");
}

TEST(AskedCounters, AgreeWhenEveryRouteWasAskedAboutAsOften) {
    EXPECT_TRUE(compare_counters({asked(9), asked(0)}, {asked(0), asked(9)}).equal());
    EXPECT_EQ(compare_counters({asked(9)}, {asked(9, 2)}).lines,
              (texts{"(0.0.0.9, 239.1.1.2) in table 253: requests: fed 1, held 2"}));
    EXPECT_EQ(compare_counters({asked(9)}, {asked(8)}).lines,
              (texts{"(0.0.0.9, 239.1.1.2) in table 253: missing: fed from entry 7, not held",
                     "(0.0.0.8, 239.1.1.2) in table 253: unexpected: held, not fed"}));
}

} // namespace
} // namespace feed
