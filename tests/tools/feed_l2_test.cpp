#include "tests/support/scratch.h"
#include "tests/tools/program_fixture.h"

namespace feed {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;
using opcodes = std::vector<std::uint32_t>;

class FeedL2 : public program_fixture {
protected:
    std::string older() { return write_file("older", older_text); }
    std::string newer() { return write_file("newer", newer_text); }
    std::string links() { return write_file("links", links_text); }

    static constexpr char links_text[] =
        R"([{"ifindex":2,"ifname":"br10"},{"ifindex":11,"ifname":"a"},
                                             {"ifindex":12,"ifname":"b"}])";
    static constexpr char older_text[] = R"([{"mdb":[
        {"index":2,"dev":"br10","port":"a","grp":"239.1.1.1","state":"temp"},
        {"index":2,"dev":"br10","port":"a","grp":"239.1.1.2","state":"temp"}],"router":{}}])";
    // A port joined the first group, and the second is gone.
    static constexpr char newer_text[] = R"([{"mdb":[
        {"index":2,"dev":"br10","port":"b","grp":"239.1.1.1","state":"temp"},
        {"index":2,"dev":"br10","port":"a","grp":"239.1.1.1","state":"temp"}],"router":{}}])";
};

TEST_F(FeedL2, FeedsARecordedDatabase) {
    EXPECT_EQ(run({"l2", sample("snooping-1/mdb"), "--links", sample("snooping-1/links")}), 0) << err;
    EXPECT_EQ(out, "vellfeed: left out 3 router ports: a layer-2 entry has no place for them\n"
                   "vellfeed: left out 4 ports that the kernel does not send to: blocked, or for "
                   "listed sources only\n"
                   "vellfeed: sent 34 entries with 51 ports in 1 message\n");
    EXPECT_EQ(sent_opcodes(), (opcodes{registration, oob_marker, l2_update, oob_marker,
                                       download_complete, deregistration}));
    EXPECT_EQ(simulator.requests[1].payload, (bytes{1, 0, 0, 0}));
    EXPECT_EQ(simulator.requests[3].payload, (bytes{2, 0, 0, 0}));
    EXPECT_EQ(simulator.requests[4].payload, (bytes{0, 0, 0, 0}));
    const bytes &message = simulator.requests[2].payload;
    EXPECT_EQ(message.size(), 8u + 34 * 80 + 51 * 32);
    EXPECT_EQ(bytes(message.begin(), message.begin() + 8), (bytes{7, 0, 0, 34, 0, 0, 0, 3}));
    expect_all_closed();
}

TEST_F(FeedL2, ARecordGoesOutInNetworkOrder) {
    const std::string mdb = write_file("one", R"([{"mdb":[
        {"index":2,"dev":"br4001","port":"a","grp":"239.17.34.51","src":"10.20.30.40","state":"permanent"},
        {"index":2,"dev":"br4001","port":"br4001","grp":"239.17.34.51","src":"10.20.30.40","state":"temp"}]}])");
    EXPECT_EQ(run({"l2", mdb, "--links", links(), "--value", "4660"}), 0) << err;
    const bytes expected = {// client, number of records, value, flags
                            7, 0, 0, 1, 0x12, 0x34, 0, 3,
                            // type, reserved, the length in host order
                            21, 0, 0, 0, 0, 0, 0, 0, 144, 0, 0, 0,
                            // bridge, two words, VLAN, a word, permanent
                            0, 0, 0, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x0f, 0xa1, 0, 0, 0, 0, 0, 1,
                            // group and source
                            0, 0, 0, 4, 239, 17, 34, 51, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, //
                            0, 0, 0, 4, 10, 20, 30, 40, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
                            // the bridge itself, and a port
                            0, 0, 0, 2, //
                            0, 0, 0, 2, 0, 0, 0, 4, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 2, 0, 0, 0, 0,
                            0, 0, 0, 0, 0, 0, 0, 0, //
                            0, 0, 0, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 11, 0, 0, 0, 0,
                            0, 0, 0, 0, 0, 0, 0, 0, //
                            0, 0};
    ASSERT_EQ(simulator.requests.size(), 6u);
    EXPECT_EQ(simulator.requests[2].sap, 213u);
    EXPECT_EQ(simulator.requests[2].payload, expected);
}

