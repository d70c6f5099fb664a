// `vellfeed stats` against a switch that counts, and against one that misbehaves.
#include "tests/feed/feed_program.h"

#include <gmock/gmock.h>

namespace {

using testing::HasSubstr;

class AskStats : public feed_program {
protected:
    const std::vector<std::string> ipv4 = {"stats", "--source", "10.0.0.9", "--group", "239.1.1.2"};
    const std::vector<std::string> ipv6 = {"stats", "--source", "2001:db8::9", "--group",
                                           "ff0e::102"};

    static std::vector<std::string> with(std::vector<std::string> command,
                                         const std::vector<std::string> &more) {
        command.insert(command.end(), more.begin(), more.end());
        return command;
    }

    static void count(const std::string &source, const std::string &group,
                      const std::vector<std::string> &more = {}) {
        const command_result result =
            vellsim(with({"count", "--source", source, "--group", group}, more));
        EXPECT_EQ(result.exit_code, 0) << result.err;
    }

    // Counters of more than 32 bits.
    void start_counting() {
        start_switch();
        for (const auto &[source, group] :
             {std::pair("10.0.0.9", "239.1.1.2"), std::pair("2001:db8::9", "ff0e::102")}) {
            count(
                source, group,
                {"--packets", "6280196624", "--bytes", "18446744073709551615", "--wrong-if", "1"});
        }
    }

