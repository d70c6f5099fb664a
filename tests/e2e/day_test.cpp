// A whole day of a switch, lived by one client of the library.
#include "tests/e2e/end_to_end.h"
#include "tests/e2e/recorded.h"

#include <fstream>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace {

using nlohmann::json;

// An LTL index's VLAN and interfaces, by name. Several may be equal.
using plain_ltls = std::multiset<std::pair<int, std::set<std::string>>>;

plain_ltls recorded_ltls(const json &database, const json &links) {
    std::map<std::string, int> indexes;
    for (const auto &link : links)
        indexes[link["ifname"]] = link["ifindex"];
    plain_ltls ltls;
    for (const auto &[key, entry] : recorded_groups(database)) {
        const int vlan = std::get<0>(key);
        std::set<std::string> names;
        for (const auto &port : entry.ports)
            names.insert(port.starts_with("br") ? "Vlan" + std::to_string(vlan)
                                                : switch_name_of(port, indexes.at(port)));
        ltls.emplace(vlan, names);
    }
    return ltls;
}

plain_ltls held_ltls(const json &rows) {
    plain_ltls ltls;
    for (const auto &row : rows) {
        std::set<std::string> names;
        for (const auto &one : row["interfaces"])
            names.insert(one["name"]);
        ltls.emplace(row["vlan"], names);
    }
    return ltls;
}

class Day : public end_to_end {
protected:
    command_result live(const std::vector<std::string> &options = {}) {
        std::vector<std::string> command = {"day"};
        for (const auto &[option, path] : files)
            command.insert(command.end(), {option, path});
        command.insert(command.end(), options.begin(), options.end());
        return vellfeed(command);
    }

    static void expect_everything_held(const command_result &day) {
        EXPECT_EQ(day.exit_code, 0) << day.out << day.err;
        EXPECT_NE(
            day.out.find("What was sent and what the service and the LTL manager hold agree.\n"),
            std::string::npos)
            << day.out;
        for (const char *row : {"routes                      29          29     29  yes\n",
                                "layer-2 entries             56          30     30  yes\n",
                                "counters asked              29          29     29  yes\n"})
            EXPECT_NE(day.out.find(row), std::string::npos) << row << day.out;

        const json clients = show("clients");
        ASSERT_EQ(clients.size(), 1u) << "one client does it all";
        EXPECT_EQ(clients[0]["state"], "deregistered");
        EXPECT_EQ(clients[0]["refused"], 0);
        EXPECT_EQ(show("routes").size(), 29u);
        EXPECT_EQ(show("l2")["entries"].size(), 30u);
        const plain_ltls ltls = held_ltls(show("ltl"));
        EXPECT_EQ(ltls.size(), 30u);
        EXPECT_EQ(ltls, recorded_ltls(sample_json("snooping-2/mdb.json"),
                                      sample_json("snooping-2/links.json")));
        EXPECT_GE(show("flood").size(), 7u);
    }

    std::string write_file(const std::string &name, const json &content) {
        const std::string path = directory / name;
        std::ofstream(path) << content;
        return path;
    }

    std::map<std::string, std::string> files = {
        {"--routes", sample("campus/routes.json")},
        {"--routes-links", sample("campus/links.json")},
        {"--mdb", sample("snooping-1/mdb.json")},
        {"--mdb-links", sample("snooping-1/links.json")},
        {"--later-mdb", sample("snooping-2/mdb.json")},
        {"--later-mdb-links", sample("snooping-2/links.json")},
        {"--ports", sample("flood-1/ports.json")},
        {"--later-ports", sample("flood-2/ports.json")}};
};

TEST_F(Day, EndsWithEverythingHeldThatWasSent) {
    start_switch();
    expect_everything_held(live());
}

TEST_F(Day, WithARefusedVlanSaysWhichFloodSetIsNotHeld) {
    start_switch({"--ltl-refuse-vlan", "80"}); // which comes later in the day, without a group
    const auto day = live();
    EXPECT_EQ(day.exit_code, 1);
    EXPECT_NE(day.out.find("flood sets: VLAN 80: missing"), std::string::npos)
        << day.out << day.err;
    EXPECT_NE(day.out.find("Of 5 kinds, 1 does not agree.\n"), std::string::npos) << day.out;
}

TEST_F(Day, OnASwitchThatHeldSomethingBeforeFindsIt) {
    start_switch();
    ASSERT_EQ(vellfeed({"ltl", "alloc", "--vlan", "77", "--tag", "9", "Eth3/7"}).exit_code, 0);
    const auto day = live();
    EXPECT_EQ(day.exit_code, 1);
    EXPECT_NE(day.out.find("LTL indexes: LTL 0x4000: unexpected"), std::string::npos)
        << day.out << day.err;
}