TEST_F(FeedL2, SplitsDatabasesIntoMessagesBetweenOnePairOfMarkers) {
    EXPECT_EQ(run({"l2", sample("stadium/mdb"), "--links", sample("stadium/links"),
                   "--message-bytes", "8192"}),
              0)
        << err;
    EXPECT_EQ(simulator.requests[1].opcode, oob_marker);
    std::size_t messages = 0;
    std::size_t records = 0;
    for (std::size_t i = 2; simulator.requests.at(i).opcode == l2_update; ++i, ++messages) {
        EXPECT_LE(simulator.requests[i].payload.size(), 8192u);
        records += simulator.requests[i].payload[3];
    }
    EXPECT_EQ(records, 400u);
    EXPECT_EQ(out, "vellfeed: sent 400 entries with 1800 ports in " + std::to_string(messages) +
                       " messages\n");
    const opcodes sent = sent_opcodes();
    EXPECT_EQ(opcodes(sent.begin() + 2 + static_cast<std::ptrdiff_t>(messages), sent.end()),
              (opcodes{oob_marker, download_complete, deregistration}));
    expect_all_closed();
}

TEST_F(FeedL2, WithoutMarkersThereAreNone) {
    EXPECT_EQ(run({"l2", older(), "--links", links(), "--no-markers", "--quiet"}), 0) << err;
    EXPECT_EQ(out, "");
    EXPECT_EQ(sent_opcodes(),
              (opcodes{registration, l2_update, download_complete, deregistration}));
    EXPECT_EQ(simulator.requests[1].payload[7], 0);
}

TEST_F(FeedL2, AnEmptyDatabaseIsADownloadOfNothing) {
    EXPECT_EQ(run({"l2", write_file("empty", R"([{"mdb":[],"router":{}}])")}), 0) << err;
    EXPECT_EQ(out, "vellfeed: sent 0 entries with 0 ports in 0 messages\n");
    EXPECT_EQ(sent_opcodes(), (opcodes{registration, download_complete, deregistration}));
}

TEST_F(FeedL2, SendsWhatChangedDeletionsFirst) {
    EXPECT_EQ(run({"l2", newer(), "--older", older(), "--links", links()}), 0) << err;
    EXPECT_EQ(out, "vellfeed: sent 1 deletion and 1 addition in 1 message\n");
    EXPECT_EQ(sent_opcodes(),
              (opcodes{registration, oob_marker, l2_update, oob_marker, deregistration}));
    const bytes &message = simulator.requests[2].payload;
    ASSERT_EQ(message.size(), 8u + 2 * 112);
    // 239.1.1.2 goes with its port a, which is 11; b, which is 12, comes to 239.1.1.1.
    EXPECT_EQ(message[8], 22);
    EXPECT_EQ(bytes(message.begin() + 8 + 38, message.begin() + 8 + 42), (bytes{239, 1, 1, 2}));
    EXPECT_EQ(message[8 + 77], 1);
    EXPECT_EQ(message[8 + 78 + 19], 11);
    EXPECT_EQ(message[120], 21);
    EXPECT_EQ(bytes(message.begin() + 120 + 38, message.begin() + 120 + 42), (bytes{239, 1, 1, 1}));
    EXPECT_EQ(message[120 + 77], 1);
    EXPECT_EQ(message[120 + 78 + 19], 12);
    expect_all_closed();
}

TEST_F(FeedL2, NothingChangedIsNothingSent) {
    const std::string mdb = older();
    EXPECT_EQ(run({"l2", mdb, "--older", mdb, "--links", links()}), 0) << err;
    EXPECT_EQ(out, "vellfeed: nothing has changed since " + mdb + ": nothing was sent\n");
    EXPECT_TRUE(simulator.requests.empty());
    EXPECT_EQ(run({"l2", mdb, "--older", mdb, "--links", links(), "--quiet"}), 0);
    EXPECT_EQ(out, "");
}

