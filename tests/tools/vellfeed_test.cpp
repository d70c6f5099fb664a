#include "tests/tools/program_fixture.h"

namespace feed {
namespace {

using testing::ContainsRegex;
using testing::HasSubstr;
using testing::StartsWith;

class Vellfeed : public program_fixture {};

constexpr char two_routes[] =
    R"([{"src":"10.0.0.1","dst":"239.1.1.1","iif":"in","multipath":[{"oif":"out"}]},
                                  {"src":"10.0.0.2","dst":"239.1.1.1","iif":"in","multipath":[]}])";

// What the switch holds once two_routes was fed with its names numbered.
constexpr char two_held[] = R"({"routes":[
    {"table":253,"source":"10.0.0.1","source_len":32,"group":"239.1.1.1","group_len":32,"opcode":1,"flags":["download"],
     "flags_word":"0x80","epoch":0,"rpf_if":1,"df_ordinal":0,"client":7,"oifs":[{"if_index":2,"kind":0}],"mti":[],"glt":[]},
    {"table":253,"source":"10.0.0.2","source_len":32,"group":"239.1.1.1","group_len":32,"opcode":1,
     "flags":["drop_route","download","download_done"],"flags_word":"0x184","epoch":0,"rpf_if":1,"df_ordinal":0,
     "client":7,"oifs":[],"mti":[],"glt":[]}]})";

TEST_F(Vellfeed, FeedsARecordedTable) {
    EXPECT_EQ(run({"routes", sample("campus/routes"), "--links", sample("campus/links")}), 0)
        << err;
    EXPECT_EQ(out, "vellfeed: 8 outgoing interfaces with a TTL threshold above 1: a route record "
                   "has no place for it\n"
                   "vellfeed: sent 29 routes in 1 message, 3 unresolved skipped, 1 skipped whose "
                   "incoming interface is "
                   "gone\n");
    EXPECT_EQ(err, "");
    EXPECT_EQ(sent_opcodes(),
              (std::vector<std::uint32_t>{registration, route_update, deregistration}));
    EXPECT_EQ(simulator.requests[1].payload[2], 29);
    EXPECT_EQ(simulator.open_references, 0);
}

TEST_F(Vellfeed, NumbersInterfacesAndSaysWhich) {
    EXPECT_EQ(run({"routes", write_file("two", two_routes), "--number-interfaces"}), 0) << err;
    EXPECT_EQ(out, "interface in is number 1\ninterface out is number 2\nvellfeed: sent 2 routes "
                   "in 1 message\n");
}

TEST_F(Vellfeed, SplitsATableIntoMessages) {
    EXPECT_EQ(run({"routes", sample("metro/routes"), "--links", sample("metro/links"),
                   "--message-bytes", "4096"}),
              0);
    std::size_t routes = 0;
    for (std::size_t i = 1; i + 1 < simulator.requests.size(); ++i) {
        EXPECT_EQ(simulator.requests[i].opcode, route_update);
        EXPECT_LE(simulator.requests[i].payload.size(), 4096u);
        routes += simulator.requests[i].payload[2] + 256u * simulator.requests[i].payload[3];
    }
    EXPECT_EQ(routes, 1200u);
    EXPECT_EQ(out, "vellfeed: sent 1200 routes in " +
                       std::to_string(simulator.requests.size() - 2) + " messages\n");
}

TEST_F(Vellfeed, TakesTableAndEpochAndDeletion) {
    EXPECT_EQ(run({"routes", write_file("two", two_routes), "--number-interfaces", "--quiet",
                   "--table", "77", "--epoch", "9", "--delete"}),
              0)
        << err;
    EXPECT_EQ(out, "");
    const bytes &message = simulator.requests[1].payload;
    EXPECT_EQ(message[8], 2);       // opcode
    EXPECT_EQ(message[12], 0);      // flags
    EXPECT_EQ(message[8 + 16], 9);  // epoch
    EXPECT_EQ(message[8 + 36], 77); // table
}

TEST_F(Vellfeed, SaysThatDeletesWereSent) {
    EXPECT_EQ(run({"routes", sample("metro/routes"), "--links", sample("metro/links"), "--delete"}),
              0)
        << err;
    EXPECT_THAT(out, StartsWith("vellfeed: sent 1200 deletes in "));
}

TEST_F(Vellfeed, AnEmptyTableIsFedAsNothing) {
    EXPECT_EQ(run({"routes", write_file("empty", "[ ]")}), 0) << err;
    EXPECT_EQ(out, "vellfeed: sent 0 routes in 0 messages\n");
    EXPECT_EQ(sent_opcodes(), (std::vector<std::uint32_t>{registration, deregistration}));
}

TEST_F(Vellfeed, SendsNothingOfATableThatIsWrong) {
    const std::string path =
        write_file("wrong", R"([{"src":"10.0.0.1","dst":"239.1.1.1","iif":"in"},{"src":1}])");
    EXPECT_EQ(run({"routes", path, "--number-interfaces"}), 1);
    EXPECT_EQ(out, "");
    EXPECT_EQ(err,
              "vellfeed: " + path +
                  ": entry 2 of 2 (/1/src): expected the source, an IPv4 address, found the number "
                  "1\n");
    EXPECT_TRUE(simulator.requests.empty());
}

