#include "tests/feed/snapshot_text.h"

#include <gtest/gtest.h>

namespace feed {
namespace {

const std::string links = links_text({{"a", 11}, {"b", 12}, {"c", 13}, {"up0", 4}});

plan plan_of(const std::string &routes) {
    return snapshot_text({{"routes.json", routes}, {"links.json", links}}).read();
}

std::string table_error(const std::string &routes) {
    return snapshot_text({{"routes.json", routes}, {"links.json", links}}).error();
}

// The error of a table whose second entry is `entry`, after its place.
std::string entry_error(const std::string &entry) {
    const std::string error = table_error(
        R"([{"src":"10.0.0.1","dst":"239.1.1.1","iif":"a","multipath":[]},)" + entry + "]");
    const std::string place = "routes.json: entry 2 (/1";
    return error.starts_with(place) ? error.substr(place.size()) : error;
}

std::string keys_of(const plan &made) {
    std::string text;
    for (const auto &[key, row] : made.wanted.routes) {
        text += (text.empty() ? "" : ", ") + key_text(key);
    }
    return text;
}

TEST(PlanRoutes, ARouteHasEveryFieldOfItsEntry) {
    const plan made = plan_of(R"([{"src":"10.1.2.3","dst":"239.4.5.6","iif":"up0",
        "multipath":[{"oif":"b"},{"oif":"a","ttl":1}],"state":"resolved","packets":1,"bytes":2,
        "expires":0.5,"table":"100"}])");
    ASSERT_EQ(made.wanted.routes.size(), 1u);
    const auto &[key, row] = *made.wanted.routes.begin();
    EXPECT_EQ(key, (route_key{100, 0x0a010203, 32, 0xef040506, 32}));
    EXPECT_EQ(row.rpf_if, kernel_type + 4);
    EXPECT_EQ(row.oifs, (std::vector<std::uint32_t>{kernel_type + 12, kernel_type + 11}));
    EXPECT_EQ(row.flags, 0u);
    EXPECT_EQ(row.other, "");
    EXPECT_TRUE(made.said.routes);
    EXPECT_FALSE(made.said.groups || made.said.floods || made.said.ltls);
}

TEST(PlanRoutes, AnEmptyArrayIsATableOfNoRoutes) {
    const plan made = plan_of("[ ]\n");
    EXPECT_TRUE(made.wanted.routes.empty());
    EXPECT_TRUE(made.said.routes);
}

TEST(PlanRoutes, AreNotSaidAnythingAboutWithoutTheirTable) {
    EXPECT_FALSE(snapshot_text({{"links.json", links}}).read().said.routes);
}

TEST(PlanRoutes, AreLookedAtOnlyWhenChosen) {
    const snapshot_text files({{"routes.json", "nothing that could be read"}});
    plan_options options;
    options.only = {false, true, true, true};
    EXPECT_FALSE(files.read(options).said.routes);
}

TEST(PlanRoutes, TableNamesAreTheKernelsNumbers) {
    const auto number = [](const std::string &name) {
        const plan made =
            plan_of(R"([{"src":"10.0.0.1","dst":"239.1.1.1","iif":"a","table":)" + name + "}]");
        return made.wanted.routes.begin()->first.table;
    };
    EXPECT_EQ(number(R"("default")"), 253u);
    EXPECT_EQ(number(R"("main")"), 254u);
    EXPECT_EQ(number(R"("local")"), 255u);
    EXPECT_EQ(number(R"("1")"), 1u);
    EXPECT_EQ(number(R"("010")"), 10u);
    EXPECT_EQ(number(R"("4294967295")"), 4294967295u);
    EXPECT_EQ(number("7"), 7u);
    EXPECT_EQ(keys_of(plan_of(R"([{"src":"10.0.0.1","dst":"239.1.1.1","iif":"a"}])")),
              "(10.0.0.1, 239.1.1.1) in table 253");
}

TEST(PlanRoutes, AnySourceAndAnyGroupHaveLength0) {
    const plan made = plan_of(
        R"([{"src":"0.0.0.0","dst":"239.1.1.1","iif":"a","multipath":[{"oif":"b"}]},
            {"src":"0.0.0.0","dst":"0.0.0.0","iif":"a","multipath":[{"oif":"b"}]}])");
    ASSERT_EQ(made.wanted.routes.size(), 2u);
    EXPECT_EQ(made.wanted.routes.at({253, 0, 0, 0xef010101, 32}).flags, route_flag_wildcard);
    EXPECT_EQ(made.wanted.routes.at({253, 0, 0, 0, 0}).flags, route_flag_wildcard);
    EXPECT_EQ(entry_error(R"({"src":"10.0.0.1","dst":"0.0.0.0","iif":"a"})"),
              "/dst): the group 0.0.0.0 is not a multicast address (224.0.0.0/4)");
}

