// What all commands have in common: help, wrong usage, and what becomes of their output.
#include "tests/feed/feed_program.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <regex>
#include <sstream>

namespace {

using testing::ContainsRegex;
using testing::HasSubstr;

class CommandLine : public feed_program {
protected:
    // The commands of a command, as its help lists them.
    static std::vector<std::string> commands_of(std::vector<std::string> command) {
        command.emplace_back("--help");
        std::istringstream help(printed(command));
        std::vector<std::string> names;
        bool is_list = false;
        for (std::string line; std::getline(help, line);) {
            if (line == "Subcommands:") {
                is_list = true;
            } else if (line.empty()) {
                is_list = false;
            } else if (is_list && line.starts_with("  ") && line[2] != ' ') {
                names.push_back(line.substr(2, line.find(' ', 2) - 2));
            }
        }
        return names;
    }

    static void expect_help(const std::vector<std::string> &command) {
        std::vector<std::string> help = command;
        help.emplace_back("--help");
        const std::string page = printed(help);
        EXPECT_THAT(page, ContainsRegex("Examples?: vellfeed ")) << testing::PrintToString(command);
        const std::regex sample("samples/([a-z0-9/-]+)");
        for (std::sregex_iterator one(page.begin(), page.end(), sample), end; one != end; ++one) {
            EXPECT_TRUE(std::filesystem::is_directory(VELL_SAMPLES_DIR "/" + (*one)[1].str()))
                << one->str();
        }
        for (const std::string &name : commands_of(command)) {
            std::vector<std::string> one = command;
            one.push_back(name);
            expect_help(one);
        }
    }
};

TEST_F(CommandLine, EveryCommandHasAHelpWithAnExample) {
    EXPECT_EQ(commands_of({}),
              (std::vector<std::string>{"send", "remove", "follow", "compare", "repair", "record",
                                        "stats", "ltl", "notice"}));
    EXPECT_EQ(commands_of({"ltl"}), (std::vector<std::string>{"alloc", "modify", "release"}));
    EXPECT_EQ(commands_of({"notice"}).size(), 7u);
    expect_help({});
}

TEST_F(CommandLine, WrongUsageIsExplained) {
    const std::string known = "; the commands are send, remove, follow, compare, repair, record, "
                              "stats, ltl, notice";
    EXPECT_EQ(usage_error({}), "`vellfeed` needs a command: send, remove, follow, compare, repair, "
                               "record, stats, ltl, notice");
    EXPECT_EQ(usage_error({"bogus"}), "there is no command \"bogus\"" + known);
    EXPECT_EQ(usage_error({"--frob"}), "there is no option \"--frob\"" + known);
    EXPECT_EQ(usage_error({"notice", "marker", "1", "--frob"}),
              "`vellfeed notice marker` has no option --frob");
    EXPECT_EQ(usage_error({"notice", "marker", "1", "--run-dir", ""}),
              "--run-dir: the directory's path is empty: name one");
    EXPECT_EQ(usage_error({"send", ""}), "SNAPSHOT: the directory's path is empty: name one");
    EXPECT_EQ(usage_error({"send", "x", "--from", ""}),
              "--from: the directory's path is empty: name one");
    EXPECT_EQ(usage_error({"follow", "--replay", "x", ""}),
              "--replay: the directory's path is empty: name one");
    EXPECT_EQ(usage_error({"follow", "--replay"}), "--replay needs a value");
    EXPECT_EQ(usage_error({"stats", "--table"}), "--table needs a value");
    EXPECT_EQ(usage_error({"send", "x", "--only", ""}),
              "--only: \"\": the tables are routes, groups, floods and ltls");
    EXPECT_EQ(usage_error({"send", "x", "--only", "routes,route"}),
              "--only: \"route\": the tables are routes, groups, floods and ltls");
    EXPECT_EQ(usage_error({"notice", "marker", "1", "--uuid", "4294967296"}),
              "--uuid: 4294967296 is not a number from 0 to 4294967295");
    EXPECT_EQ(usage_error({"notice", "marker", "1", "--timeout", "2147483648"}),
              "--timeout: 2147483648 is not a number from 0 to 2147483647");
}

TEST_F(CommandLine, RegistersWithTheUuidThatIsAskedFor) {
    start_switch();
    printed({"notice", "marker", "7", "--uuid", "0123"});
    EXPECT_THAT(shown("clients"), HasSubstr(R"("uuid":123,)"));
}

TEST_F(CommandLine, FindsTheSwitchOfARunDirectory) {
    start_switch();
    const scoped_environment other("VELLSIM_RUN_DIR", run_dir + "/other");
    EXPECT_EQ(printed({"notice", "marker", "7", "--run-dir", run_dir}),
              "sent the out-of-band marker 7\n");
}

TEST_F(CommandLine, ARecordSaysWhereItIsUnlessItIsQuiet) {
    for (const char *program : {"ip", "bridge"}) {
        std::ofstream(directory / program) << "#!/bin/sh\necho []\n";
        std::filesystem::permissions(directory / program, std::filesystem::perms::owner_all);
    }
    const scoped_environment path("PATH", directory / "" + (":" + std::string(getenv("PATH"))));
    const std::string here = directory / "here";
    EXPECT_EQ(printed({"record", here}), here + "\n");
    EXPECT_EQ(printed({"record", here, "--json"}), R"({"snapshot":")" + here + "\"}\n");
    EXPECT_EQ(printed({"record", here, "--quiet"}), "");
}

TEST_F(CommandLine, OutputThatCannotBeWrittenIsAnError) {
    for (const char *command : {"--help", "--version", "ltl alloc --help"}) {
        const command_result result =
            run_shell("$vellfeed " + std::string(command) + " >/dev/full");
        EXPECT_EQ(result.exit_code, 1) << command;
        EXPECT_EQ(result.err, "vellfeed: it was done, but standard output could not be written\n");
    }
}

} // namespace