TEST_F(Vellfeed, EachSendMayFail) {
    // Registration, two messages and deregistration.
    const std::vector<std::string> command = {"routes", write_file("two", two_routes),
                                              "--number-interfaces", "--message-bytes", "1"};
    const std::string errors[] = {
        "no switch answers in /run/sim; start one with `vellsim run`, or point VELLSIM_RUN_DIR at "
        "its run directory",
        "message 1 could not be sent: the switch went away; 0 of 2 routes in 0 messages went out "
        "before",
        "message 2 could not be sent: the switch went away; 1 of 2 routes in 1 message went out "
        "before",
        "everything was sent, but the switch went away before the client could deregister"};
    for (std::size_t i = 0; i < std::size(errors); ++i) {
        start_over();
        simulator.fail_send = i;
        EXPECT_EQ(run(command), 1);
        EXPECT_EQ(err, "vellfeed: " + errors[i] + "\n");
        EXPECT_EQ(simulator.open_references, 0);
        EXPECT_EQ(simulator.open_queues, 0);
    }
}

TEST_F(Vellfeed, ComparesWithoutASwitchWhenItIsGivenWhatIsHeld) {
    EXPECT_EQ(run({"compare", write_file("two", two_routes), "--number-interfaces", "--held",
                   write_file("held", two_held)}),
              0)
        << err;
    EXPECT_EQ(out,
              "interface in is number 1\ninterface out is number 2\nall 2 fed routes arrived\n");
    EXPECT_TRUE(simulator.requests.empty());
}

TEST_F(Vellfeed, AComparisonThatFailsSaysSo) {
    EXPECT_EQ(run({"compare", write_file("two", two_routes), "--number-interfaces", "--epoch", "3",
                   "--held", write_file("held", two_held)}),
              1);
    EXPECT_THAT(out,
                HasSubstr("\n(10.0.0.1, 239.1.1.1) in table 253: epoch: fed 3, held 0\n"
                          "(10.0.0.2, 239.1.1.1) in table 253: epoch: fed 3, held 0\n"
                          "of 2 fed routes 0 arrived, 2 differ, 0 are missing; 0 unexpected\n"));
    EXPECT_EQ(run({"compare", write_file("two", two_routes), "--number-interfaces", "--table", "9",
                   "--quiet", "--held", write_file("held", two_held)}),
              1);
    EXPECT_EQ(out, "");
}

TEST_F(Vellfeed, HeldRoutesThatAreWrongAreRefused) {
    const std::string path = write_file("held", "[]");
    EXPECT_EQ(
        run({"compare", write_file("two", two_routes), "--number-interfaces", "--held", path}), 1);
    EXPECT_EQ(err, "vellfeed: " + path +
                       ": expected an object with \"routes\", the output of `vellsim show routes "
                       "--json`, found an array of 0\n");
}

TEST_F(Vellfeed, SendsEachDuxRole) {
    const struct {
        const char *role;
        std::uint8_t flag_bytes[4];
    } roles[] = {{"all", {0, 0, 4, 0}},
                 {"even", {0, 0, 8, 0}},
                 {"odd", {0, 0, 16, 0}},
                 {"none", {0, 0, 0, 2}}};
    for (const auto &row : roles) {
        start_over();
        EXPECT_EQ(run({"role", row.role}), 0) << err;
        EXPECT_EQ(out, std::string("vellfeed: sent the dux role ") + row.role + "\n");
        ASSERT_EQ(sent_opcodes(),
                  (std::vector<std::uint32_t>{registration, route_update, deregistration}));
        const bytes &message = simulator.requests[1].payload;
        EXPECT_EQ(bytes(message.begin() + 12, message.begin() + 16),
                  bytes(row.flag_bytes, row.flag_bytes + 4));
    }
}

TEST_F(Vellfeed, SendsADuxRoleByNumber) {
    EXPECT_EQ(run({"role", "--value", "7"}), 0) << err;
    EXPECT_EQ(out, "vellfeed: sent the dux role 7\n");
    const bytes &message = simulator.requests[1].payload;
    EXPECT_EQ(bytes(message.begin() + 12, message.begin() + 20), bytes(8, 0));
}

TEST_F(Vellfeed, ARoleThatCannotBeSentIsAnError) {
    simulator.fail_send = 1;
    EXPECT_EQ(run({"role", "odd"}), 1);
    EXPECT_EQ(err, "vellfeed: the dux role could not be sent: the switch went away\n");
}