TEST(PlanRoutes, ARouteWithoutOutgoingInterfacesDrops) {
    for (const std::string rest : {R"(,"multipath":[])", ""}) {
        const plan made =
            plan_of(R"([{"src":"10.0.0.1","dst":"239.1.1.1","iif":"a")" + rest + "}]");
        EXPECT_EQ(made.wanted.routes.begin()->second.flags, route_flag_drop);
    }
}

TEST(PlanRoutes, AGroupOfTheLinkIsLocal) {
    const auto flags = [](const std::string &group) {
        return plan_of(R"([{"src":"10.0.0.1","dst":")" + group +
                       R"(","iif":"a","multipath":[{"oif":"b"}]}])")
            .wanted.routes.begin()
            ->second.flags;
    };
    EXPECT_EQ(flags("224.0.0.0"), route_flag_local_group);
    EXPECT_EQ(flags("224.0.0.255"), route_flag_local_group);
    EXPECT_EQ(flags("224.0.1.0"), 0u);
    EXPECT_EQ(flags("239.0.0.1"), 0u);
}

TEST(PlanRoutes, WhatIsLeftOutIsCounted) {
    const plan made = plan_of(R"([
        {"src":"10.0.0.1","dst":"239.1.1.1","iif":"unresolved","state":"unresolved"},
        {"src":"10.0.0.2","dst":"239.1.1.1","state":"unresolved"},
        {"src":"10.0.0.3","dst":"239.1.1.1","iif":"unresolved","multipath":[{"oif":"x","ttl":3}],"state":"resolved"},
        {"src":"10.0.0.4","dst":"239.1.1.1","iif":"a","multipath":[{"oif":"b","ttl":16},{"oif":"c","ttl":2}]},
        {"src":"10.0.0.5","dst":"239.1.1.1","iif":"a","multipath":[{"oif":"b","ttl":1}]}])");
    EXPECT_EQ(keys_of(made),
              "(10.0.0.4, 239.1.1.1) in table 253, (10.0.0.5, 239.1.1.1) in table 253");
    EXPECT_EQ(made.without.unresolved_routes, 2u);
    EXPECT_EQ(made.without.routes_without_iif, 1u);
    EXPECT_EQ(made.without.ttl_thresholds, 2u);
    EXPECT_TRUE(made.made_numbers.empty()); // not of the route that is left out
}

TEST(PlanRoutes, ARouteThatAppearsTwiceIsRefused) {
    EXPECT_EQ(
        table_error(R"([{"src":"10.0.0.1","dst":"239.1.1.1","iif":"a"},
                              {"src":"10.0.0.2","dst":"239.1.1.1","iif":"a"},
                              {"src":"10.0.0.1","dst":"239.1.1.1","iif":"b","table":"default"}])"),
        "routes.json: entry 3 (/2): (10.0.0.1, 239.1.1.1) in table 253 is in an earlier entry "
        "already; the service distinguishes routes by table, source and group");
    // Any other table, source or group makes it another route.
    EXPECT_EQ(plan_of(R"([{"src":"10.0.0.1","dst":"239.1.1.1","iif":"a"},
                          {"src":"10.0.0.1","dst":"239.1.1.1","iif":"a","table":"main"},
                          {"src":"10.0.0.1","dst":"239.1.1.2","iif":"a"},
                          {"src":"0.0.0.0","dst":"239.1.1.1","iif":"a"}])")
                  .wanted.routes.size(),
              4u);
}

TEST(PlanRoutes, AnOutgoingInterfaceThatAppearsTwiceIsRefused) {
    EXPECT_EQ(
        table_error(R"([{"src":"10.0.0.1","dst":"239.1.1.1","iif":"a",
                               "multipath":[{"oif":"c"},{"oif":"b"},{"oif":"a"},{"oif":"b"}]}])"),
        "routes.json: entry 1 (/0/multipath/3/oif): the outgoing interface \"b\" is already in "
        "the list");
    EXPECT_EQ(
        table_error(R"([{"src":"10.0.0.1","dst":"239.1.1.1","iif":"a",
                               "multipath":[{"oif":"b"},{"oif":"if12"}]}])"),
        "routes.json: entry 1 (/0/multipath/1/oif): the interfaces \"b\" and \"if12\" are both "
        "if12 in the switch");
}

