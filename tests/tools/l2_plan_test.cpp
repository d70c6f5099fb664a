#include "l2_plan.h"
#include "tests/tools/error_of.h"
#include "tests/tools/mdb_text.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

namespace feed {
namespace {

const interface_source links =
    recorded_links("links.json", {{"br10", 2}, {"a", 11}, {"b", 12}, {"c", 13}});

l2_plan plan_of(const std::string &entries, const bridge_vlans &vlans = {}) {
    const mdb_table table = mdb_of(entries);
    return plan_l2(table, kernel_numbering(interface_indexes(interface_uses(table), links, false)),
                   vlans);
}

std::string plan_error(const std::string &entries) {
    return error_of([&] { plan_of(entries); });
}

// One entry of br10, whose index is 2.
std::string entry(const char *port, const char *group, const char *state = "temp",
                  const char *rest = "") {
    return fmt::format(R"({{"index":2,"dev":"br10","port":"{}","grp":"{}","state":"{}"{}}})", port,
                       group, state, rest);
}

using ports = std::vector<l2_port>;

TEST(L2Plan, GathersThePortsOfAnEntry) {
    const l2_plan plan = plan_of(entry("c", "239.1.1.1") + "," + entry("a", "239.1.1.1") + "," +
                                 entry("br10", "239.1.1.1") + "," + entry("b", "239.1.1.1"));
    ASSERT_EQ(plan.entries.size(), 1u);
    const l2_entry &entry = plan.entries[0];
    EXPECT_EQ(entry.entry, 0u);
    EXPECT_EQ(key_text(entry.key), "(*, 239.1.1.1) in VLAN 10");
    EXPECT_EQ(entry.bridge, 2u);
    EXPECT_FALSE(entry.permanent);
    EXPECT_EQ(entry.ports, (ports{{2, 4}, {11, 0}, {12, 0}, {13, 0}}));
}

TEST(L2Plan, TellsEntriesApartByVlanGroupAndSourceAndSortsThem) {
    const l2_plan plan = plan_of(
        entry("a", "01:1b:19:00:00:00") + "," + entry("a", "ff0e::1") + "," +
        entry("a", "239.1.1.2") + "," + entry("a", "239.1.1.1", "temp", R"(,"vid":9)") + "," +
        entry("a", "239.1.1.1", "temp", R"(,"src":"10.0.0.9")") + "," +
        entry("a", "239.1.1.1", "temp", R"(,"src":"9.0.0.10")") + "," + entry("a", "239.1.1.1"));
    std::vector<std::string> keys;
    for (const l2_entry &entry : plan.entries)
        keys.push_back(fmt::format("{} from {}", key_text(entry.key), entry.entry));
    const std::vector<std::string> expected = {
        "(*, 239.1.1.1) in VLAN 9 from 3",         "(*, 239.1.1.1) in VLAN 10 from 6",
        "(9.0.0.10, 239.1.1.1) in VLAN 10 from 5", "(10.0.0.9, 239.1.1.1) in VLAN 10 from 4",
        "(*, 239.1.1.2) in VLAN 10 from 2",        "(*, ff0e::1) in VLAN 10 from 1",
        "(*, 01:1b:19:00:00:00) in VLAN 10 from 0"};
    EXPECT_EQ(keys, expected);
}

TEST(L2Plan, OnePermanentPortMakesTheEntryPermanent) {
    EXPECT_TRUE(plan_of(entry("a", "239.1.1.1") + "," + entry("b", "239.1.1.1", "permanent"))
                    .entries[0]
                    .permanent);
    EXPECT_TRUE(plan_of(entry("a", "239.1.1.1", "permanent") + "," + entry("b", "239.1.1.1"))
                    .entries[0]
                    .permanent);
}

TEST(L2Plan, LeavesOutPortsThatTheKernelDoesNotSendToButNotTheirEntry) {
    const l2_plan plan =
        plan_of(entry("a", "239.1.1.1", "temp", R"(,"filter_mode":"include")") + "," +
                entry("b", "239.1.1.2", "temp", R"(,"src":"10.0.0.9","flags":["blocked"])") + "," +
                entry("c", "239.1.1.2", "temp", R"(,"src":"10.0.0.9")"));
    ASSERT_EQ(plan.entries.size(), 2u);
    EXPECT_EQ(plan.entries[0].ports, ports{});
    EXPECT_EQ(plan.entries[1].ports, (ports{{13, 0}}));
    EXPECT_EQ(plan.ports_without, 2u);
}

TEST(L2Plan, APortThatStandsInAnEntryForEachReceiverIsOnePort) {
    const l2_plan plan = plan_of(entry("a", "239.1.1.1") + "," + entry("a", "239.1.1.1"));
    EXPECT_EQ(plan.entries[0].ports, (ports{{11, 0}}));
}

TEST(L2Plan, TheVlanIsTheVidOrNamedOrInTheBridgesName) {
    const auto vlan = [](const std::string &bridge, const char *rest, const bridge_vlans &vlans) {
        const std::string text = R"({"index":7,"dev":")" + bridge +
                                 R"(","port":"a","grp":"239.1.1.1","state":"temp")" + rest + "}";
        return plan_of(text, vlans).entries.at(0).key.vlan;
    };
    EXPECT_EQ(vlan("br1", "", {}), 1u);
    EXPECT_EQ(vlan("br4094", "", {}), 4094u);
    EXPECT_EQ(vlan("docker0", "", {{"docker0", 5}}), 5u);
    EXPECT_EQ(vlan("br10", "", {{"br10", 5}}), 5u);
    EXPECT_EQ(vlan("docker0", R"(,"vid":6)", {}), 6u);
    EXPECT_EQ(vlan("br10", R"(,"vid":6)", {{"br10", 5}}), 6u);
}

