#include "tests/feed/snapshot_text.h"

#include <gtest/gtest.h>

namespace feed {
namespace {

const std::string links = links_text({{"br10", 2}, {"a", 11}, {"b", 12}, {"c", 13}});
using ports = std::vector<group_port>;

// One entry of br10.
std::string entry(const char *port, const char *group, const char *rest = "",
                  const char *state = "temp") {
    return fmt::format(R"({{"index":2,"dev":"br10","port":"{}","grp":"{}","state":"{}"{}}})", port,
                       group, state, rest);
}

std::string both(const std::string &first, const std::string &second) {
    return first + "," + second;
}

plan plan_of(const std::string &entries, const plan_options &options = {}) {
    return snapshot_text({{"mdb.json", mdb_text(entries)}, {"links.json", links}}).read(options);
}

std::string database_error(const std::string &text) {
    return snapshot_text({{"mdb.json", text}, {"links.json", links}}).error();
}

std::string plan_error(const std::string &entries) {
    return database_error(mdb_text(entries));
}

// The error of databases whose second entry is `second`, after its place.
std::string entry_error(const std::string &second) {
    const std::string error = plan_error(both(entry("a", "239.1.1.1"), second));
    const std::string place = "mdb.json: entry 2 (/0/mdb/1";
    return error.starts_with(place) ? error.substr(place.size()) : error;
}

// The error of an entry in which the text `from` is replaced by `to`.
std::string changed_error(const std::string &from, const std::string &to) {
    std::string text =
        R"({"index":2,"dev":"br10","port":"a","grp":"239.1.1.1","src":"10.0.0.9","state":"temp",)"
        R"("filter_mode":"include","flags":["offload"],"vid":7})";
    text.replace(text.find(from), from.size(), to);
    return entry_error(text);
}

const group &only_group(const plan &made) {
    EXPECT_EQ(made.wanted.groups.size(), 1u);
    return made.wanted.groups.begin()->second;
}

std::string only_key(const plan &made) {
    return made.wanted.groups.empty() ? "none" : key_text(made.wanted.groups.begin()->first);
}

TEST(PlanGroups, AGroupHasEveryFieldOfItsEntry) {
    const plan made =
        plan_of(R"({"index":2,"dev":"br10","port":"a","grp":"232.1.1.9","src":"198.51.100.8",
        "state":"permanent","filter_mode":"include","source_list":[{"address":"1.2.3.4","timer":"0.00"}],
        "protocol":"static","flags":["offload","fast_leave"],"vid":41,"timer":"   0.00"})");
    EXPECT_EQ(only_key(made), "(198.51.100.8, 232.1.1.9) in VLAN 41");
    const group &planned = only_group(made);
    EXPECT_EQ(planned.bridge, kernel_type + 2);
    EXPECT_TRUE(planned.permanent);
    EXPECT_EQ(planned.ports, (ports{{kernel_type + 11, 0}}));
    EXPECT_TRUE(made.said.groups);
    EXPECT_TRUE(made.said.ltls);
    EXPECT_FALSE(made.said.routes || made.said.floods);
}

TEST(PlanGroups, ThePortsOfAGroupAreGatheredAndTheBridgeItselfIsTheVlansInterface) {
    const plan made = plan_of(entry("c", "239.1.1.1") + "," + entry("a", "239.1.1.1") + "," +
                              entry("br10", "239.1.1.1") + "," + entry("b", "239.1.1.1") + "," +
                              entry("eth3-7", "239.1.1.1"));
    EXPECT_EQ(only_group(made).ports, (ports{{kernel_type + 11, 0},
                                             {kernel_type + 12, 0},
                                             {kernel_type + 13, 0},
                                             {0x1400000a, 4},
                                             {0x68030700, 0}}));
    EXPECT_FALSE(only_group(made).permanent);
}

TEST(PlanGroups, AreToldApartByVlanGroupAndSource) {
    const plan made =
        plan_of(entry("a", "01:1b:19:00:00:00") + "," + entry("a", "ff0e::1") + "," +
                entry("a", "239.1.1.2") + "," + entry("a", "239.1.1.1", R"(,"vid":9)") + "," +
                entry("a", "239.1.1.1", R"(,"src":"10.0.0.9")") + "," +
                entry("a", "ff0e::1", R"(,"src":"2001:db8::1")") + "," + entry("a", "239.1.1.1"));
    std::vector<std::string> keys;
    for (const auto &[key, row] : made.wanted.groups) {
        keys.push_back(key_text(key));
    }
    const std::vector<std::string> expected = {
        "(*, 239.1.1.1) in VLAN 9",         "(*, 01:1b:19:00:00:00) in VLAN 10",
        "(*, 239.1.1.1) in VLAN 10",        "(10.0.0.9, 239.1.1.1) in VLAN 10",
        "(*, 239.1.1.2) in VLAN 10",        "(*, ff0e::1) in VLAN 10",
        "(2001:db8::1, ff0e::1) in VLAN 10"};
    EXPECT_EQ(keys, expected);
}

TEST(PlanGroups, OnePermanentPortMakesTheGroupPermanent) {
    const std::string permanent = entry("b", "239.1.1.1", "", "permanent");
    EXPECT_TRUE(only_group(plan_of(both(entry("a", "239.1.1.1"), permanent))).permanent);
    EXPECT_TRUE(only_group(plan_of(both(permanent, entry("a", "239.1.1.1")))).permanent);
}

TEST(PlanGroups, PortsThatTheKernelDoesNotSendToAreLeftOutButNotTheirGroup) {
    const plan made = plan_of(
        entry("a", "239.1.1.1", R"(,"filter_mode":"include","flags":[])") + "," +
        entry("b", "239.1.1.2", R"(,"src":"10.0.0.9","flags":["fast_leave","blocked"])") + "," +
        entry("c", "239.1.1.2", R"(,"src":"10.0.0.9","filter_mode":"include")") + "," +
        entry("a", "239.1.1.3", R"(,"filter_mode":"exclude","flags":["added_by_star_ex"])"));
    ASSERT_EQ(made.wanted.groups.size(), 3u);
    std::vector<ports> planned;
    for (const auto &[key, row] : made.wanted.groups) {
        planned.push_back(row.ports);
    }
    EXPECT_EQ(planned, (std::vector<ports>{{}, {{kernel_type + 13, 0}}, {{kernel_type + 11, 0}}}));
    EXPECT_EQ(made.without.blocked_members, 2u);
}

TEST(PlanGroups, PortsThatTheBridgeDoesNotForwardOnAreLeftOut) {
    const std::string entries = entry("a", "239.1.1.1") + "," + entry("b", "239.1.1.1") + "," +
                                entry("c", "239.1.1.1") + "," + entry("a", "239.1.1.2") + "," +
                                entry("d", "239.1.1.1") + "," + entry("e", "239.1.1.1");
    const plan made =
        snapshot_text({{"mdb.json", mdb_text(entries)},
                       {"ports.json", ports_text({port_text("br10", "a", 11, false, "blocking"),
                                                  port_text("br10", "b", 12, false, "forwarding"),
                                                  port_text("br10", "c", 13, false, "disabled"),
                                                  port_text("br10", "d", 14, false, "listening"),
                                                  port_text("br10", "e", 15, false, "learning")})}})
            .read();
    ASSERT_EQ(made.wanted.groups.size(), 2u);
    EXPECT_EQ(made.wanted.groups.begin()->second.ports, (ports{{kernel_type + 12, 0}}));
    EXPECT_EQ(made.wanted.groups.rbegin()->second.ports, ports{});
    EXPECT_EQ(made.without.ports_not_forwarding, 5u);
}

TEST(PlanGroups, APortThatIsInAGroupForEachReceiverIsOnePort) {
    EXPECT_EQ(only_group(plan_of(both(entry("a", "239.1.1.1"), entry("a", "239.1.1.1")))).ports,
              (ports{{kernel_type + 11, 0}}));
}

TEST(PlanGroups, TheVlanIsTheVidOrNamedOrInTheBridgesName) {
    const auto vlan = [](const std::string &bridge, const char *rest,
                         std::map<std::string, std::uint16_t> vlans) {
        plan_options options;
        options.vlans = std::move(vlans);
        const std::string text = R"({"index":7,"dev":")" + bridge +
                                 R"(","port":"a","grp":"239.1.1.1","state":"temp")" + rest + "}";
        return snapshot_text({{"mdb.json", mdb_text(text)}})
            .read(options)
            .wanted.groups.begin()
            ->first.vlan;
    };
    EXPECT_EQ(vlan("br1", "", {}), 1u);
    EXPECT_EQ(vlan("br4094", "", {}), 4094u);
    EXPECT_EQ(vlan("lan", "", {{"lan", 5}}), 5u);
    EXPECT_EQ(vlan("br10", "", {{"br10", 5}}), 5u);
    EXPECT_EQ(vlan("lan", R"(,"vid":6)", {}), 6u);
    EXPECT_EQ(vlan("br10", R"(,"vid":6)", {{"br10", 5}}), 6u);
}

