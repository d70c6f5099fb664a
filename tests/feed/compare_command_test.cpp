// `vellfeed compare`: a snapshot against a switch, and against a vellsim that the test plays.
#include "tests/feed/feed_program.h"

#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>

namespace {

using testing::HasSubstr;
using testing::Not;

class CompareCommand : public feed_program {
protected:
    std::string snapshot(const std::string &name,
                         const std::vector<std::pair<std::string, std::string>> &files) {
        std::filesystem::create_directory(directory / name);
        for (const auto &[file, text] : files) {
            std::ofstream(directory / (name + "/" + file)) << text;
        }
        return directory / name;
    }

    static std::string route_text(const std::string &source, const std::string &oifs) {
        return R"({"src":")" + source + R"(","dst":"239.1.1.2","iif":"eth1-1","multipath":[)" +
               oifs + R"(],"state":"resolved"})";
    }

    // A copy of vellfeed beside a vellsim that is this script, and what comparing a snapshot of no
    // route prints with it.
    command_result compare_with(const std::string &script, const std::string &shell = {}) {
        const std::string programs = directory / "programs";
        std::filesystem::create_directory(programs);
        std::filesystem::copy_file(VELLFEED_PATH, programs + "/vellfeed",
                                   std::filesystem::copy_options::overwrite_existing);
        std::ofstream(directory / "programs/vellsim") << "#!/bin/sh\n" + script;
        std::filesystem::permissions(programs + "/vellsim", std::filesystem::perms::owner_all);
        return run_shell(programs + "/vellfeed compare " +
                         snapshot("none", {{"routes.json", "[]"}}) + shell);
    }

    // What it says of a vellsim that is this script, with the path left out.
    std::string error_with(const std::string &script) {
        const command_result result = compare_with(script);
        EXPECT_EQ(result.exit_code, 1);
        EXPECT_EQ(result.out, "");
        std::string said = result.err;
        const std::string path = directory / "programs/";
        if (const std::size_t at = said.find(path); at != said.npos) {
            said.erase(at, path.size());
        }
        return said;
    }
};

TEST_F(CompareCommand, EndsAsAnyToolWhenItsReaderIsGone) {
    start_switch();
    const std::string none = snapshot("none", {{"routes.json", "[]"}});
    const command_result result =
        run_shell("{ sleep 0.3; $vellfeed compare " + none + "; echo $? >&2; } | true");
    EXPECT_THAT(result.err, HasSubstr("141\n"));
    EXPECT_THAT(result.err, Not(HasSubstr("vellfeed: ")));
}

TEST_F(CompareCommand, SaysHowEveryRowDiffers) {
    const std::string before = snapshot(
        "before", {{"routes.json", "[" + route_text("10.0.0.1", R"({"oif":"eth2-1"})") + "," +
                                       route_text("10.0.0.2", R"({"oif":"eth2-1"})") + "," +
                                       route_text("10.0.0.3", R"({"oif":"eth2-1"})") + "]"}});
    const std::string after = snapshot(
        "after",
        {{"routes.json", "[" + route_text("10.0.0.1", R"({"oif":"eth2-1"})") + "," +
                             route_text("10.0.0.2", R"({"oif":"eth2-1"},{"oif":"eth2-2"})") + "," +
                             route_text("10.0.0.4", "") + "]"}});
    start_switch();
    printed({"send", before});
    EXPECT_EQ(printed({"compare", before}), "routes: all 3 are installed\n");
    const command_result result = vellfeed({"compare", after});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.out,
              "(10.0.0.2, 239.1.1.2) in table 253: oifs: installed Eth2/1, wanted Eth2/1 Eth2/2\n"
              "(10.0.0.3, 239.1.1.2) in table 253: unexpected\n"
              "(10.0.0.4, 239.1.1.2) in table 253: missing\n"
              "routes: 1 of 3 is installed, 1 differs, 1 is missing; 1 unexpected\n");
    const command_result quiet = vellfeed({"compare", "--quiet", after});
    EXPECT_EQ(quiet.exit_code, 1);
    EXPECT_EQ(quiet.out + quiet.err, "");
    printed({"repair", after});
    EXPECT_EQ(printed({"compare", after, "--json"}),
              R"({"routes":[],"counts":{"routes":{"wanted":3,"missing":0,"unexpected":0,)"
              R"("differing":0}}})"
              "\n");
}