TEST_F(FeedL2, TheOlderDatabaseMayHaveItsOwnLinks) {
    const std::vector<std::string> command = {"l2",      sample("snooping-2/mdb"),
                                              "--links", sample("snooping-2/links"),
                                              "--older", sample("snooping-1/mdb")};
    EXPECT_EQ(run(command), 1);
    // guest2 was taken away in between.
    EXPECT_THAT(err, HasSubstr("snooping-1/mdb.json: entry "));
    EXPECT_THAT(
        err,
        EndsWith("snooping-2/links.json has no interface \"guest2\"; give its own recorded "
                 "links with --older-links FILE\n"));
    EXPECT_TRUE(simulator.requests.empty());
    std::vector<std::string> with_links = command;
    with_links.insert(with_links.end(), {"--older-links", sample("snooping-1/links")});
    EXPECT_EQ(run(with_links), 0) << err;
    EXPECT_THAT(out, EndsWith("vellfeed: sent 14 deletions and 8 additions in 1 message\n"));
    EXPECT_EQ(simulator.requests[2].payload[3], 22);
}

TEST_F(FeedL2, NumbersPortsAlikeInBothDatabases) {
    const std::string bridge = write_file("numbered", R"([{"mdb":[
        {"index":2,"dev":"br10","port":"x","grp":"239.1.1.1","state":"temp"},
        {"index":2,"dev":"br10","port":"a","grp":"239.1.1.1","state":"temp"}]}])");
    EXPECT_EQ(run({"l2", bridge, "--older", older(), "--number-interfaces"}), 0) << err;
    // 2 is the bridge's, and a keeps the number that it got with the older one.
    EXPECT_EQ(out, "interface a is number 1\ninterface x is number 3\n"
                   "vellfeed: sent 1 deletion and 1 addition in 1 message\n");
    EXPECT_EQ(simulator.requests[2].payload[120 + 78 + 19], 3);
}

TEST_F(FeedL2, TakesSomeBridgesAndNamesTheirVlans) {
    const std::string mdb = write_file("bridges", R"([{"mdb":[
        {"index":3,"dev":"lan","port":"a","grp":"239.1.1.1","state":"temp"},
        {"index":4,"dev":"docker0","port":"veth7","grp":"ff02::6a","state":"temp"},
        {"index":2,"dev":"br10","port":"b","grp":"239.1.1.1","state":"temp"}],"router":{"docker0":[{"port":"veth7"}]}}])");
    EXPECT_EQ(run({"l2", mdb, "--links", links(), "--bridge", "lan", "--bridge", "br10", "--vlan",
                   "lan=77"}),
              0)
        << err;
    EXPECT_EQ(out, "vellfeed: left out 1 entry of another bridge\nvellfeed: sent 2 entries with 2 "
                   "ports in 1 message\n");
    EXPECT_EQ(simulator.requests[2].payload[8 + 27], 10);
    EXPECT_EQ(simulator.requests[2].payload[120 + 27], 77);
    start_over();
    EXPECT_EQ(run({"l2", mdb, "--links", links(), "--bridge", "lan"}), 1);
    EXPECT_THAT(err, HasSubstr("the bridge \"lan\" has no VLAN in its name"));
    EXPECT_TRUE(simulator.requests.empty());
    EXPECT_EQ(run({"l2", mdb, "--links", links(), "--bridge", "nal"}), 1);
    EXPECT_THAT(err, testing::HasSubstr("--bridge \"nal\": no such bridge is in " + mdb + " or " +
                                        links() + "\n"));
    EXPECT_EQ(run({"l2-compare", mdb, "--links", links(), "--vlan", "nal=7"}), 1);
    EXPECT_THAT(err, testing::HasSubstr("--vlan \"nal\": no such bridge is in "));
}

TEST_F(FeedL2, SendsNothingOfDatabasesThatAreWrong) {
    const std::string wrong =
        write_file("wrong", R"([{"mdb":[{"index":2,"dev":"br10","port":"a","grp":"239.1.1.1",
        "state":"temp"},{"index":2,"dev":"br10","port":"a","grp":7}]}])");
    const std::string error = "vellfeed: " + wrong +
                              ": entry 2 of 2 (/0/mdb/1/grp): expected the group, an IPv4, IPv6 or "
                              "MAC address, found the number 7\n";
    EXPECT_EQ(run({"l2", wrong, "--links", links()}), 1);
    EXPECT_EQ(err, error);
    EXPECT_EQ(run({"l2", older(), "--older", wrong, "--links", links()}), 1);
    EXPECT_EQ(err, error);
    EXPECT_EQ(run({"l2", "/nowhere/mdb.json"}), 1);
    EXPECT_THAT(err, StartsWith("vellfeed: /nowhere/mdb.json: cannot be opened: "));
    EXPECT_TRUE(simulator.requests.empty());
}