TEST(PlanGroups, ABridgeWithoutAVlanIsRefused) {
    for (const std::string bridge :
         {"lan", "br", "br0", "br010", "br4095", "br4294967306", "br10x", "br-10", "Br10"}) {
        EXPECT_EQ(entry_error(R"({"index":7,"dev":")" + bridge +
                              R"(","port":"a","grp":"239.1.1.1","state":"temp"})"),
                  "/dev): the bridge \"" + bridge +
                      "\" has no VLAN in its name, as br10 has, and its entry no \"vid\"; name the "
                      "VLAN with --vlan " +
                      bridge + "=N, or take other bridges alone with --bridge NAME");
    }
}

TEST(PlanGroups, EntriesThatContradictEachOtherAreRefused) {
    EXPECT_EQ(
        entry_error(
            R"({"index":3,"dev":"br1","port":"b","grp":"239.1.1.1","state":"temp","vid":10})"),
        "/dev): (*, 239.1.1.1) in VLAN 10 is on the bridge \"br1\" here and on \"br10\" in entry "
        "1; "
        "a group has one bridge");
    EXPECT_EQ(entry_error(entry("if11", "239.1.1.1")),
              "/port): the interfaces \"a\" and \"if11\" are both if11 in the switch");
    EXPECT_EQ(
        plan_error(both(entry("br10", "239.1.1.1"), entry("vlan10", "239.1.1.1"))),
        "mdb.json: entry 2 (/0/mdb/1/port): the port \"vlan10\" is Vlan10 in the switch, and so "
        "is \"br10\" in entry 1");
    EXPECT_EQ(entry_error(entry("eth1-300", "239.1.1.1")),
              "/port): the interface \"eth1-300\" looks like a place in the switch and is not one: "
              "expected ethSLOT-PORT or ethSLOT-PORT-LANE, with numbers up to 255, lanes from 1, "
              "without leading zeros");
}