TEST_F(Day, DoesNotAgreeWhereFloodUpdatesWereRefused) {
    start_switch();
    ASSERT_EQ(vellfeed({"flood", sample("flood-2/ports.json")}).exit_code, 0);
    const auto day = live();
    EXPECT_EQ(day.exit_code, 1);
    EXPECT_NE(day.out.find("VLAN 10: refused: "), std::string::npos) << day.out;
    EXPECT_NE(day.out.find("requests were refused\n"), std::string::npos) << day.out;
    EXPECT_NE(day.out.find("Of 5 kinds, 1 does not agree.\n"), std::string::npos) << day.out;
}

TEST_F(Day, GoesOnWhenThePoolOfLtlIndexesIsExhausted) {
    start_switch({"--ltl-pool", "5"});
    const auto day = live();
    EXPECT_EQ(day.exit_code, 1);
    EXPECT_NE(day.out.find("vellfeed: the LTL manager refused the LTL allocation for VLAN "),
              std::string::npos)
        << day.out << day.err;
    EXPECT_NE(day.out.find(" requests were refused\n"), std::string::npos) << day.out;
    EXPECT_NE(day.out.find("Of 5 kinds, 1 does not agree.\n"), std::string::npos) << day.out;
    EXPECT_NE(day.out.find("          30      5  no\n"), std::string::npos) << day.out;
    EXPECT_EQ(show("ltl").size(), 5u);
}

TEST_F(Day, WithARefusedVlanThatHasGroupsSaysWhichLtlIndexesWereRefused) {
    start_switch({"--ltl-refuse-vlan", "10"});
    const auto day = live();
    EXPECT_EQ(day.exit_code, 1);
    EXPECT_NE(day.out.find("refused the LTL allocation for VLAN 10 with tag "), std::string::npos)
        << day.out << day.err;
    EXPECT_NE(day.out.find("flood sets: VLAN 10: missing"), std::string::npos) << day.out;
    EXPECT_NE(day.out.find("Of 5 kinds, 2 do not agree.\n"), std::string::npos) << day.out;
}

TEST_F(Day, LivedTwiceAsksForTheCountersTwice) {
    start_switch();
    ASSERT_EQ(live().exit_code, 0);
    const auto again = live();
    EXPECT_EQ(again.exit_code, 1);
    EXPECT_NE(again.out.find("counters asked              29          29     29  no\n"),
              std::string::npos)
        << again.out;
    EXPECT_NE(again.out.find(": requests: fed 1, held 2\n"), std::string::npos) << again.out;
    EXPECT_NE(again.out.find("counters asked: and 19 more lines\n"), std::string::npos)
        << again.out;
}

class DayWithAnswers : public Day, public testing::WithParamInterface<std::vector<std::string>> {};

TEST_P(DayWithAnswers, EndsWithEverythingHeldAllTheSame) {
    start_switch(GetParam());
    expect_everything_held(live());
}

INSTANTIATE_TEST_SUITE_P(LateOrTwice, DayWithAnswers,
                         testing::Values(std::vector<std::string>{"--ack", "twice"},
                                         std::vector<std::string>{"--ltl-answer", "twice"},
                                         std::vector<std::string>{"--answer", "twice"},
                                         std::vector<std::string>{"--ack", "twice", "--answer",
                                                                  "twice", "--ltl-answer", "twice"},
                                         std::vector<std::string>{"--ltl-answer", "late:20",
                                                                  "--answer", "late:20"}));

TEST_F(Day, EndsWhenAnAnswerNeverComes) {
    start_switch({"--ltl-answer", "never"});
    const auto day = live({"--timeout", "100"});
    EXPECT_EQ(day.exit_code, 1);
    EXPECT_NE(day.err.find("did not answer the flood update within 100 ms"), std::string::npos)
        << day.err;
    EXPECT_NE(day.err.find("which `vellsim show flood` tells"), std::string::npos) << day.err;
    EXPECT_EQ(show("clients").at(0)["state"], "deregistered");
}

// Ports named after their places in the switch are these places for the LTL indexes as they are for
// the flood sets.
TEST_F(Day, KnowsAPortByItsPlaceInTheSwitchThroughout) {
    const json links = json::array({{{"ifindex", 2}, {"ifname", "br10"}},
                                    {{"ifindex", 17}, {"ifname", "lan1"}},
                                    {{"ifindex", 18}, {"ifname", "po1"}},
                                    {{"ifindex", 19}, {"ifname", "eth3-7"}}});
    json groups = json::array();
    json ports = json::array();
    for (const char *name : {"lan1", "po1", "eth3-7"}) {
        groups.push_back({{"index", 2},
                          {"dev", "br10"},
                          {"port", name},
                          {"grp", "239.1.1.1"},
                          {"state", "temp"},
                          {"flags", json::array()}});
        const int index = name == std::string("lan1") ? 17 : name == std::string("po1") ? 18 : 19;
        ports.push_back(
            {{"ifindex", index}, {"ifname", name}, {"master", "br10"}, {"mcast_flood", true}});
    }
    const json database = json::array({{{"mdb", groups}, {"router", json::object()}}});
    files["--mdb"] = files["--later-mdb"] = write_file("mdb.json", database);
    files["--mdb-links"] = files["--later-mdb-links"] = write_file("links.json", links);
    files["--ports"] = files["--later-ports"] = write_file("ports.json", ports);
    start_switch();
    const auto day = live();
    EXPECT_EQ(day.exit_code, 0) << day.out << day.err;
    EXPECT_EQ(held_ltls(show("ltl")), (plain_ltls{{10, {"Eth3/7", "Po1", "if17"}}}));
    EXPECT_EQ(held_ltls(show("flood")), (plain_ltls{{10, {"Eth3/7", "Po1", "if17"}}}));
}