TEST(PlanRoutes, AListHasToFitIts16BitLength) {
    const auto table_with = [](int count) {
        std::string oifs;
        for (int i = 1; i <= count; ++i) {
            oifs += fmt::format("{}{{\"oif\":\"if{}\"}}", i == 1 ? "" : ",", 1000 + i);
        }
        return R"([{"src":"10.0.0.1","dst":"239.1.1.1","iif":"a","multipath":[)" + oifs + "]}]";
    };
    EXPECT_EQ(plan_of(table_with(8191)).wanted.routes.begin()->second.oifs.size(), 8191u);
    EXPECT_EQ(table_error(table_with(8192)),
              "routes.json: entry 1 (/0/multipath): 8192 outgoing interfaces; a route record holds "
              "up to 8191");
}

TEST(PlanRoutes, InterfacesHaveTheSwitchsNumbers) {
    const plan made = plan_of(R"([{"src":"10.0.0.1","dst":"239.1.1.1","iif":"vlan10",
                                   "multipath":[{"oif":"eth3-7"},{"oif":"b"},{"oif":"x"}]}])");
    const route &row = made.wanted.routes.begin()->second;
    EXPECT_EQ(row.rpf_if, 0x1400000au);
    EXPECT_EQ(row.oifs, (std::vector<std::uint32_t>{0x68030700, kernel_type + 12, 0x070c5087}));
    ASSERT_EQ(made.made_numbers.size(), 1u);
    EXPECT_EQ(made.made_numbers[0].first, "x");
    EXPECT_EQ(entry_error(R"({"src":"10.0.0.1","dst":"239.1.1.2","iif":"eth1-300"})"),
              "/iif): the interface \"eth1-300\" looks like a place in the switch and is not one: "
              "expected ethSLOT-PORT or ethSLOT-PORT-LANE, with numbers up to 255, lanes from 1, "
              "without leading zeros");
}

TEST(PlanRoutes, WhatIsNotAnArrayIsRefused) {
    EXPECT_EQ(
        table_error(R"({"src":"10.0.0.1"})"),
        "routes.json: expected an array of multicast routes, the output of `ip -j mroute show "
        "table all`, found an object");
    EXPECT_EQ(table_error(""), "routes.json: is empty, not even an empty JSON value; did `ip -j "
                               "mroute show table all` fail?");
    EXPECT_EQ(
        table_error("(10.0.0.1,239.1.1.1)   Iif: v0"),
        "routes.json:1:1: syntax error while parsing value - invalid literal; last read: '('; "
        "is this the output of `ip -j mroute show table all`?");
    EXPECT_EQ(table_error("[{\"src\":\"10.0.0.1\",\n \"dst\" \"239.1.1.1\"}]"),
              "routes.json:2:18: syntax error while parsing object separator - unexpected string "
              "literal; expected ':'");
}

TEST(PlanRoutes, WhatIsNotAnEntryIsRefused) {
    EXPECT_EQ(entry_error("17"), "): expected a multicast route, an object, found the number 17");
    EXPECT_EQ(entry_error("{}"),
              "): expected a member \"src\" (the source, an IPv4 address), found an empty object");
    EXPECT_EQ(
        entry_error(R"({"src":"10.0.0.1"})"),
        "): expected a member \"dst\" (the group, an IPv4 multicast address), found only \"src\"");
    EXPECT_EQ(entry_error(R"({"src":"10.0.0.1","dst":"239.1.1.2"})"),
              "): expected a member \"iif\" (the incoming interface), found only \"dst\", \"src\"");
}

TEST(PlanRoutes, WhatIsNotAnAddressIsRefused) {
    const auto source_error = [](const std::string &source) {
        return entry_error(R"({"src":)" + source + R"(,"dst":"239.1.1.2","iif":"a"})");
    };
    EXPECT_EQ(source_error("167772161"),
              "/src): expected the source, an IPv4 address, found the number 167772161");
    for (const std::string text :
         {"10.0.0", "10.0.0.256", "10.0.0.1/32", "unknown", "", " 10.0.0.1", "010.0.0.1"}) {
        EXPECT_EQ(source_error('"' + text + '"'),
                  "/src): expected the source, an IPv4 address, found the string \"" + text + '"');
    }
    EXPECT_EQ(source_error(R"("10.0.0.1\u0000")"),
              "/src): expected the source, an IPv4 address, found the string \"10.0.0.1\\x00\"");
    EXPECT_EQ(source_error(R"("239.0.0.1")"), "/src): the source 239.0.0.1 is a multicast group");
    EXPECT_EQ(source_error(R"("2001:db8::1")"),
              "/src): \"2001:db8::1\" is an IPv6 address; a route record carries IPv4 only: record "
              "the table with `ip -4 -j mroute show table all`");
}