TEST(PlanGroups, OtherBridgesAreCountedAndNotLookedAt) {
    plan_options options;
    options.bridges = {"br10"};
    const std::string entries = entry("a", "239.1.1.1") + R"(,{"dev":"lan","grp":7},{"dev":"lan"})";
    const snapshot_text files({{"mdb.json", mdb_text(entries, R"({"lan":[{"port":"x"}]})")}});
    const plan made = files.read(options);
    EXPECT_EQ(made.wanted.groups.size(), 1u);
    EXPECT_EQ(made.without.of_other_bridges, 2u);
    EXPECT_EQ(made.without.router_ports, 0u);
    // What cannot be told apart from a wanted one is refused all the same.
    files.put("mdb.json", mdb_text(R"({"grp":"239.1.1.1"})"));
    EXPECT_EQ(files.error(options), "mdb.json: entry 1 (/0/mdb/0): expected a member \"dev\" (the "
                                    "bridge's name), found only \"grp\"");
}

TEST(PlanGroups, RouterPortsAreCounted) {
    const auto count = [](const std::string &text) {
        return snapshot_text({{"mdb.json", text}}).read().without.router_ports;
    };
    EXPECT_EQ(count(mdb_text("", R"({"br10":[{"port":"a"},{"port":"b"}],"br20":[{"port":"c"}]})")),
              3u);
    EXPECT_EQ(count(R"([{"mdb":[]}])"), 0u);
}

TEST(PlanGroups, ThereMayBeNoDatabasesOrSeveral) {
    EXPECT_TRUE(snapshot_text({{"mdb.json", "[]"}}).read().said.groups);
    const std::string text = R"([{"mdb":[]},{"mdb":[)" + entry("a", "239.1.1.1") +
                             R"(]},{"mdb":[)" + entry("b", "239.1.1.1") + "]}]";
    const plan made = snapshot_text({{"mdb.json", text}, {"links.json", links}}).read();
    EXPECT_EQ(only_group(made).ports, (ports{{kernel_type + 11, 0}, {kernel_type + 12, 0}}));
}

