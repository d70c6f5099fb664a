#include "bridge_mdb.h"
#include "tests/tools/error_of.h"
#include "tests/tools/mdb_text.h"

#include <gtest/gtest.h>

namespace feed {
namespace {

constexpr char first_entry[] =
    R"({"index":2,"dev":"br10","port":"a","grp":"239.1.1.1","state":"temp","flags":[]},)";

// The error of databases whose second entry is `entry`, behind its place.
std::string entry_error(const std::string &entry) {
    const std::string error = error_of([&] { mdb_of(first_entry + entry); });
    const std::string place = "mdb.json: entry 2 of 2 (/0/mdb/1";
    return error.starts_with(place) ? error.substr(place.size()) : error;
}

// The error of an entry in which the text `from` is replaced by `to`.
std::string changed_error(const std::string &from, const std::string &to) {
    std::string entry =
        R"({"index":2,"dev":"br10","port":"a","grp":"239.1.1.1","src":"10.0.0.9","state":"temp",)"
        R"("filter_mode":"include","flags":["offload"],"vid":7})";
    entry.replace(entry.find(from), from.size(), to);
    return entry_error(entry);
}

mdb_entry one(const std::string &rest) {
    const mdb_table table = mdb_of(R"({"index":2,"dev":"br10","port":"a","grp":)" + rest + "}");
    return table.entries.at(0);
}

TEST(BridgeMdb, ReadsEveryFieldOfAnEntry) {
    const mdb_table table =
        mdb_of(R"({"index":12,"dev":"br10","port":"tv1","grp":"232.1.1.9","src":"198.51.100.8",
        "state":"permanent","filter_mode":"include","source_list":[{"address":"1.2.3.4","timer":"0.00"}],
        "protocol":"static","flags":["offload","fast_leave"],"vid":41,"timer":"   0.00"})");
    ASSERT_EQ(table.entries.size(), 1u);
    const mdb_entry &entry = table.entries[0];
    EXPECT_EQ(entry.bridge, "br10");
    EXPECT_EQ(entry.bridge_index, 12u);
    EXPECT_EQ(entry.port, "tv1");
    EXPECT_EQ(address_text(entry.group), "232.1.1.9");
    ASSERT_TRUE(entry.source);
    EXPECT_EQ(address_text(*entry.source), "198.51.100.8");
    EXPECT_EQ(entry.vid, 41u);
    EXPECT_TRUE(entry.permanent);
    EXPECT_TRUE(entry.forwards);
    EXPECT_FALSE(entry.on_bridge_itself());
    EXPECT_EQ(table.place(entry, "/port"), "mdb.json: entry 1 of 1 (/0/mdb/0/port)");
}

TEST(BridgeMdb, ReadsEachKindOfGroup) {
    EXPECT_EQ(one(R"("ff0e::1","state":"temp")").group.kind, address_kind::ipv6);
    EXPECT_EQ(one(R"("01:1b:19:00:00:00","state":"temp")").group.kind, address_kind::mac);
    const mdb_entry plain = one(R"("239.1.1.1","state":"temp")");
    EXPECT_EQ(plain.group.kind, address_kind::ipv4);
    EXPECT_FALSE(plain.source);
    EXPECT_FALSE(plain.vid);
    EXPECT_FALSE(plain.permanent);
}

TEST(BridgeMdb, KnowsTheBridgeItself) {
    const mdb_table table =
        mdb_of(R"({"index":2,"dev":"br10","port":"br10","grp":"239.1.1.1","state":"temp"})");
    EXPECT_TRUE(table.entries[0].on_bridge_itself());
}

TEST(BridgeMdb, KnowsWhereTheKernelSendsNothing) {
    EXPECT_FALSE(
        one(R"("239.1.1.1","src":"10.0.0.9","state":"temp","flags":["fast_leave","blocked"])")
            .forwards);
    EXPECT_FALSE(one(R"("239.1.1.1","state":"temp","filter_mode":"include","flags":[])").forwards);
    // With a source, the mode says that this source is wanted.
    EXPECT_TRUE(
        one(R"("239.1.1.1","src":"10.0.0.9","state":"temp","filter_mode":"include","flags":[])")
            .forwards);
    EXPECT_TRUE(
        one(R"("239.1.1.1","state":"temp","filter_mode":"exclude","flags":["added_by_star_ex"])")
            .forwards);
}

TEST(BridgeMdb, CountsRouterPorts) {
    const std::string text =
        mdb_text("", R"({"br10":[{"port":"a"},{"port":"b"}],"br20":[{"port":"c"}]})");
    EXPECT_EQ(parse_mdb({"mdb.json", text}, {}).router_ports, 3u);
    EXPECT_EQ(parse_mdb({"mdb.json", text}, {"br20"}).router_ports, 1u);
    EXPECT_EQ(parse_mdb({"mdb.json", R"([{"mdb":[]}])"}, {}).router_ports, 0u);
}

TEST(BridgeMdb, ThereMayBeNoDatabasesOrSeveral) {
    EXPECT_TRUE(parse_mdb({"mdb.json", "[]"}, {}).entries.empty());
    EXPECT_TRUE(mdb_of("").entries.empty());
    const std::string one_more =
        R"({"index":3,"dev":"br20","port":"b","grp":"239.1.1.1","state":"temp"})";
    const mdb_table table = parse_mdb(
        {"mdb.json", R"([{"mdb":[]},{"mdb":[)" + one_more + R"(]},{"mdb":[)" + one_more + "]}]"},
        {});
    ASSERT_EQ(table.entries.size(), 2u);
    EXPECT_EQ(table.place(table.entries[1], ""), "mdb.json: entry 1 of 1 (/2/mdb/0)");
}

TEST(BridgeMdb, OtherBridgesAreNotLookedAt) {
    const mdb_table table = mdb_of(
        std::string(first_entry) + R"({"dev":"docker0","grp":7},{"dev":"docker0"})", {"br10"});
    EXPECT_EQ(table.entries.size(), 1u);
    EXPECT_EQ(table.other_bridges, 2u);
    // What cannot be told apart from a wanted one is refused all the same.
    EXPECT_EQ(error_of([] { mdb_of(R"({"grp":"239.1.1.1"})", {"br10"}); }),
              "mdb.json: entry 1 of 1 (/0/mdb/0): expected a member \"dev\" (the bridge's name), "
              "found only \"grp\"");
}

TEST(BridgeMdb, WhatIsNoDatabaseIsRefused) {
    const auto error = [](const std::string &text) {
        return error_of([&] { parse_mdb({"mdb.json", text}, {}); });
    };
    EXPECT_EQ(
        error(""),
        "mdb.json: is empty, not even an empty JSON value; did `bridge -j -d mdb show` fail?");
    EXPECT_EQ(error("dev br10 port a"),
              "mdb.json:1:1: syntax error while parsing value - invalid literal; last read: "
              "'d'; is this the output of `bridge -j -d mdb show`?");
    EXPECT_EQ(
        error("{}"),
        "mdb.json: expected an array with the databases, the output of `bridge -j -d mdb show`, "
        "found an object");
    EXPECT_EQ(error("[7]"), "mdb.json: entry 1 of 1 (/0): expected the databases, an object with "
                            "\"mdb\", found the number 7");
    // What `ip -j mroute show` and `ip -j link show` print are arrays of objects, too.
    EXPECT_EQ(error(R"([{"src":"10.0.0.1"}])"),
              "mdb.json: entry 1 of 1 (/0): expected a member \"mdb\" (an array of entries), found "
              "only \"src\"");
    EXPECT_EQ(error(R"([{"mdb":{}}])"),
              "mdb.json: entry 1 of 1 (/0/mdb): expected an array of entries, found an object");
    EXPECT_EQ(error(R"([{"mdb":[],"router":[]}])"),
              "mdb.json: entry 1 of 1 (/0/router): expected the bridges' router ports, an object, "
              "found an array of 0");
    EXPECT_EQ(error(R"([{"mdb":[],"router":{"br10":"a"}}])"),
              "mdb.json: entry 1 of 1 (/0/router/br10): expected an array of router ports, found "
              "the string \"a\"");
    EXPECT_EQ(entry_error("[]"), "): expected an entry, an object, found an array of 0");
}

TEST(BridgeMdb, WrongNamesAndIndexesAreRefused) {
    EXPECT_EQ(changed_error(R"("br10")", "10"),
              "/dev): expected the bridge's name, found the number 10");
    EXPECT_EQ(changed_error(R"("br10")", "\"\""),
              "/dev): expected the bridge's name, found the string \"\"");
    EXPECT_EQ(changed_error(R"("port":"a",)", ""),
              "): expected a member \"port\" (the port's name), found only \"dev\", "
              "\"filter_mode\", \"flags\", "
              "\"grp\", \"index\", \"src\", \"state\", \"vid\"");
    EXPECT_EQ(changed_error(R"("a")", "null"), "/port): expected the port's name, found null");
    EXPECT_EQ(changed_error(R"("index":2)", R"("index":0)"),
              "/index): expected an interface index from 1 to 2147483647, found the number 0");
    EXPECT_EQ(
        changed_error(R"("index":2)", R"("index":2147483648)"),
        "/index): expected an interface index from 1 to 2147483647, found the number 2147483648");
    EXPECT_EQ(changed_error(R"("index":2)", R"("index":"2")"),
              "/index): expected an interface index, found the string \"2\"");
}

TEST(BridgeMdb, WrongGroupsAreRefused) {
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

TEST(BridgeMdb, WrongSourcesAreRefused) {
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

TEST(BridgeMdb, WrongStatesModesAndFlagsAreRefused) {
    EXPECT_EQ(changed_error(R"("temp")", R"("static")"),
              "/state): expected \"permanent\" or \"temp\", found the string \"static\"");
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

} // namespace
} // namespace feed