TEST_F(FeedL2, EachSendMayFail) {
    const std::vector<std::string> command = {"l2",    older(),           "--links",
                                              links(), "--message-bytes", "1"};
    // The registration, the begin marker, two messages, the end marker, the end of the download,
    // the deregistration. What comes of a marker is not told; the message behind it tells.
    const char *const went_away =
        "message 1 could not be sent: the switch went away; 0 of 2 records in 0 messages went out "
        "before";
    const char *const download = "the end of the download could not be sent: the switch went away";
    const std::string errors[] = {
        "no switch answers in /run/sim; start one with `vellsim run`, or point VELLSIM_RUN_DIR at "
        "its run directory",
        went_away,
        went_away,
        "message 2 could not be sent: the switch went away; 1 of 2 records in 1 message went out "
        "before",
        download,
        download,
        "everything was sent, but the switch went away before the client could deregister"};
    for (std::size_t i = 0; i < std::size(errors); ++i) {
        start_over();
        simulator.fail_send = i;
        EXPECT_EQ(run(command), 1);
        EXPECT_EQ(out, "");
        EXPECT_EQ(err, "vellfeed: " + errors[i] + "\n");
        EXPECT_EQ(simulator.requests.size(), i);
        expect_all_closed();
    }
}

TEST_F(FeedL2, ALostConnectionIsTold) {
    simulator.result_without_answer = -1;
    EXPECT_EQ(run({"l2", older(), "--links", links()}), 1);
    EXPECT_EQ(err, "vellfeed: everything was sent, but the switch closed the connection; `vellfeed "
                   "l2-compare` tells what "
                   "arrived\n");
}

class FeedL2Live : public FeedL2 {
protected:
    stand_in_programs programs;
};

TEST_F(FeedL2Live, TakesTheDatabasesAndLinksOfThisMachine) {
    programs.put("bridge", "[ \"$*\" = \"-j -d mdb show\" ] && cat " + newer());
    programs.put("ip", "[ \"$*\" = \"-j link show\" ] && cat " + links());
    EXPECT_EQ(run({"l2", "--live"}), 0) << err;
    EXPECT_EQ(out, "vellfeed: sent 1 entry with 2 ports in 1 message\n");
    start_over();
    EXPECT_EQ(run({"l2", "--live", "--older", older()}), 0) << err;
    EXPECT_EQ(out, "vellfeed: sent 1 deletion and 1 addition in 1 message\n");
}

TEST_F(FeedL2Live, AProgramThatFailsIsTold) {
    programs.put("bridge", "echo no such thing >&2; exit 3");
    EXPECT_EQ(run({"l2", "--live"}), 1);
    EXPECT_EQ(err, "vellfeed: `bridge -j -d mdb show` failed with exit code 3: no such thing\n");
    EXPECT_TRUE(simulator.requests.empty());
}

constexpr char held_text[] = R"({"l2":{"entries":[
    {"vlan":10,"group":"239.1.1.1","kind":"ipv4","source":null,"bridge":2,"permanent":false,"client":7,
     "ports":[{"if_index":11,"flags":0},{"if_index":12,"flags":0}]}]}})";

TEST_F(FeedL2, ComparesWithoutASwitchWhenItIsGivenWhatIsHeld) {
    EXPECT_EQ(
        run({"l2-compare", newer(), "--links", links(), "--held", write_file("held", held_text)}),
        0)
        << err;
    EXPECT_EQ(out, "all 1 fed entries arrived\n");
    EXPECT_TRUE(simulator.requests.empty());
}

