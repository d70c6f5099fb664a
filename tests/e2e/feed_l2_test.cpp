// Recorded snooping databases, fed with vellfeed: what the switch holds afterwards is what the
// kernel printed, entry by entry and port by port. And the counters of routes, asked for and
// cleared from the command line.
#include "tests/e2e/end_to_end.h"
#include "tests/e2e/recorded.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <map>
#include <string>
#include <vector>

namespace {

using nlohmann::json;
using testing::HasSubstr;

const std::string routers =
    "vellfeed: left out 3 router ports: a layer-2 entry has no place for them\n";
std::string left_out(int ports) {
    return fmt::format("vellfeed: left out {} ports that the kernel does not send to: blocked, or "
                       "for listed sources only\n",
                       ports);
}

plain_entries held(const json &l2, const json &links) {
    std::map<int, std::string> names;
    for (const auto &link : links)
        names[link["ifindex"]] = link["ifname"];
    plain_entries entries;
    for (const auto &row : l2["entries"]) {
        const std::string source = row["source"].is_null() ? "" : row["source"].get<std::string>();
        plain_entry &entry = entries[{row["vlan"], row["group"], source}];
        entry.permanent = row["permanent"];
        for (const auto &port : row["ports"]) {
            const std::string name = names.at(port["if_index"]);
            const bool is_bridge = name.starts_with("br");
            EXPECT_EQ(port["flags"], is_bridge ? 4 : 0) << name;
            EXPECT_TRUE(entry.ports.insert(name).second) << name << " twice";
        }
    }
    return entries;
}

class FeedL2 : public end_to_end, public testing::WithParamInterface<recording> {
protected:
    std::string database() const { return sample(GetParam().name + "/mdb.json"); }
    std::string links() const { return sample(GetParam().name + "/links.json"); }
    plain_entries expected() const {
        return recorded_groups(sample_json(GetParam().name + "/mdb.json"));
    }
    plain_entries held_now() {
        return held(show("l2"), sample_json(GetParam().name + "/links.json"));
    }
};

TEST_P(FeedL2, EveryEntryArrivesAsRecorded) {
    start_switch();
    const auto fed = vellfeed({"l2", database(), "--links", links()});
    ASSERT_EQ(fed.exit_code, 0) << fed.err;
    EXPECT_EQ(fed.out, GetParam().said);
    EXPECT_EQ(held_now(), expected());
}

TEST_P(FeedL2, ManySmallMessagesSayTheSameBetweenTheirMarkers) {
    start_switch();
    ASSERT_EQ(vellfeed({"l2", database(), "--links", links(), "--message-bytes", "300"}).exit_code,
              0);
    EXPECT_EQ(held_now(), expected());

    const json batches = show("l2")["batches"];
    ASSERT_EQ(batches.size(), 1u);
    EXPECT_GE(batches[0]["messages"].get<std::size_t>(), 10u);
    EXPECT_EQ(batches[0]["records"], expected().size());
    EXPECT_FALSE(batches[0]["ended"].is_null());
    EXPECT_EQ(show("clients").at(0)["refused"], 0);
}

TEST_P(FeedL2, FeedingTwiceHoldsEveryEntryOnce) {
    start_switch();
    for (int round = 0; round < 2; ++round)
        ASSERT_EQ(vellfeed({"l2", database(), "--links", links()}).exit_code, 0);
    EXPECT_EQ(held_now(), expected());
}

TEST_P(FeedL2, CompareAgreesAndNamesWhatIsMissing) {
    start_switch();
    ASSERT_EQ(vellfeed({"l2", database(), "--links", links()}).exit_code, 0);
    const auto shown = vellsim({"show", "l2", "--json"});
    const auto compare = [this](const std::string &held) {
        return vellfeed({"l2-compare", database(), "--links", links(), "--held", "-"}, held);
    };
    const auto agreed = compare(shown.out);
    EXPECT_EQ(agreed.exit_code, 0);
    EXPECT_EQ(agreed.out, fmt::format("all {} fed entries arrived\n", expected().size()));

    json fewer = json::parse(shown.out);
    const std::string group = fewer["l2"]["entries"].at(3)["group"];
    fewer["l2"]["entries"].erase(3);
    fewer["matched"] = fewer["matched"].get<std::size_t>() - 1;
    const auto missing = compare(fewer.dump());
    EXPECT_EQ(missing.exit_code, 1);
    EXPECT_THAT(missing.out, HasSubstr(", " + group + ") in VLAN "));
    EXPECT_THAT(missing.out, HasSubstr(fmt::format("of {} fed entries {} arrived, 0 differ, 1 ",
                                                   expected().size(), expected().size() - 1)));
}

INSTANTIATE_TEST_SUITE_P(
    RecordedDatabases, FeedL2,
    testing::Values(
        recording{"snooping-1",
                  routers + left_out(4) + "vellfeed: sent 34 entries with 51 ports in 1 message\n"},
        recording{"snooping-2",
                  routers + left_out(3) + "vellfeed: sent 30 entries with 45 ports in 1 message\n"},
        recording{"stadium", "vellfeed: sent 400 entries with 1800 ports in 2 messages\n"}),
    [](const auto &database) {
        std::string name = database.param.name;
        std::erase(name, '-');
        return name;
    });

class L2Changes : public end_to_end {};

TEST_F(L2Changes, TheDifferenceToAnOlderDatabaseLeavesTheNewerOne) {
    start_switch();
    const std::string older = sample("snooping-1/mdb.json"),
                      older_links = sample("snooping-1/links.json");
    const std::string newer = sample("snooping-2/mdb.json"),
                      newer_links = sample("snooping-2/links.json");
    ASSERT_EQ(vellfeed({"l2", older, "--links", older_links}).exit_code, 0);
    const auto fed = vellfeed(
        {"l2", newer, "--links", newer_links, "--older", older, "--older-links", older_links});
    ASSERT_EQ(fed.exit_code, 0) << fed.err;
    EXPECT_EQ(fed.out,
              routers + left_out(3) + "vellfeed: sent 14 deletions and 8 additions in 1 message\n");

    const auto expected = recorded_groups(sample_json("snooping-2/mdb.json"));
    ASSERT_NE(expected, recorded_groups(sample_json("snooping-1/mdb.json")));
    EXPECT_EQ(held(show("l2"), sample_json("snooping-2/links.json")), expected);
    EXPECT_EQ(show("l2")["batches"].at(1)["records"], 14 + 8);
}

class SnoopingClient : public end_to_end {};

TEST_F(SnoopingClient, LeavesTheGroupsItAdded) {
    start_switch();
    const auto run = run_program({SNOOPING_CLIENT_PATH});
    ASSERT_EQ(run.exit_code, 0) << run.err;
    const json l2 = show("l2");
    ASSERT_EQ(l2["entries"].size(), 3u);
    EXPECT_EQ(l2["entries"][0]["group"], "239.1.1.1");
    EXPECT_TRUE(l2["entries"][0]["source"].is_null());
    EXPECT_EQ(
        l2["entries"][0]["ports"],
        json::parse(
            R"([{"if_index":5,"name":"0x00000005","flags":0},{"if_index":8,"name":"0x00000008","flags":0}])"));
    EXPECT_EQ(l2["entries"][1]["ports"],
              json::parse(R"([{"if_index":5,"name":"0x00000005","flags":0}])"));
    EXPECT_EQ(
        l2["entries"][2]["ports"],
        json::parse(
            R"([{"if_index":5,"name":"0x00000005","flags":0},{"if_index":7,"name":"0x00000007","flags":0}])"));
    EXPECT_EQ(l2["download_complete"].size(), 1u);
    EXPECT_EQ(show("clients").at(0)["refused"], 0);
}

TEST_F(SnoopingClient, SendsABatchOfTwoMessagesAndOneBetweenItsOwnMarkers) {
    start_switch();
    const auto run = run_program({SNOOPING_CLIENT_PATH});
    ASSERT_EQ(run.exit_code, 0) << run.err;
    const json l2 = show("l2");
    ASSERT_EQ(l2["batches"].size(), 2u);
    EXPECT_EQ(l2["batches"][0]["messages"], 2);
    EXPECT_EQ(l2["batches"][0]["records"], 3);
    EXPECT_EQ(l2["batches"][1]["messages"], 1);
    EXPECT_EQ(l2["batches"][1]["records"], 1);
    for (const json &batch : l2["batches"]) {
        EXPECT_TRUE(batch["begun"].is_string()) << batch;
        EXPECT_TRUE(batch["ended"].is_string()) << batch;
    }
    EXPECT_EQ(l2["other_markers"].size(), 0u);
}

class Counters : public end_to_end {
protected:
    void feed_routes() {
        ASSERT_EQ(vellfeed({"routes", sample("campus/routes.json"), "--links",
                            sample("campus/links.json")})
                      .exit_code,
                  0);
    }
    command_result count(const std::string &packets) {
        return vellsim(
            {"count", "--source", "10.20.0.5", "--group", "224.0.1.129", "--packets", packets});
    }
    std::string ask(const std::vector<std::string> &options = {}) {
        std::vector<std::string> command = {"stats", "--source", "10.20.0.5", "--group",
                                            "224.0.1.129"};
        command.insert(command.end(), options.begin(), options.end());
        const auto asked = vellfeed(command);
        EXPECT_EQ(asked.exit_code, 0) << asked.err;
        return asked.out;
    }
};

TEST_F(Counters, AreAnsweredAndCleared) {
    start_switch();
    feed_routes();
    EXPECT_NE(ask().find(": 0 packets"), std::string::npos);
    ASSERT_EQ(count("41").exit_code, 0);
    ASSERT_EQ(count("1").exit_code, 0);
    EXPECT_NE(ask().find(": 42 packets"), std::string::npos);
    EXPECT_NE(ask({"--clear"}).find(": 42 packets"), std::string::npos)
        << "the answer is from before the clearing";
    EXPECT_NE(ask().find(": 0 packets"), std::string::npos);
    ASSERT_EQ(count("7").exit_code, 0);
    ask({"--clear-only"});
    EXPECT_NE(ask().find(": 0 packets"), std::string::npos);
}

TEST_F(Counters, OfARouteThatIsNotThereAreAnError) {
    start_switch();
    feed_routes();
    const auto asked = vellfeed({"stats", "--source", "10.9.9.9", "--group", "239.9.9.9"});
    EXPECT_EQ(asked.exit_code, 1);
    EXPECT_NE(asked.err.find("no route (10.9.9.9, 239.9.9.9)"), std::string::npos) << asked.err;
}

TEST_F(Counters, OfIpv6RoutesAreAnsweredToo) {
    start_switch();
    const std::vector<std::string> route = {"--source", "2001:db8::1", "--group", "ff0e::101"};
    std::vector<std::string> counted = {"count", "--packets", "5", "--bytes", "700"},
                             asked = {"stats", "--clear-only"};
    counted.insert(counted.end(), route.begin(), route.end());
    ASSERT_EQ(vellsim(counted).exit_code, 0);
    std::vector<std::string> stats = {"stats"};
    stats.insert(stats.end(), route.begin(), route.end());
    EXPECT_NE(vellfeed(stats).out.find(": 5 packets, 700 bytes"), std::string::npos);
    asked.insert(asked.end(), route.begin(), route.end());
    ASSERT_EQ(vellfeed(asked).exit_code, 0);
    EXPECT_NE(vellfeed(stats).out.find(": 0 packets, 0 bytes"), std::string::npos);
}

TEST_F(Counters, ASwitchThatDoesNotAnswerIsAnErrorInTime) {
    start_switch({"--answer", "never"});
    feed_routes();
    const auto asked =
        vellfeed({"stats", "--source", "10.20.0.5", "--group", "224.0.1.129", "--timeout", "100"});
    EXPECT_EQ(asked.exit_code, 1);
    EXPECT_EQ(asked.err,
              "vellfeed: the switch did not answer the statistics request within 100 ms; "
              "if it is only slow, wait longer with --timeout\n");
}

class Overlay : public end_to_end {};

TEST_F(Overlay, NotificationsArriveWithoutARegistration) {
    start_switch();
    ASSERT_EQ(vellfeed({"overlay", "disable"}).exit_code, 0);
    ASSERT_EQ(vellfeed({"overlay", "vlans", "10", "20"}).exit_code, 0);
    ASSERT_EQ(vellfeed({"overlay", "route", "7", "0a0b"}).exit_code, 0);
    const json overlay = json::parse(vellsim({"show", "overlay", "--json"}).out);
    EXPECT_EQ(overlay["feature"], "disabled");
    EXPECT_EQ(overlay["vlans_disabled"], json({10, 20}));
    EXPECT_EQ(overlay["route_updates"], 1);
    EXPECT_EQ(overlay["overlay"].at(0)["type"], 7);
    EXPECT_EQ(overlay["overlay"].at(0)["body"], "0a0b");
    EXPECT_EQ(show("clients").size(), 0u);
}

} // namespace