    const std::string ipv4_counters = "(10.0.0.9, 239.1.1.2) in table 253: 6280196624 packets, "
                                      "18446744073709551615 bytes, 1 RPF failure";
    const std::string ipv6_counters = "(2001:db8::9, ff0e::102) in table 253: 6280196624 packets, "
                                      "18446744073709551615 bytes, 1 RPF failure";
};

TEST_F(AskStats, PrintsTheCountersOfARouteOfEitherFamily) {
    start_counting();
    EXPECT_EQ(printed(ipv4), ipv4_counters + "\n");
    EXPECT_EQ(printed(ipv6), ipv6_counters + "\n");
}

TEST_F(AskStats, PrintsJson) {
    start_counting();
    EXPECT_EQ(printed(with(ipv4, {"--json"})),
              R"({"table":253,"family":"ipv4","source":"10.0.0.9","source_len":32,)"
              R"("group":"239.1.1.2","group_len":32,"packets":6280196624,)"
              R"("bytes":18446744073709551615,"wrong_if":1,"cleared":false})"
              "\n");
    EXPECT_EQ(printed(with(ipv6, {"--json", "--clear"})),
              R"({"table":253,"family":"ipv6","source":"2001:db8::9","source_len":128,)"
              R"("group":"ff0e::102","group_len":128,"packets":6280196624,)"
              R"("bytes":18446744073709551615,"wrong_if":1,"cleared":true})"
              "\n");
}

TEST_F(AskStats, ClearsTheCountersOnceTheyAreRead) {
    start_counting();
    EXPECT_EQ(printed(with(ipv4, {"--clear"})), ipv4_counters + "; cleared\n");
    EXPECT_EQ(printed(ipv4),
              "(10.0.0.9, 239.1.1.2) in table 253: 0 packets, 0 bytes, 0 RPF failures\n");
    EXPECT_EQ(printed(with(ipv6, {"--clear"})), ipv6_counters + "; cleared\n");
    EXPECT_EQ(printed(ipv6),
              "(2001:db8::9, ff0e::102) in table 253: 0 packets, 0 bytes, 0 RPF failures\n");
}

// An IPv4 route is read and cleared by one request, an IPv6 route by two.
TEST_F(AskStats, QuietlyClearsTheCounters) {
    start_counting();
    EXPECT_EQ(printed(with(ipv4, {"--clear", "--quiet"})), "");
    EXPECT_THAT(printed(ipv4), HasSubstr(": 0 packets,"));
}

TEST_F(AskStats, SendsTheClearRequestAloneWhenAsked) {
    start_counting();
    EXPECT_EQ(printed(with(ipv4, {"--clear-only"})), ipv4_counters + "; cleared\n");
    EXPECT_EQ(printed(with(ipv6, {"--clear-only"})), ipv6_counters + "; cleared\n");
    EXPECT_THAT(shown("stats"), HasSubstr(R"("group":"239.1.1.2","group_len":32,"packets":0,)"
                                          R"("bytes":0,"wrong_if":0,"requests":1,"clears":1})"));
    EXPECT_THAT(shown("stats"), HasSubstr(R"("group":"ff0e::102","group_len":128,"packets":0,)"
                                          R"("bytes":0,"wrong_if":0,"requests":1,"clears":1})"));
    printed(with(ipv4, {"--clear"}));
    printed(with(ipv6, {"--clear"}));
    EXPECT_THAT(shown("stats"), HasSubstr(R"("group":"239.1.1.2","group_len":32,"packets":0,)"
                                          R"("bytes":0,"wrong_if":0,"requests":2,"clears":2})"));
    EXPECT_THAT(shown("stats"), HasSubstr(R"("group":"ff0e::102","group_len":128,"packets":0,)"
                                          R"("bytes":0,"wrong_if":0,"requests":3,"clears":2})"));
}

TEST_F(AskStats, NamesARouteByTableAndPrefixLengths) {
    start_switch();
    count("0.0.0.0", "239.1.1.2",
          {"--source-len", "0", "--group-len", "24", "--table", "100", "--packets", "1"});
    EXPECT_EQ(printed({"stats", "--source", "0.0.0.0", "--source-len", "0", "--group", "239.1.1.2",
                       "--group-len", "024", "--table", "0100"}),
              "(*, 239.1.1.2/24) in table 100: 1 packet, 0 bytes, 0 RPF failures\n");
}

TEST_F(AskStats, CountersThatAreClearedAreSaidOnStandardErrorWhenStandardOutputFails) {
    start_counting();
    const command_result result =
        run_shell("$vellfeed stats --source 10.0.0.9 --group 239.1.1.2 --clear >/dev/full");
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_EQ(result.err, "vellfeed: it was done, but standard output cannot be written (No space "
                          "left on device): " +
                              ipv4_counters + "; cleared\n");
}

TEST_F(AskStats, ARouteThatIsNotThereIsAnError) {
    start_switch();
    EXPECT_EQ(error(ipv4), "the switch has no route (10.0.0.9, 239.1.1.2) in table 253");
    EXPECT_EQ(error(with(ipv6, {"--clear"})),
              "the switch has no route (2001:db8::9, ff0e::102) in table 253");
}

TEST_F(AskStats, ALateRepeatedOrForeignAnswerIsFound) {
    for (const char *mode : {"late:100", "twice", "foreign"}) {
        start_switch({"--answer", mode});
        count("2001:db8::9", "ff0e::102", {"--packets", "1"});
        EXPECT_EQ(printed(with(ipv6, {"--clear"})),
                  "(2001:db8::9, ff0e::102) in table 253: 1 packet, 0 bytes, 0 RPF failures; "
                  "cleared\n")
            << mode;
        stop_switch();
    }
}

TEST_F(AskStats, AnAnswerThatDoesNotComeOrCannotBeReadIsAnError) {
    for (const char *mode : {"never", "garbled", "cut"}) {
        start_switch({"--answer", mode});
        count("10.0.0.9", "239.1.1.2", {"--packets", "1"});
        EXPECT_THAT(error(with(ipv4, {"--timeout", "100"})), HasSubstr("the statistics request"))
            << mode;
        EXPECT_THAT(error(with(ipv4, {"--timeout", "100", "--clear-only"})),
                    HasSubstr("the clear request"))
            << mode;
        stop_switch();
    }
}

TEST_F(AskStats, ARefusedRegistrationIsAnError) {
    start_switch({"--reject-registration"});
    EXPECT_EQ(error(ipv4), "the switch refused the registration; `vellsim show log` says why");
}

TEST_F(AskStats, WrongUsageIsExplained) {
    EXPECT_EQ(usage_error({"stats"}), "--source is required");
    EXPECT_EQ(usage_error({"stats", "--source", "10.0.0.9"}), "--group is required");
    EXPECT_EQ(usage_error({"stats", "--source", "10.0.0", "--group", "239.1.1.2"}),
              "--source: \"10.0.0\" is not an IPv4 or an IPv6 address");
    EXPECT_EQ(usage_error({"stats", "--source", "10.0.0.9", "--group", "01:00:5e:01:01:02"}),
              "--group: \"01:00:5e:01:01:02\" is not an IPv4 or an IPv6 address");
    EXPECT_EQ(usage_error({"stats", "--source", "10.0.0.9", "--group", "ff0e::102"}),
              "--group: ff0e::102 is not of the family of source 10.0.0.9");
    EXPECT_EQ(usage_error(with(ipv4, {"--source-len", "33"})),
              "--source-len: 33 is above 32, the length of an IPv4 address");
    EXPECT_EQ(usage_error(with(ipv6, {"--group-len", "129"})),
              "--group-len: 129 is above 128, the length of an IPv6 address");
    EXPECT_EQ(usage_error(with(ipv6, {"--group-len", "256"})),
              "--group-len: 256 is not a number from 0 to 255");
    EXPECT_EQ(usage_error(with(ipv4, {"--table", "4294967296"})),
              "--table: 4294967296 is not a number from 0 to 4294967295");
    EXPECT_EQ(usage_error(with(ipv4, {"--clear", "--clear-only"})),
              "--clear excludes --clear-only");
}

} // namespace