TEST_F(CompareCommand, ComparesEveryTableOfASnapshot) {
    const std::string all = snapshot(
        "all",
        {{"mdb.json",
          R"([{"mdb":[{"index":2,"dev":"br10","port":"eth1-1","grp":"239.1.1.1","state":"temp"},
                      {"index":2,"dev":"br10","port":"eth1-2","grp":"239.1.1.1","state":"temp"}],
               "router":{}}])"},
         {"ports.json",
          R"([{"ifindex":3,"ifname":"eth1-1","master":"br10","state":"forwarding",
               "mcast_flood":true},
              {"ifindex":4,"ifname":"eth1-2","master":"br10","state":"forwarding",
               "mcast_flood":true}])"}});
    start_switch();
    printed({"send", all, "--quiet"});
    EXPECT_EQ(printed({"compare", all}), "flood sets: 1 of 1 is installed\n"
                                         "groups: 1 of 1 is installed\n"
                                         "LTLs: 1 of 1 is installed\n");
    EXPECT_EQ(printed({"compare", all, "--only", "groups,ltls"}), "groups: 1 of 1 is installed\n"
                                                                  "LTLs: 1 of 1 is installed\n");
    printed({"ltl", "alloc", "--vlan", "20", "--tag", "7", "Po1"});
    const command_result result = vellfeed({"compare", all, "--only", "ltls"});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_EQ(result.out, "LTL of VLAN 20 with tag 0x7: unexpected\n"
                          "LTLs: 1 of 1 is installed; 1 unexpected\n");
    printed({"ltl", "alloc", "--vlan", "20", "--tag", "7", "Po2"});
    const command_result another = vellfeed({"compare", all, "--only", "ltls"});
    EXPECT_EQ(another.err, "vellfeed: left out LTL 0x4002: it has the VLAN 20 and the tag 7 of LTL "
                           "0x4001\n");
    EXPECT_EQ(another.out, result.out);
}

TEST_F(CompareCommand, NeedsASwitch) {
    EXPECT_EQ(error({"compare", snapshot("none", {{"routes.json", "[]"}})}),
              "no switch answers in " + run_dir +
                  "; start one with `vellsim run`, or name its run directory with --run-dir");
}

TEST_F(CompareCommand, AResultThatCannotBeWrittenIsAnError) {
    start_switch();
    const std::string none = snapshot("none", {{"routes.json", "[]"}});
    const command_result equal = run_shell("$vellfeed compare " + none + " >/dev/full");
    EXPECT_EQ(equal.exit_code, 1);
    EXPECT_EQ(equal.err, "vellfeed: it was done, but standard output could not be written\n");
    printed({"send", snapshot("one", {{"routes.json", "[" + route_text("10.0.0.1", "") + "]"}})});
    const command_result unequal = run_shell("$vellfeed compare " + none + " >/dev/full");
    EXPECT_EQ(unequal.exit_code, 1);
    EXPECT_EQ(unequal.err, "vellfeed: standard output could not be written\n");
}

TEST_F(CompareCommand, AVellsimThatFailsOrPrintsSomethingElseIsAnError) {
    start_switch();
    EXPECT_EQ(error_with("exit 3"),
              "vellfeed: `vellsim show routes --json` failed with exit code 3\n");
    EXPECT_EQ(error_with("printf 'no \\033[2Jswitch' >&2; exit 1"),
              "vellfeed: `vellsim show routes --json` failed with exit code 1: no "
              "\\x1b[2Jswitch\n");
    EXPECT_EQ(error_with("echo '{\"routes\":[],\"matched\":0}'; exit 1"),
              "vellfeed: `vellsim show routes --json` failed with exit code 1\n");
    EXPECT_EQ(error_with("echo '{\"ltl\":[]}'"),
              "vellfeed: `vellsim show routes --json`: expected a member \"routes\" (the output of "
              "`vellsim show routes --json`), found only \"ltl\"\n");
    EXPECT_EQ(error_with("echo '{\"routes\":[1'; exec yes"),
              "vellfeed: `vellsim show routes --json`: entry 1 (/routes/0): expected a route, an "
              "object, found the number 1\n");
}

// 190 MB of JSON; a tenth of it in a build with sanitizers, which is slow.
TEST_F(CompareCommand, ATableMayBeLong) {
#ifdef __SANITIZE_ADDRESS__
    const std::string routes = "35000";
#else
    const std::string routes = "350000";
#endif
    start_switch();
    std::ofstream(directory / "rows.awk") << R"awk(BEGIN {
        for (i = 0; i < 8; ++i)
            oifs = oifs (i > 0 ? "," : "") "{\"if_index\":1745028864,\"name\":\"Eth3/7\",\"kind\":0}";
        print "{\"routes\":[";
        for (i = 0; i < routes; ++i)
            printf "%s{\"table\":253,\"source\":\"10.%d.%d.%d\",\"source_len\":32," \
                   "\"group\":\"239.1.1.2\",\"group_len\":32,\"flags_word\":\"0x80\",\"rpf_if\":4," \
                   "\"df_ordinal\":0,\"oifs\":[%s],\"mti\":[],\"glt\":[]}\n",
                   (i > 0 ? "," : ""), int(i / 65536), int(i / 256) % 256, i % 256, oifs;
        print "],\"matched\":" routes ",\"narrowed\":null}";
    })awk";
    const command_result result =
        compare_with("awk -v routes=" + routes + " -f " + (directory / "rows.awk"), " | tail -n 1");
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.out, "routes: none wanted; " + routes + " unexpected\n");
}

} // namespace
