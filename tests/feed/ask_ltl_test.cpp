// `vellfeed ltl` against an LTL manager that does as asked, and against one that does not.
#include "tests/feed/feed_program.h"

#include <gmock/gmock.h>

namespace {

using testing::AnyOf;
using testing::HasSubstr;
using testing::Not;

class AskLtl : public feed_program {
protected:
    const std::vector<std::string> alloc = {"ltl", "alloc",  "--vlan", "10",    "--tag",
                                            "7",   "Eth3/7", "Po1",    "Vlan10"};
    const std::vector<std::string> modify = {"ltl", "modify", "0x4000", "--tag", "7", "Eth3/7"};
    const std::vector<std::string> release = {"ltl", "release", "16384", "--tag", "7"};

    static std::vector<std::string> with(std::vector<std::string> command,
                                         const std::vector<std::string> &more) {
        command.insert(command.end(), more.begin(), more.end());
        return command;
    }
};

TEST_F(AskLtl, AnIndexIsAllocatedModifiedAndReleased) {
    start_switch();
    EXPECT_EQ(printed(alloc), "allocated LTL 0x4000 with 3 interfaces: Eth3/7 Po1 Vlan10\n");
    EXPECT_THAT(shown("ltl"), HasSubstr(R"("index":16384,"vlan":10,"tag":7,)"));
    EXPECT_THAT(shown("ltl"), HasSubstr(R"([{"if_index":335544330,"name":"Vlan10"},)"
                                        R"({"if_index":402653185,"name":"Po1"},)"
                                        R"({"if_index":1745028864,"name":"Eth3/7"}])"));
    EXPECT_EQ(printed(modify), "modified LTL 0x4000 with 1 interface: Eth3/7\n");
    EXPECT_THAT(shown("ltl"), HasSubstr(R"([{"if_index":1745028864,"name":"Eth3/7"}])"));
    EXPECT_EQ(printed(release), "released LTL 0x4000\n");
    EXPECT_THAT(shown("ltl"), HasSubstr(R"({"ltl":[],)"));
}

TEST_F(AskLtl, MayBeOfNoInterface) {
    start_switch();
    EXPECT_EQ(printed({"ltl", "alloc", "--vlan", "10", "--tag", "7", "--no-ports"}),
              "allocated LTL 0x4000 with 0 interfaces: none\n");
    EXPECT_EQ(printed({"ltl", "modify", "0x4000", "--tag", "7", "--no-ports"}),
              "modified LTL 0x4000 with 0 interfaces: none\n");
}

TEST_F(AskLtl, TakesEveryNotationOfAnInterface) {
    start_switch();
    EXPECT_EQ(printed({"ltl", "alloc", "--vlan", "4094", "--tag", "0xffffffff", "Eth3/7/1", "if12",
                       "Po65535"}),
              "allocated LTL 0x4000 with 3 interfaces: Eth3/7/1 if12 Po65535\n");
}

TEST_F(AskLtl, PrintsJson) {
    start_switch();
    EXPECT_EQ(printed(with(alloc, {"--json"})),
              R"({"done":"allocated","index":16384,"interfaces":["Eth3/7","Po1","Vlan10"]})"
              "\n");
    EXPECT_EQ(printed(with(modify, {"--json"})),
              R"({"done":"modified","index":16384,"interfaces":["Eth3/7"]})"
              "\n");
    EXPECT_EQ(printed(with(release, {"--json"})),
              R"({"done":"released","index":16384,"interfaces":[]})"
              "\n");
}

TEST_F(AskLtl, QuietlyAnIndexIsAllThatIsPrinted) {
    start_switch();
    EXPECT_EQ(printed(with(alloc, {"--quiet"})), "0x4000\n");
    EXPECT_EQ(printed(with(modify, {"--quiet"})), "");
    EXPECT_EQ(printed(with(release, {"--quiet"})), "");
}

TEST_F(AskLtl, ALeadingZeroIsOnlyADigit) {
    start_switch();
    EXPECT_EQ(printed({"ltl", "alloc", "--vlan", "010", "--tag", "010", "Po1"}),
              "allocated LTL 0x4000 with 1 interface: Po1\n");
    EXPECT_THAT(shown("ltl"), HasSubstr(R"("vlan":10,"tag":10,)"));
}

// It cannot be released without its index, and is not lost as long as there is somewhere to print.
TEST_F(AskLtl, AnIndexIsSaidOnStandardErrorWhenStandardOutputFails) {
    start_switch();
    const std::string begin = "vellfeed: it was done, but standard output cannot be written (";
    const std::string end = "): allocated LTL 0x4000 with 1 interface: Po1\n";
    const struct {
        const char *redirection;
        const char *why;
    } rows[] = {{" >/dev/full", "No space left on device"},
                {" >&-", "Bad file descriptor"},
                {" >/dev/null 1</dev/null", "Bad file descriptor"}};
    for (const auto &row : rows) {
        const command_result result =
            run_shell("$vellfeed ltl alloc --vlan 10 --tag 7 Po1" + std::string(row.redirection));
        EXPECT_EQ(result.exit_code, 1);
        EXPECT_EQ(result.err, begin + row.why + end);
        EXPECT_EQ(printed(release), "released LTL 0x4000\n");
    }
}

TEST_F(AskLtl, AnIndexIsSaidOnStandardErrorWhenItsReaderIsGone) {
    start_switch();
    const command_result result =
        run_shell("{ sleep 0.2; $vellfeed ltl alloc --vlan 10 --tag 7 Po1; "
                  "echo \"exit code $?\" >&2; } | true; wait");
    EXPECT_EQ(result.err, "vellfeed: it was done, but standard output cannot be written (Broken "
                          "pipe): allocated LTL 0x4000 with 1 interface: Po1\nexit code 1\n");
}

TEST_F(AskLtl, ARefusalSaysTheReason) {
    start_switch({"--ltl-pool", "1", "--ltl-refuse-vlan", "11"});
    EXPECT_EQ(error(modify),
              "the LTL manager refused the LTL modification of LTL 0x4000 with tag 7: there is no "
              "such LTL (status 2)");
    EXPECT_NE(printed(alloc), "");
    EXPECT_EQ(error(alloc), "the LTL manager refused the LTL allocation for VLAN 10 with tag 7: "
                            "the pool is exhausted (status 3)");
    EXPECT_EQ(error({"ltl", "release", "0x4000", "--tag", "8"}),
              "the LTL manager refused the LTL release of LTL 0x4000 with tag 8: the tag does not "
              "match (status 4)");
    EXPECT_THAT(error({"ltl", "alloc", "--vlan", "11", "--tag", "7", "Po1"}),
                HasSubstr("for VLAN 11 with tag 7: "));
    EXPECT_THAT(error({"ltl", "modify", "0x4000", "--tag", "7", "Po1", "Po1"}),
                HasSubstr("an interface is in the list twice (status 8)"));
}

TEST_F(AskLtl, ALateRepeatedOrForeignAnswerIsFound) {
    for (const char *mode : {"late:100", "twice", "foreign"}) {
        start_switch({"--ltl-answer", mode});
        EXPECT_EQ(printed(alloc), "allocated LTL 0x4000 with 3 interfaces: Eth3/7 Po1 Vlan10\n")
            << mode;
        stop_switch();
    }
}

TEST_F(AskLtl, AnAnswerThatDoesNotComeOrCannotBeReadIsAnError) {
    for (const char *mode : {"never", "garbled", "cut", "late:2000"}) {
        start_switch({"--ltl-answer", mode});
        for (const auto &command : {alloc, modify, release}) {
            const command_result result = vellfeed(with(command, {"--timeout", "100"}));
            EXPECT_EQ(result.exit_code, 1) << mode;
            EXPECT_EQ(result.out, "") << mode;
            EXPECT_THAT(result.err, HasSubstr("LTL ")) << mode;
        }
        stop_switch();
    }
}

TEST_F(AskLtl, AMissingAnswerSaysThatTheRequestMayHaveBeenCarriedOut) {
    start_switch({"--ltl-answer", "never"});
    EXPECT_EQ(error(with(alloc, {"--timeout", "0100"})),
              "no answer to the LTL allocation within 100 ms (to wait longer: --timeout); it may "
              "have been carried out all the same");
    EXPECT_THAT(shown("ltl"), HasSubstr(R"("index":16384)"));
}

TEST_F(AskLtl, NeedsASwitch) {
    EXPECT_EQ(error(alloc), "no switch answers in " + run_dir +
                                "; start one with `vellsim run`, or name its run directory with "
                                "--run-dir");
    start_switch();
    EXPECT_EQ(error(with(alloc, {"--run-dir", run_dir + "/other"})),
              "no switch answers in " + run_dir +
                  "/other; start one with `vellsim run`, or name its run directory with --run-dir");
    EXPECT_THAT(shown("clients"), HasSubstr(R"("clients":[])"));
}

TEST_F(AskLtl, ASwitchThatGoesAwayIsAnError) {
    start_switch({"--die-after", "1"});
    EXPECT_THAT(error(alloc), AnyOf(HasSubstr("the switch closed the connection"),
                                    HasSubstr("could not be sent: the switch went away"),
                                    HasSubstr("no switch answers in")));
}

TEST_F(AskLtl, WhatWasAnsweredIsPrintedThoughTheSwitchGoesAway) {
    start_switch({"--die-after", "2"});
    EXPECT_EQ(vellfeed(alloc).out, "allocated LTL 0x4000 with 3 interfaces: Eth3/7 Po1 Vlan10\n");
}

TEST_F(AskLtl, WrongUsageIsExplained) {
    EXPECT_EQ(usage_error({"ltl"}), "`vellfeed ltl` needs a command: alloc, modify, release");
    EXPECT_EQ(usage_error({"ltl", "alloc", "--vlan", "10", "--tag", "7"}),
              "PORT: name the interfaces, or say --no-ports");
    EXPECT_EQ(usage_error({"ltl", "alloc", "--vlan", "10", "Po1"}), "--tag is required");
    EXPECT_EQ(usage_error({"ltl", "alloc", "--tag", "7", "Po1"}), "--vlan is required");
    for (const char *vlan : {"0", "4095", "x"}) {
        EXPECT_EQ(usage_error({"ltl", "alloc", "--vlan", vlan, "--tag", "7", "Po1"}),
                  std::string("--vlan: ") + vlan + " is not a number from 1 to 4094");
    }
    EXPECT_EQ(usage_error({"ltl", "alloc", "--vlan", "10", "--tag", "4294967296", "Po1"}),
              "--tag: 4294967296 is not a number from 0 to 4294967295");
    EXPECT_EQ(usage_error(with(alloc, {"--no-ports"})), "PORT excludes --no-ports");
    EXPECT_EQ(usage_error(with(alloc, {"Eth3-7"})),
              "PORT: \"Eth3-7\": expected Eth3/7 (slot and port, up to 255), Eth3/7/1 (a breakout "
              "lane of it), Po1 (up to 65535), Vlan10 (up to 4094), or if12 (any other, by the "
              "kernel's index)");
    EXPECT_THAT(usage_error(with(alloc, {"Po\x1b[2J"})), Not(HasSubstr("\x1b")));
    EXPECT_EQ(usage_error({"ltl", "modify", "--tag", "7", "Po1"}),
              "INDEX: Po1 is not a number from 0 to 4294967295");
    EXPECT_EQ(usage_error({"ltl", "modify", "0x4000", "--tag", "7"}),
              "PORT: name the interfaces, or say --no-ports");
    EXPECT_EQ(usage_error({"ltl", "modify", "0x4000", "Po1"}), "--tag is required");
    EXPECT_EQ(usage_error({"ltl", "release", "0x4000"}), "--tag is required");
    EXPECT_EQ(usage_error({"ltl", "release", "0x4000", "--tag", "7", "Po1"}),
              "`vellfeed ltl release` takes no \"Po1\"");
    EXPECT_EQ(usage_error(with(release, {"--timeout", "-1"})),
              "--timeout: -1 is not a number from 0 to 2147483647");
}

} // namespace