TEST(L2Plan, ABridgeWithoutAVlanIsRefused) {
    for (const std::string bridge :
         {"docker0", "br", "br0", "br010", "br4095", "br4294967306", "br10x", "br-10", "Br10"}) {
        EXPECT_EQ(plan_error(entry("a", "239.1.1.1") + R"(,{"index":7,"dev":")" + bridge +
                             R"(","port":"a","grp":"239.1.1.1","state":"temp"})"),
                  "mdb.json: entry 2 of 2 (/0/mdb/1/dev): the bridge \"" + bridge +
                      "\" has no VLAN in its name, as br10 has, and its entry no \"vid\"; name the "
                      "VLAN with --vlan " +
                      bridge + "=N, or take other bridges alone with --bridge NAME");
    }
}

TEST(L2Plan, EntriesThatContradictEachOtherAreRefused) {
    EXPECT_EQ(
        plan_error(
            entry("a", "239.1.1.1") +
            R"(,{"index":3,"dev":"br1","port":"b","grp":"239.1.1.1","state":"temp","vid":10})"),
        "mdb.json: entry 2 of 2 (/0/mdb/1/dev): (*, 239.1.1.1) in VLAN 10 is on the bridge \"br1\" "
        "here and on "
        "\"br10\" in entry 1 of 2; an entry has one bridge");
    EXPECT_EQ(
        plan_error(entry("a", "239.1.1.1") +
                   R"(,{"index":3,"dev":"br10","port":"b","grp":"239.1.1.2","state":"temp"})"),
        "mdb.json: entry 2 of 2 (/0/mdb/1/index): the bridge \"br10\" has the index 3 here and 2 "
        "in entry 1 of 2");
    EXPECT_EQ(plan_error(entry("b", "239.1.1.1") + "," + entry("a", "239.1.1.1") + "," +
                         entry("if12", "239.1.1.1")),
              "mdb.json: entry 3 of 3 (/0/mdb/2/port): the port \"if12\" of (*, 239.1.1.1) in VLAN "
              "10 has the index 12, "
              "and so has \"b\" in entry 1 of 3");
    EXPECT_EQ(plan_error(entry("br10", "239.1.1.1") + "," + entry("if2", "239.1.1.1")),
              "mdb.json: entry 2 of 2 (/0/mdb/1/port): the port \"if2\" of (*, 239.1.1.1) in VLAN "
              "10 has the index 2, "
              "and so has \"br10\" in entry 1 of 2");
}

TEST(L2Plan, APortThatNobodyKnowsIsRefused) {
    EXPECT_EQ(plan_error(entry("a", "239.1.1.1") + "," + entry("x", "239.1.1.1")),
              "mdb.json: entry 2 of 2 (/0/mdb/1/port): links.json has no interface \"x\", so the "
              "two recordings do "
              "not belong together; give the links that were recorded with this table, or have "
              "unknown names numbered "
              "with --number-interfaces");
}

TEST(L2Plan, LinksOfAnotherMachineAreRefused) {
    const mdb_table table = mdb_of(entry("a", "239.1.1.1"));
    check_bridges(table, links);
    check_bridges(table, recorded_links("none.json", {}));
    EXPECT_EQ(error_of([&] {
                  check_bridges(table, recorded_links("other.json", {{"br10", 3}}));
              }),
              "mdb.json: entry 1 of 1 (/0/mdb/0/index): the bridge \"br10\" has the index 2 here, "
              "and other.json says 3: "
              "they do not belong together");
}

TEST(L2Plan, HandsOnWhatWasLeftOut) {
    const mdb_table table =
        parse_mdb({"mdb.json", mdb_text(entry("a", "239.1.1.1") + R"(,{"dev":"docker0"})",
                                        R"({"br10":[{"port":"a"}]})")},
                  {"br10"});
    const l2_plan plan = plan_l2(
        table, kernel_numbering(interface_indexes(interface_uses(table), links, false)), {});
    EXPECT_EQ(plan.router_ports, 1u);
    EXPECT_EQ(plan.other_bridges, 1u);
    EXPECT_EQ(bridge_indexes(table), std::set<std::uint32_t>{2});
}

} // namespace
} // namespace feed
