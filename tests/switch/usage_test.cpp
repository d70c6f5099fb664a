// What vellsim answers to a wrong command line.
#include "tests/support/simulator.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::HasSubstr;
using testing::StartsWith;

namespace {

void expect_usage_error(const std::vector<std::string> &arguments, const std::string &error) {
    const command_result result = vellsim(arguments);
    EXPECT_EQ(result.exit_code, 2);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, error);
}

} // namespace

TEST(Usage, NamesWhatDoesNotExistAndWhatDoes) {
    const std::string known = "; the commands are run, show, count, fault, stop\n"
                              "Run `vellsim --help` for more information.\n";
    expect_usage_error({"bogus"}, "vellsim: there is no command \"bogus\"" + known);
    expect_usage_error({"--frob"}, "vellsim: there is no option \"--frob\"" + known);
}

TEST(Usage, NamesTheHelpOfTheCommand) {
    expect_usage_error({"show", "routes", "--limit", "0"},
                       "vellsim: --limit: 0 is not a number from 1 to 4294967295\n"
                       "Run `vellsim show routes --help` for more information.\n");
}

TEST(Usage, ReadsALeadingZeroAsADigit) {
    const scratch_directory directory;
    for (const char *seconds : {"08", "0x1"}) {
        const command_result stopped =
            vellsim({"stop", "--run-dir", directory / "run", "--timeout", seconds});
        EXPECT_EQ(stopped.exit_code, 1) << stopped.err;
    }
    expect_usage_error({"stop", "--timeout", "086401"},
                       "vellsim: --timeout: 086401 is not a number from 1 to 86400\n"
                       "Run `vellsim stop --help` for more information.\n");
    expect_usage_error({"show", "log", "--limit", "00"},
                       "vellsim: --limit: 00 is not a number from 1 to 4294967295\n"
                       "Run `vellsim show log --help` for more information.\n");
}

TEST(Usage, ShowsNoTerminalWhatItMightObey) {
    expect_usage_error({"show", "log", "--sink", "\x1b[2J"},
                       "vellsim: --sink: \\x1b[2J not in {history,client,service}\n"
                       "Run `vellsim show log --help` for more information.\n");
    const command_result stopped = vellsim({"stop", "--run-dir", "/dev/null/\x1b[2J"});
    EXPECT_EQ(stopped.exit_code, 1);
    EXPECT_THAT(stopped.err, HasSubstr("/dev/null/\\x1b[2J"));
    EXPECT_THAT(stopped.err, testing::Not(HasSubstr("\x1b")));
}

TEST(Usage, CountTakesNumbersThatFit) {
    const std::vector<std::string> count = {"count", "--source", "10.0.0.9", "--group",
                                            "239.1.1.2"};
    const auto with = [&count](std::vector<std::string> more) {
        more.insert(more.begin(), count.begin(), count.end());
        return more;
    };
    const std::string help = "Run `vellsim count --help` for more information.\n";
    for (const std::string wrong : {"-1", "abc", "18446744073709551616", "1.5", ""}) {
        expect_usage_error(with({"--packets", wrong}),
                           "vellsim: --packets: " + wrong +
                               " is not a number from 0 to 18446744073709551615\n" + help);
    }
}

TEST(Usage, RunNamesAMissingParent) {
    const scratch_directory directory;
    const std::string parent = directory / "missing";
    for (const char *run : {"/run", "/run/"}) {
        const command_result result = vellsim({"run", "--run-dir", parent + run});
        EXPECT_EQ(result.exit_code, 1);
        EXPECT_THAT(result.err, StartsWith("vellsim: "));
        EXPECT_THAT(result.err, HasSubstr("the parent directory " + parent + " is missing"));
    }
}

TEST(Usage, RunListsTheEnvironment) {
    const std::string help = vellsim({"run", "--help"}).out;
    for (const char *name :
         {"VELLSIM_RUN_DIR", "VELLSIM_SEND_TIMEOUT_MS", "TESSEL_HISTORY", "TESSEL_CONSOLE"}) {
        EXPECT_THAT(help, HasSubstr(name));
    }
}

TEST(Usage, RunListsTheLimits) {
    const std::string help = vellsim({"run", "--help"}).out;
    for (const char *line :
         {"  2000000 routes\n", "  256     MiB of the routes' OIF, MTI and GLT lists\n",
          "  1000000 counters of `vellsim count`\n", "  8       MiB of a log file;",
          "  1000    connections;", "  64      overlay route updates\n"}) {
        EXPECT_THAT(help, HasSubstr(line));
    }
}

TEST(Usage, HelpThatCannotBeWrittenIsAFailure) {
    const command_result full = run_program({"/bin/sh", "-c", VELLSIM_PATH " --help >/dev/full"});
    EXPECT_EQ(full.exit_code, 1);
    EXPECT_EQ(full.err, "vellsim: the output cannot be written\n");
}