TEST_F(FeedL2, AComparisonThatFailsSaysSo) {
    const std::vector<std::string> command = {
        "l2-compare", older(), "--links", links(), "--held", write_file("held", held_text)};
    EXPECT_EQ(run(command), 1);
    EXPECT_EQ(out, "(*, 239.1.1.1) in VLAN 10: ports: fed 11, held 11 12\n"
                   "(*, 239.1.1.2) in VLAN 10: missing: fed from entry 2, not held\n"
                   "of 2 fed entries 0 arrived, 1 differ, 1 are missing; 0 unexpected\n");
    std::vector<std::string> quiet = command;
    quiet.emplace_back("--quiet");
    EXPECT_EQ(run(quiet), 1);
    EXPECT_EQ(out, "");
}

TEST_F(FeedL2, HeldEntriesThatAreWrongAreRefused) {
    const std::string path = write_file("held", R"({"routes":[]})");
    EXPECT_EQ(run({"l2-compare", newer(), "--links", links(), "--held", path}), 1);
    EXPECT_EQ(err, "vellfeed: " + path +
                       ": expected a member \"l2\" (what is held), found only \"routes\"\n");
}

TEST_F(FeedL2, WrongUsageHasItsOwnExitCode) {
    const std::string mdb = older();
    expect_wrong_usage({
        {{"l2"}, "which database? Name a file, - for standard input, or --live for this machine"},
        {{"l2", mdb, "--live"}, "MDB excludes --live"},
        {{"l2", "--live", "--links", mdb}, "--live excludes --links"},
        {{"l2", "-", "--links", "-"}, "standard input (-) can be read only once"},
        {{"l2", "-", "--older", "-"}, "standard input (-) can be read only once"},
        {{"l2", mdb, "--older", "-", "--older-links", "-"},
         "standard input (-) can be read only once"},
        {{"l2", mdb, "--older-links", mdb}, "--older-links requires --older"},
        {{"l2", mdb, "--older", mdb, "--older-links", mdb, "--number-interfaces"},
         "--number-interfaces numbers the ports of one list of links; leave out --older-links"},
        {{"l2", mdb, "--value", "65536"}, "--value: 65536 is not a number from 0 to 65535"},
        {{"l2", mdb, "--value", "-1"}, "--value: -1 is not a number from 0 to 65535"},
        {{"l2", mdb, "--message-bytes", "0"},
         "--message-bytes: Value 0 not in range 1 to 16777216"},
        {{"l2", mdb, "--message-bytes", "16777217"},
         "--message-bytes: Value 16777217 not in range 1 to 16777216"},
        {{"l2", mdb, "--timeout", "-1"}, "--timeout: Value -1 not in range 0 to 2147483647"},
        {{"l2", mdb, "--vlan", "lan"},
         "--vlan lan: expected BRIDGE=N with a VLAN id N from 1 to 4094"},
        {{"l2", mdb, "--vlan", "=5"},
         "--vlan =5: expected BRIDGE=N with a VLAN id N from 1 to 4094"},
        {{"l2", mdb, "--vlan", "lan="},
         "--vlan lan=: expected BRIDGE=N with a VLAN id N from 1 to 4094"},
        {{"l2", mdb, "--vlan", "lan=0"},
         "--vlan lan=0: expected BRIDGE=N with a VLAN id N from 1 to 4094"},
        {{"l2", mdb, "--vlan", "lan=4095"},
         "--vlan lan=4095: expected BRIDGE=N with a VLAN id N from 1 to 4094"},
        {{"l2", mdb, "--vlan", "lan=5x"},
         "--vlan lan=5x: expected BRIDGE=N with a VLAN id N from 1 to 4094"},
        {{"l2", mdb, "--vlan", "lan=5", "--vlan", "lan=6"},
         "--vlan lan=6: the bridge has a VLAN already"},
        {{"l2", mdb, "--number-interfaces", "--segment", std::string(240, 'x')},
         "the segment name is 240 bytes long, 239 is the most (--segment)"},
        {{"l2-compare"},
         "which database? Name a file, - for standard input, or --live for this machine"},
        {{"l2-compare", "-", "--held", "-"}, "standard input (-) can be read only once"},
        {{"l2-compare", mdb, "--older", mdb}, "`vellfeed l2-compare` has no option --older"},
    });
}

} // namespace
} // namespace feed