TEST_F(Vellfeed, SendsTheIpv6Notice) {
    EXPECT_EQ(run({"notice6", "0x11121314", "4294967295", "513"}), 0) << err;
    EXPECT_EQ(out, "vellfeed: sent the IPv6 route notice 286397204 4294967295 513\n");
    ASSERT_EQ(sent_opcodes(),
              (std::vector<std::uint32_t>{registration, ipv6_notice, deregistration}));
    const bytes &notice = simulator.requests[1].payload;
    EXPECT_EQ(notice,
              (bytes{7, 0, 1, 2, 0, 0, 0, 0, 0x14, 0x13, 0x12, 0x11, 0xff, 0xff, 0xff, 0xff}));
}

TEST_F(Vellfeed, WrongUsageHasItsOwnExitCode) {
    const std::string table = write_file("two", two_routes);
    expect_wrong_usage({
        {{},
         "`vellfeed` needs a command: routes, compare, role, notice6, stats, l2, l2-compare, "
         "flood, flood-compare, ltl, day, marker, download-complete, overlay"},
        {{"routes"}, "which table? Name a file, - for standard input, or --live for this machine"},
        {{"routes", table, "--live"}, "TABLE excludes --live"},
        {{"routes", "--live", "--links", table}, "--live excludes --links"},
        {{"routes", table, "--message-bytes", "0"},
         "--message-bytes: Value 0 not in range 1 to 16777216"},
        {{"routes", table, "--message-bytes", "16777217"},
         "--message-bytes: Value 16777217 not in range 1 to 16777216"},
        {{"routes", table, "--table", "0"}, "--table: Value 0 not in range 1 to 4294967295"},
        {{"routes", table, "--table", "4294967296"},
         "--table: Value 4294967296 not in range 1 to 4294967295"},
        {{"routes", table, "--epoch", "-1"}, "--epoch: -1 is not a number from 0 to 4294967295"},
        {{"routes", table, "--timeout", "-1"}, "--timeout: Value -1 not in range 0 to 2147483647"},
        {{"routes", "-", "--links", "-"}, "standard input (-) can be read only once"},
        {{"routes", table, "--number-interfaces", "--segment", std::string(240, 'x')},
         "the segment name is 240 bytes long, 239 is the most (--segment)"},
        {{"compare", "-", "--held", "-"}, "standard input (-) can be read only once"},
        {{"role"}, "which role? Name one of all, even, odd and none, or give --value N"},
        {{"role", "sideways"},
         "there is no role \"sideways\": all, even, odd or none, or forward_all and so on"},
        {{"role", "all", "--value", "1"},
         "both a role and --value were given, only one of them can be sent"},
        {{"notice6", "1", "2"}, "THIRD is required"},
        {{"notice6", "1", "2", "65536"}, "THIRD: 65536 is not a number from 0 to 65535"},
        {{"notice6", "1", "-2", "3"}, "SECOND: -2 is not a number from 0 to 4294967295"},
    });
}

TEST_F(Vellfeed, WrongUsageIsExplained) {
    const std::string known =
        "; the commands are routes, compare, role, notice6, stats, l2, l2-compare, flood, "
        "flood-compare, ltl, day, marker, download-complete, overlay\n"
        "Run `vellfeed --help` for more information.\n";
    const struct {
        std::vector<std::string> command;
        std::string error;
    } rows[] = {
        {{"bogus"}, "there is no command \"bogus\"" + known},
        {{"--frob"}, "there is no option \"--frob\"" + known},
        {{"overlay", "vlan"},
         "there is no command \"vlan\"; the commands are disable, vlans, route\n"
         "Run `vellfeed overlay --help` for more information.\n"},
        {{"notice6", "1", "2", "70000"},
         "THIRD: 70000 is not a number from 0 to 65535\n"
         "Run `vellfeed notice6 --help` for more information.\n"},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(run(row.command), 2);
        EXPECT_EQ(err, "vellfeed: " + row.error);
    }
}

TEST_F(Vellfeed, TakesTheNamesThatTheSwitchShowsForRoles) {
    EXPECT_EQ(run({"role", "forward_even"}), 0) << err;
    EXPECT_EQ(simulator.requests.at(1).payload.at(14), 8);
}

TEST_F(Vellfeed, EveryCommandHasAHelpWithAnExample) {
    const std::vector<std::string> commands[] = {{},
                                                 {"routes"},
                                                 {"compare"},
                                                 {"role"},
                                                 {"notice6"},
                                                 {"stats"},
                                                 {"l2"},
                                                 {"l2-compare"},
                                                 {"flood"},
                                                 {"flood-compare"},
                                                 {"ltl"},
                                                 {"ltl", "alloc"},
                                                 {"ltl", "modify"},
                                                 {"ltl", "release"},
                                                 {"day"},
                                                 {"marker"},
                                                 {"download-complete"},
                                                 {"overlay"},
                                                 {"overlay", "disable"},
                                                 {"overlay", "vlans"},
                                                 {"overlay", "route"}};
    for (std::vector<std::string> command : commands) {
        command.emplace_back("--help");
        EXPECT_EQ(run(command), 0);
        EXPECT_THAT(out, ContainsRegex("Examples?:\\s+vell")) << testing::PrintToString(command);
    }
}

} // namespace
} // namespace feed
