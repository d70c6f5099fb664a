// Snapshots one after the other, and parts of them: the switch has what the last one says, and keeps what
// they say nothing about.
#include "tests/e2e/end_to_end.h"

#include <algorithm>
#include <map>

namespace {

using nlohmann::json;

class SentSequence : public end_to_end {
protected:
    const std::string morning = sample("day/1");
    const std::string noon = sample("day/2");
    const std::string night = sample("day/3");

    // How many records the last client has sent, by request.
    static std::map<std::string, std::size_t> records_sent() {
        std::map<std::string, std::size_t> records;
        const json requests = show("clients").back()["requests"];
        for (const json &request : requests) {
            records[request["request"]] = request["records"];
        }
        return records;
    }

    // The index of each LTL, by VLAN and tag.
    static std::map<std::pair<int, std::uint32_t>, int> ltl_indexes() {
        std::map<std::pair<int, std::uint32_t>, int> indexes;
        for (const json &row : show("ltl")) {
            indexes[{row["vlan"], row["tag"]}] = row["index"];
        }
        return indexes;
    }

    // Some of the tables.
    static plain_tables only(plain_tables tables, bool routes, bool groups, bool floods,
                             bool ltls) {
        return {routes ? tables.routes : std::set<std::string>(),
                groups ? tables.groups : std::set<std::string>(),
                floods ? tables.floods : std::set<std::string>(),
                ltls ? tables.ltls : std::multiset<std::string>()};
    }
};

TEST_F(SentSequence, ADayEndsWithTheNightAndEachHourIsTheDifference) {
    start_switch();
    EXPECT_EQ(fed({"send", morning, noon, night}),
              morning + ": floods 2 added; groups 12 added; ltls 10 added; routes 8 added\n" +
                  noon +
                  ": floods 1 added, 2 changed; groups 1 added, 5 changed, 1 removed; "
                  "ltls 2 added, 4 changed, 1 removed; routes 2 added, 1 changed, 1 removed\n" +
                  night +
                  ": floods 1 removed; groups 3 changed, 4 removed; "
                  "ltls 3 changed, 3 removed; routes 7 removed\n");
    EXPECT_EQ(installed(), recorded("day/3"));
    const json clients = show("clients");
    ASSERT_EQ(clients.size(), 1u) << "one client does it all";
    EXPECT_EQ(clients[0]["state"], "deregistered");
    EXPECT_EQ(clients[0]["refused"], 0);
    EXPECT_EQ(clients[0]["missed_deletes"], 0);
    EXPECT_EQ(clients[0]["route_records"], 8 + 4 + 7);
}

TEST_F(SentSequence, WhatTheSwitchHasIsNotSentAgain) {
    start_switch();
    fed({"send", morning});
    const auto before = ltl_indexes();
    fed({"send", "--from", morning, noon});
    EXPECT_EQ(installed(), recorded("day/2"));
    const auto records = records_sent();
    EXPECT_EQ(records.at("route update"), 4u);
    EXPECT_EQ(records.at("flood LTL update"), 3u);
    EXPECT_EQ(records.at("LTL allocation"), 2u);
    EXPECT_EQ(records.at("LTL modification"), 4u);
    EXPECT_EQ(records.at("LTL release"), 1u);
    int kept = 0;
    for (const auto &[key, index] : ltl_indexes()) {
        if (const auto known = before.find(key); known != before.end()) {
            EXPECT_EQ(index, known->second) << "VLAN " << key.first << " tag " << key.second;
            ++kept;
        }
    }
    EXPECT_EQ(kept, 9) << "an index stays with its group";
}

TEST_F(SentSequence, ToAnyOtherSnapshotAndBackLeavesTheLastOne) {
    start_switch();
    const std::vector<std::pair<std::string, std::string>> pairs = {
        {"snooping-1", "snooping-2"}, {"flood-1", "flood-2"}, {"day/3", "day/1"}};
    for (const auto &[one, other] : pairs) {
        ASSERT_NE(recorded(one), recorded(other));
        fed({"send", sample(one), sample(other)});
        EXPECT_EQ(installed(), recorded(other));
        fed({"send", "--from", sample(other), sample(one)});
        EXPECT_EQ(installed(), recorded(one));
        fed({"remove", sample(one)});
        EXPECT_EQ(installed(), plain_tables());
    }
}

TEST_F(SentSequence, SnapshotsOfOtherTablesAddUp) {
    start_switch();
    fed({"send", sample("campus"), sample("snooping-1"), sample("flood-1")});
    plain_tables all = recorded("snooping-1");
    all.routes = recorded("campus").routes;
    all.floods = recorded("flood-1").floods;
    EXPECT_EQ(installed(), all);
    fed({"remove", sample("snooping-1")});
    EXPECT_EQ(installed(), only(all, true, false, true, false));
    EXPECT_EQ(vellfeed({"compare", sample("campus"), "--quiet"}).exit_code, 0);
    EXPECT_EQ(vellfeed({"compare", sample("flood-1"), "--quiet"}).exit_code, 0);
}

TEST_F(SentSequence, CompareNamesEachDifferenceAndRepairSendsIt) {
    start_switch();
    fed({"send", morning, "--quiet"});
    const command_result compared = vellfeed({"compare", noon, "--quiet"});
    EXPECT_EQ(compared.exit_code, 1);
    EXPECT_EQ(compared.out + compared.err, "");
    const std::string differences =
        "VLAN 10: interfaces: installed Po1 Eth1/1 Eth1/2 Eth1/3 Eth1/4, "
        "wanted Po1 Eth1/1 Eth1/2 Eth1/3 Eth1/5\n"
        "VLAN 20: missing\n"
        "VLAN 30: interfaces: installed if123 Eth3/1 Eth3/2, wanted if124 Eth3/1 Eth3/3\n"
        "flood sets: 0 of 3 are installed, 2 differ, 1 is missing\n"
        "(*, 239.192.20.1) in VLAN 10: ports: installed Eth1/2 Eth1/4, wanted Eth1/2 Eth1/5\n"
        "(*, 239.192.20.2) in VLAN 10: ports: installed Eth1/3, wanted Po1 Eth1/3\n"
        "(198.51.100.7, 232.1.1.9) in VLAN 20: ports: installed Eth2/1 Eth2/3, "
        "wanted Eth2/1 Eth2/2 Eth2/3\n"
        "(*, 239.192.10.1) in VLAN 20: ports: installed Eth2/1 Eth2/2 Eth2/3, "
        "wanted Eth2/1 Eth2/2\n"
        "(*, 239.192.10.4) in VLAN 20: missing\n"
        "(*, 239.192.20.3) in VLAN 30: ports: installed none, wanted if124\n"
        "(*, ff0e::101) in VLAN 30: unexpected\n"
        "groups: 6 of 12 are installed, 5 differ, 1 is missing; 1 unexpected\n"
        "(10.50.30.102, 239.192.20.2) in table 253: oifs: installed if10, wanted if10 if20\n"
        "(10.60.0.11, 239.192.10.3) in table 253: unexpected\n"
        "(10.60.0.11, 239.192.10.4) in table 253: missing\n"
        "(203.0.113.41, 232.7.200.1) in table 253: missing\n"
        "routes: 6 of 9 are installed, 1 differs, 2 are missing; 1 unexpected\n";
    const std::vector<std::string> all_but_ltls = {"--only", "routes,groups,floods"};
    for (const char *command : {"compare", "repair"}) {
        std::vector<std::string> line = {command, noon};
        line.insert(line.end(), all_but_ltls.begin(), all_but_ltls.end());
        if (command == std::string("repair")) {
            line.emplace_back("--dry-run");
        }
        const command_result result = vellfeed(line);
        EXPECT_EQ(result.exit_code, command == std::string("repair") ? 0 : 1);
        EXPECT_EQ(result.out, differences) << command;
    }
    EXPECT_EQ(show("clients").size(), 1u) << "nothing was sent so far but the morning";
    EXPECT_EQ(fed({"repair", noon}),
              noon + ": floods 1 added, 2 changed; groups 1 added, 5 changed, 1 removed; "
                     "ltls 2 added, 4 changed, 1 removed; routes 2 added, 1 changed, 1 removed\n");
    EXPECT_EQ(installed(), recorded("day/2"));
}

TEST_F(SentSequence, ADryRunGoesThroughTheSequence) {
    start_switch();
    fed({"send", night});
    EXPECT_EQ(fed({"send", "--dry-run", "--only", "routes", noon, sample("snooping-1"), night}),
              "(10.50.10.20, 239.255.12.34) in table 253: missing\n"
              "(10.50.30.101, 239.192.20.1) in table 253: missing\n"
              "(10.50.30.102, 239.192.20.2) in table 253: missing\n"
              "(10.60.0.11, 239.192.10.1) in table 253: missing\n"
              "(10.60.0.11, 239.192.10.2) in table 253: missing\n"
              "(10.60.0.11, 239.192.10.4) in table 253: missing\n"
              "(198.51.100.7, 232.1.1.9) in table 253: missing\n"
              "(203.0.113.40, 232.7.200.1) in table 253: missing\n"
              "(203.0.113.41, 232.7.200.1) in table 253: missing\n"
              "routes: 0 of 9 are installed, 9 are missing\n"
              "(10.50.10.20, 239.255.12.34) in table 253: unexpected\n"
              "(10.50.30.102, 239.192.20.2) in table 253: unexpected\n"
              "(10.60.0.11, 239.192.10.2) in table 253: unexpected\n"
              "(10.60.0.11, 239.192.10.4) in table 253: unexpected\n"
              "(198.51.100.7, 232.1.1.9) in table 253: unexpected\n"
              "(203.0.113.40, 232.7.200.1) in table 253: unexpected\n"
              "(203.0.113.41, 232.7.200.1) in table 253: unexpected\n"
              "routes: all 2 are installed; 7 unexpected\n");
    EXPECT_EQ(installed(), recorded("day/3"));
    EXPECT_EQ(show("clients").size(), 1u);
}

TEST_F(SentSequence, OnlyNamesTheTablesThatAreTouched) {
    start_switch();
    const plain_tables first = recorded("day/1");
    const plain_tables last = recorded("day/3");
    fed({"send", morning});
    fed({"send", "--from", morning, night, "--only", "groups,ltls"});
    plain_tables mixed = only(first, true, false, true, false);
    mixed.groups = last.groups;
    mixed.ltls = last.ltls;
    EXPECT_EQ(installed(), mixed);
    fed({"repair", night, "--only", "routes"});
    mixed.routes = last.routes;
    EXPECT_EQ(installed(), mixed);
    fed({"remove", morning, "--only", "floods"});
    mixed.floods.clear();
    EXPECT_EQ(installed(), mixed);
}

TEST_F(SentSequence, ABridgeWhoseRowsAreAllGoneIsRepaired) {
    start_switch();
    fed({"send", morning});
    const std::string empty = snapshot("empty", "links.json", R"([{"ifindex":2,"ifname":"br10"}])");
    snapshot("empty", "mdb.json", R"([{"mdb":[],"router":{}}])");
    snapshot("empty", "ports.json", "[]");
    fed({"repair", empty, "--bridge", "br10"});
    plain_tables without = recorded("day/1");
    const auto is_in_vlan_10 = [](const std::string &row) { return row.starts_with("VLAN 10:"); };
    EXPECT_GT(std::erase_if(without.groups, is_in_vlan_10), 0u);
    EXPECT_GT(std::erase_if(without.floods, is_in_vlan_10), 0u);
    EXPECT_GT(std::erase_if(without.ltls, is_in_vlan_10), 0u);
    EXPECT_EQ(installed(), without);
}

TEST_F(SentSequence, OneBridgeLeavesTheOthers) {
    start_switch();
    fed({"send", morning});
    fed({"repair", night, "--bridge", "br20", "--only", "groups,floods,ltls"});
    plain_tables mixed = recorded("day/1");
    const plain_tables last = recorded("day/3");
    const auto take_vlan_20 = [](auto &rows, const auto &from) {
        std::erase_if(rows, [](const std::string &row) { return row.starts_with("VLAN 20:"); });
        for (const std::string &row : from) {
            if (row.starts_with("VLAN 20:")) {
                rows.insert(row);
            }
        }
    };
    take_vlan_20(mixed.groups, last.groups);
    take_vlan_20(mixed.floods, last.floods);
    take_vlan_20(mixed.ltls, last.ltls);
    EXPECT_NE(mixed, recorded("day/1"));
    EXPECT_EQ(installed(), mixed);
}

TEST_F(SentSequence, WhatOtherClientsSentIsLeftAlone) {
    start_switch();
    ASSERT_EQ(example("route_client").exit_code, 0);
    ASSERT_EQ(example("snooping_client").exit_code, 0);
    ASSERT_EQ(example("flood_client").exit_code, 0);
    fed({"ltl", "alloc", "--vlan", "77", "--tag", "9", "Eth3/7"});
    const plain_tables others = installed();
    EXPECT_EQ(others.routes.size(), 3u);
    EXPECT_EQ(others.groups.size(), 3u);
    EXPECT_EQ(others.floods.size(), 2u);
    EXPECT_EQ(others.ltls.size(), 1u);
    for (const char *name : {"metro", "snooping-1", "stadium"}) {
        fed({"send", sample(name), "--uuid", "501"});
        EXPECT_EQ(show("clients").back()["uuid"], 501);
        fed({"remove", sample(name)});
        EXPECT_EQ(installed(), others) << name;
    }
}

TEST_F(SentSequence, TheFloodSetsOfAllVlansGoOutInOneRequest) {
    json ports = json::array();
    for (int vlan = 1; vlan <= 4094; ++vlan) {
        for (int n = 0; n < 4; ++n) {
            ports.push_back({{"ifindex", vlan * 4 + n},
                             {"ifname", "v" + std::to_string(vlan) + "." + std::to_string(n)},
                             {"master", "br" + std::to_string(vlan)},
                             {"mcast_flood", true}});
        }
    }
    const std::string all = snapshot("all", "ports.json", ports.dump());
    start_switch();
    EXPECT_EQ(fed({"send", all}), all + ": floods 4094 added\n");
    EXPECT_EQ(installed(), recorded_tables(all));
    const json requests = show("clients").at(0)["requests"];
    EXPECT_TRUE(std::ranges::any_of(requests, [](const json &request) {
        return request["request"] == "flood LTL update" && request["messages"] == 1 &&
               request["records"] == 4094;
    })) << requests;
    fed({"remove", all});
    EXPECT_EQ(installed(), plain_tables());
}

TEST_F(SentSequence, CountersOfARecordedRouteAreAnsweredAndCleared) {
    start_switch();
    fed({"send", sample("campus")});
    const std::vector<std::string> route = {"--source", "10.20.0.5", "--group", "224.0.1.129"};
    const auto ask = [&](const std::vector<std::string> &options) {
        std::vector<std::string> command = {"stats"};
        command.insert(command.end(), route.begin(), route.end());
        command.insert(command.end(), options.begin(), options.end());
        return fed(command);
    };
    const auto count = [&](const std::string &packets) {
        std::vector<std::string> command = {"count", "--packets", packets};
        command.insert(command.end(), route.begin(), route.end());
        EXPECT_EQ(vellsim(command).exit_code, 0);
    };
    const std::string name = "(10.20.0.5, 224.0.1.129) in table 253: ";
    EXPECT_EQ(ask({}), name + "0 packets, 0 bytes, 0 RPF failures\n");
    count("41");
    count("1");
    EXPECT_EQ(ask({"--clear"}), name + "42 packets, 0 bytes, 0 RPF failures; cleared\n")
        << "the answer is from before the clearing";
    EXPECT_EQ(ask({}), name + "0 packets, 0 bytes, 0 RPF failures\n");
    const command_result other =
        vellfeed({"stats", "--source", "10.9.9.9", "--group", "239.9.9.9"});
    EXPECT_EQ(other.exit_code, 1);
    EXPECT_EQ(other.err, "vellfeed: the switch has no route (10.9.9.9, 239.9.9.9) in table 253\n");
}

} // namespace