TEST(PlanGroups, WhatIsNotADatabaseIsRefused) {
    EXPECT_EQ(
        database_error(""),
        "mdb.json: is empty, not even an empty JSON value; did `bridge -j -d mdb show` fail?");
    EXPECT_EQ(database_error("dev br10 port a"),
              "mdb.json:1:1: syntax error while parsing value - invalid literal; last read: "
              "'d'; is this the output of `bridge -j -d mdb show`?");
    EXPECT_EQ(
        database_error("{}"),
        "mdb.json: expected an array with the databases, the output of `bridge -j -d mdb show`, "
        "found an object");
    EXPECT_EQ(database_error("[7]"),
              "mdb.json: /0: expected the databases, an object with \"mdb\", found the number 7");
    // What `ip -j mroute show` and `ip -j link show` print are arrays of objects, too.
    EXPECT_EQ(database_error(R"([{"src":"10.0.0.1"}])"),
              "mdb.json: /0: expected a member \"mdb\" (an array of entries), found only \"src\"");
    EXPECT_EQ(database_error(R"([{"mdb":{}}])"),
              "mdb.json: /0/mdb: expected an array of entries, found an object");
    EXPECT_EQ(database_error(R"([{"mdb":[],"router":[]}])"),
              "mdb.json: /0/router: expected the bridges' router ports, an object, found an array "
              "of 0");
    EXPECT_EQ(
        database_error(R"([{"mdb":[],"router":{"br10":"a"}}])"),
        "mdb.json: /0/router/br10: expected an array of router ports, found the string \"a\"");
    EXPECT_EQ(
        database_error(R"([{"mdb":[],"router":{"\u001b[2J":5}}])"),
        "mdb.json: /0/router/\\x1b[2J: expected an array of router ports, found the number 5");
    EXPECT_EQ(entry_error("[]"), "): expected an entry, an object, found an array of 0");
}

TEST(PlanGroups, WrongNamesAndIndexesAreRefused) {
    EXPECT_EQ(changed_error(R"("br10")", "10"),
              "/dev): expected the bridge's name, found the number 10");
    EXPECT_EQ(changed_error(R"("br10")", "\"\""),
              "/dev): expected the bridge's name, found the string \"\"");
    EXPECT_EQ(changed_error(R"("port":"a",)", ""),
              "): expected a member \"port\" (the port's name), found only \"dev\", "
              "\"filter_mode\", \"flags\", \"grp\", \"index\", \"src\", \"state\", \"vid\"");
    EXPECT_EQ(changed_error(R"("a")", "null"), "/port): expected the port's name, found null");
    EXPECT_EQ(changed_error(R"("index":2)", R"("index":0)"),
              "/index): expected an interface index from 1 to 2147483647, found the number 0");
    EXPECT_EQ(
        changed_error(R"("index":2)", R"("index":2147483648)"),
        "/index): expected an interface index from 1 to 2147483647, found the number 2147483648");
    EXPECT_EQ(changed_error(R"("index":2)", R"("index":"2")"),
              "/index): expected an interface index, found the string \"2\"");
}

TEST(PlanGroups, WrongGroupsAreRefused) {
    const std::string expected = "/grp): expected the group, an IPv4, IPv6 or MAC address, found ";
    EXPECT_EQ(changed_error(R"("239.1.1.1")", "239"), expected + "the number 239");
    EXPECT_EQ(changed_error("239.1.1.1", "239.1.1"), expected + "the string \"239.1.1\"");
    EXPECT_EQ(changed_error("239.1.1.1", "01:00:5e:01:01"),
              expected + "the string \"01:00:5e:01:01\"");
    EXPECT_EQ(changed_error("239.1.1.1", "10.1.1.1"),
              "/grp): the group 10.1.1.1 is not a multicast address");
    EXPECT_EQ(changed_error("239.1.1.1", "2001:db8::1"),
              "/grp): the group 2001:db8::1 is not a multicast address");
    EXPECT_EQ(changed_error("239.1.1.1", "02:00:5e:00:00:01"),
              "/grp): the group 02:00:5e:00:00:01 is not a multicast address");
}

TEST(PlanGroups, WrongSourcesAreRefused) {
    const std::string expected =
        "/src): expected the source, an IPv4 address as the group is, found ";
    EXPECT_EQ(changed_error(R"("10.0.0.9")", "true"), expected + "true");
    EXPECT_EQ(changed_error("10.0.0.9", "10.0.0"), expected + "the string \"10.0.0\"");
    EXPECT_EQ(changed_error("10.0.0.9", "2001:db8::1"), expected + "the string \"2001:db8::1\"");
    EXPECT_EQ(changed_error("10.0.0.9", "01:00:5e:01:01:01"),
              expected + "the string \"01:00:5e:01:01:01\"");
    EXPECT_EQ(changed_error("239.1.1.1", "ff0e::1"),
              "/src): expected the source, an IPv6 address as the group is, found the string "
              "\"10.0.0.9\"");
    EXPECT_EQ(changed_error("239.1.1.1", "01:00:5e:01:01:01"), "/src): a MAC group has no source");
    EXPECT_EQ(changed_error("10.0.0.9", "239.1.1.1"),
              "/src): the source 239.1.1.1 is not the address of a host");
    EXPECT_EQ(changed_error("10.0.0.9", "0.0.0.0"),
              "/src): the source 0.0.0.0 is not the address of a host");
}

TEST(PlanGroups, WrongStatesModesAndFlagsAreRefused) {
    EXPECT_EQ(changed_error(R"("temp")", R"("static")"),
              "/state): expected \"permanent\" or \"temp\", found the string \"static\"");
    EXPECT_EQ(changed_error(R"("state":"temp",)", ""),
              "): expected a member \"state\" (\"permanent\" or \"temp\"), found only \"dev\", "
              "\"filter_mode\", \"flags\", \"grp\", \"index\", \"port\", \"src\", \"vid\"");
    EXPECT_EQ(changed_error(R"("include")", R"("both")"),
              "/filter_mode): expected \"include\" or \"exclude\", found the string \"both\"");
    EXPECT_EQ(changed_error(R"(["offload"])", R"("offload")"),
              "/flags): expected an array of flags, found the string \"offload\"");
    EXPECT_EQ(changed_error(R"(["offload"])", "[1]"),
              "/flags/0): expected the name of a flag, found the number 1");
    EXPECT_EQ(changed_error(R"("vid":7)", R"("vid":0)"),
              "/vid): expected a VLAN id from 1 to 4094, found the number 0");
    EXPECT_EQ(changed_error(R"("vid":7)", R"("vid":4095)"),
              "/vid): expected a VLAN id from 1 to 4094, found the number 4095");
    EXPECT_EQ(changed_error(R"("vid":7)", R"("dst":"192.0.2.1")"),
              "/dst): is the far end of a tunnel; a layer-2 entry has ports only: leave the bridge "
              "out with --bridge");
}

TEST(PlanLtls, AreOneForEachGroupWithPorts) {
    plan_options options;
    options.only = {false, false, false, true};
    const plan made = plan_of(entry("br10", "239.1.1.1") + "," + entry("a", "239.1.1.1") + "," +
                                  entry("a", "239.1.1.2", R"(,"flags":["blocked"])") + "," +
                                  entry("b", "239.1.1.1", R"(,"src":"10.0.0.9","vid":20)"),
                              options);
    EXPECT_TRUE(made.wanted.groups.empty());
    EXPECT_FALSE(made.said.groups);
    ASSERT_EQ(made.wanted.ltls.size(), 2u);
    const auto &[first, in_10] = *made.wanted.ltls.begin();
    const auto &[second, in_20] = *made.wanted.ltls.rbegin();
    EXPECT_EQ(first.vlan, 10u);
    EXPECT_EQ(in_10.interfaces, (std::vector<std::uint32_t>{kernel_type + 11, 0x1400000a}));
    EXPECT_EQ(in_10.index, 0u);
    EXPECT_EQ(second.vlan, 20u);
    EXPECT_EQ(in_20.interfaces, (std::vector<std::uint32_t>{kernel_type + 12}));
    // The same in every run: FNV-1a of the group's 16 bytes, and of the source's.
    EXPECT_EQ(first.tag, 0xeb3f9c0fu);
    EXPECT_EQ(second.tag, 0x03b8733au);
}

TEST(PlanLtls, GroupsWithTheSameTagInAVlanGetTheNextFreeOne) {
    // Their first bytes are the same, and the others are 0.
    const plan made = plan_of(entry("a", "ff01:203:405::") + "," + entry("b", "ff:01:02:03:04:05"));
    ASSERT_EQ(made.wanted.ltls.size(), 2u);
    const auto &[first, of_mac] = *made.wanted.ltls.begin();
    const auto &[second, of_ipv6] = *made.wanted.ltls.rbegin();
    EXPECT_EQ(of_mac.interfaces, (std::vector<std::uint32_t>{kernel_type + 12}));
    EXPECT_EQ(of_ipv6.interfaces, (std::vector<std::uint32_t>{kernel_type + 11}));
    EXPECT_EQ(second.tag, first.tag + 1);
}

} // namespace
} // namespace feed