TEST(PlanRoutes, AGroupThatIsNotMulticastIsRefused) {
    const auto group_error = [](const std::string &group) {
        return entry_error(R"({"src":"10.0.0.1","dst":")" + group + R"(","iif":"a"})");
    };
    EXPECT_EQ(group_error("223.255.255.255"),
              "/dst): the group 223.255.255.255 is not a multicast address (224.0.0.0/4)");
    EXPECT_EQ(group_error("240.0.0.0"),
              "/dst): the group 240.0.0.0 is not a multicast address (224.0.0.0/4)");
    EXPECT_EQ(group_error("x"),
              "/dst): expected the group, an IPv4 multicast address, found the string \"x\"");
    EXPECT_EQ(group_error("224.0.0.0"), "(no error)");
    EXPECT_EQ(group_error("239.255.255.255"), "(no error)");
}

TEST(PlanRoutes, WrongInterfacesAreRefused) {
    const auto error = [](const std::string &rest) {
        return entry_error(R"({"src":"10.0.0.1","dst":"239.1.1.2",)" + rest + "}");
    };
    EXPECT_EQ(error(R"("iif":3)"), "/iif): expected the name of an interface, found the number 3");
    EXPECT_EQ(error(R"("iif":"")"),
              "/iif): expected the name of an interface, found the string \"\"");
    EXPECT_EQ(error(R"("iif":"a","multipath":{})"),
              "/multipath): expected an array of outgoing interfaces, found an object");
    EXPECT_EQ(error(R"("iif":"a","multipath":[{"oif":"b"},"c"])"),
              "/multipath/1): expected an outgoing interface, an object with \"oif\", found the "
              "string \"c\"");
    EXPECT_EQ(error(R"("iif":"a","multipath":[{"oif":"b"},{"oif":"c"},{"oif":null}])"),
              "/multipath/2/oif): expected the name of an interface, found null");
    EXPECT_EQ(error(R"("iif":"a","multipath":[{"oif":""}])"),
              "/multipath/0/oif): expected the name of an interface, found the string \"\"");
    EXPECT_EQ(
        error(R"("iif":"a","multipath":[{"ttl":2}])"),
        "/multipath/0): expected a member \"oif\" (the name of an interface), found only \"ttl\"");
    EXPECT_EQ(error(R"("iif":"a","multipath":[{"oif":"b","ttl":0}])"),
              "/multipath/0/ttl): expected a TTL threshold from 1 to 255, found the number 0");
    EXPECT_EQ(error(R"("iif":"a","multipath":[{"oif":"b","ttl":256}])"),
              "/multipath/0/ttl): expected a TTL threshold from 1 to 255, found the number 256");
    EXPECT_EQ(error(R"("iif":"a","multipath":[{"oif":"b","ttl":"5"}])"),
              "/multipath/0/ttl): expected a TTL threshold, found the string \"5\"");
}

TEST(PlanRoutes, WrongStatesAreRefused) {
    EXPECT_EQ(entry_error(R"({"src":"10.0.0.1","dst":"239.1.1.2","iif":"a","state":"half"})"),
              "/state): expected \"resolved\" or \"unresolved\", found the string \"half\"");
    EXPECT_EQ(entry_error(R"({"src":"10.0.0.1","dst":"239.1.1.2","iif":"a","state":1})"),
              "/state): expected \"resolved\" or \"unresolved\", found the number 1");
}

TEST(PlanRoutes, WrongTablesAreRefused) {
    const auto error = [](const std::string &table) {
        return entry_error(R"({"src":"10.0.0.1","dst":"239.1.1.2","iif":"a","table":)" + table +
                           "}");
    };
    const std::string range = "/table): expected a table number from 1 to 4294967295, found ";
    EXPECT_EQ(error(R"("0")"), range + "the string \"0\"");
    EXPECT_EQ(error(R"("4294967296")"), range + "the string \"4294967296\"");
    EXPECT_EQ(error("0"), range + "the number 0");
    EXPECT_EQ(error("[]"),
              "/table): expected the name or the number of a table, a string, found an array of 0");
    for (const std::string name : {"video", "-1", ""}) {
        EXPECT_EQ(error('"' + name + '"'),
                  "/table): the table name \"" + name +
                      "\" is none of default, main and local; `ip -N -j mroute show table all` "
                      "prints numbers for names of /etc/iproute2/rt_tables");
    }
}

} // namespace
} // namespace feed