TEST_F(Day, TakesOtherBridgesAsItIsTold) {
    json database = json::array({{{"mdb", json::array()}, {"router", json::object()}}});
    database[0]["mdb"].push_back({{"index", 2},
                                  {"dev", "lan"},
                                  {"port", "eth1-1"},
                                  {"grp", "239.1.1.1"},
                                  {"state", "temp"},
                                  {"flags", json::array()}});
    const json links =
        json::array({{{"ifindex", 2}, {"ifname", "lan"}}, {{"ifindex", 17}, {"ifname", "eth1-1"}}});
    const json ports = json::array(
        {{{"ifindex", 17}, {"ifname", "eth1-1"}, {"master", "lan"}, {"mcast_flood", true}},
         {{"ifindex", 18}, {"ifname", "eth1-2"}, {"master", "wan"}, {"mcast_flood", true}}});
    files["--mdb"] = files["--later-mdb"] = write_file("mdb.json", database);
    files["--mdb-links"] = files["--later-mdb-links"] = write_file("links.json", links);
    files["--ports"] = files["--later-ports"] = write_file("ports.json", ports);
    start_switch();
    const auto unknown = live();
    EXPECT_EQ(unknown.exit_code, 1);
    EXPECT_NE(unknown.err.find("name the VLAN with --vlan "), std::string::npos) << unknown.err;
    const auto mistyped = live({"--vlan", "lan=7", "--bridge", "lna"});
    EXPECT_NE(mistyped.err.find("--bridge \"lna\": no such bridge is in the recordings"),
              std::string::npos)
        << mistyped.err;
    EXPECT_EQ(show("clients").size(), 0u);
    const auto day = live({"--vlan", "lan=7", "--bridge", "lan"});
    EXPECT_EQ(day.exit_code, 0) << day.out << day.err;
    EXPECT_EQ(held_ltls(show("ltl")), (plain_ltls{{7, {"Eth1/1"}}}));
}

TEST_F(Day, FindsAnIndexThatIsTooLargeBeforeItSendsAnything) {
    json links = sample_json("snooping-2/links.json");
    for (auto &link : links)
        if (link["ifname"] == "lan1")
            link["ifindex"] = 67108864;
    files["--later-mdb-links"] = write_file("links.json", links);
    start_switch();
    const auto day = live();
    EXPECT_EQ(day.exit_code, 1);
    EXPECT_NE(day.err.find("the index 67108864 of the port \"lan1\" is too large"),
              std::string::npos)
        << day.err;
    EXPECT_EQ(show("clients").size(), 0u);
}

TEST_F(Day, SendsNothingWhenARecordingIsWrong) {
    start_switch();
    files["--mdb"] = sample("snooping-1/links.json");
    const auto day = live();
    EXPECT_EQ(day.exit_code, 1);
    EXPECT_NE(day.err.find("snooping-1/links.json: entry 1 of 27 (/0): expected a member \"mdb\" (an "
                           "array of entries), found only \"address\", "),
              std::string::npos)
        << day.err;
    EXPECT_EQ(show("clients").size(), 0u);
}

TEST_F(Day, NamesItsOwnOptionsWhereLinksAreMissing) {
    start_switch();
    files["--mdb-links"] = write_file("links.json", json::array());
    EXPECT_NE(live().err.find("give its own recorded links with --mdb-links FILE"),
              std::string::npos);
    files["--mdb-links"] = sample("snooping-1/links.json");
    files["--later-mdb-links"] = write_file("links.json", json::array());
    const auto day = live();
    EXPECT_NE(day.err.find("give the links that were recorded with this table\n"),
              std::string::npos)
        << day.err;
}

TEST_F(Day, ReadsStandardInputOnce) {
    start_switch();
    files["--ports"] = files["--later-ports"] = "-";
    const auto day = live();
    EXPECT_EQ(day.exit_code, 2);
    EXPECT_NE(day.err.find("standard input (-) can be read only once"), std::string::npos)
        << day.err;
}

TEST_F(Day, WithoutASwitchSaysSo) {
    const auto day = live();
    EXPECT_EQ(day.exit_code, 1);
    EXPECT_NE(day.err.find("vellsim run"), std::string::npos) << day.err;
    EXPECT_EQ(day.out.find("registered"), std::string::npos) << day.out;
}

} // namespace
