#include "mroute_table.h"
#include "tests/tools/error_of.h"
#include "tests/tools/table_text.h"

#include <gtest/gtest.h>

namespace feed {
namespace {

std::string table_error(const std::string &text) {
    return error_of([&] { table_of(text); });
}

// The error of a table whose second entry is `entry`.
std::string entry_error(const std::string &entry) {
    const std::string error = table_error(
        R"([{"src":"10.0.0.1","dst":"239.1.1.1","iif":"a","multipath":[]},)" + entry + "]");
    const std::string place = "table.json: entry 2 of 2 (/1";
    return error.starts_with(place) ? error.substr(place.size()) : error;
}

TEST(MrouteTable, ReadsEveryFieldOfAnEntry) {
    const mroute_table table = table_of(R"([{"src":"10.1.2.3","dst":"239.4.5.6","iif":"up0",
        "multipath":[{"oif":"a"},{"oif":"b","ttl":16}],"state":"resolved","packets":1,"bytes":2,"expires":0.5,
        "table":"100"}])");
    ASSERT_EQ(table.entries.size(), 1u);
    const mroute_entry &entry = table.entries[0];
    EXPECT_EQ(entry.state, mroute_state::resolved);
    EXPECT_EQ(entry.source, 0x0a010203u);
    EXPECT_EQ(entry.group, 0xef040506u);
    EXPECT_EQ(entry.iif, "up0");
    ASSERT_EQ(entry.oifs.size(), 2u);
    EXPECT_EQ(entry.oifs[0].name, "a");
    EXPECT_EQ(entry.oifs[0].ttl, 1u);
    EXPECT_EQ(entry.oifs[1].name, "b");
    EXPECT_EQ(entry.oifs[1].ttl, 16u);
    EXPECT_EQ(entry.table, 100u);
}

TEST(MrouteTable, AnEmptyArrayIsATableOfNoRoutes) {
    EXPECT_TRUE(table_of("[]").entries.empty());
    EXPECT_TRUE(table_of("[ ]\n").entries.empty());
}

TEST(MrouteTable, TableNamesAreTheKernelsNumbers) {
    const auto number = [](const std::string &name) {
        return table_of(R"([{"src":"10.0.0.1","dst":"239.1.1.1","iif":"a","table":)" + name + "}]")
            .entries[0]
            .table;
    };
    EXPECT_EQ(number(R"("default")"), 253u);
    EXPECT_EQ(number(R"("main")"), 254u);
    EXPECT_EQ(number(R"("local")"), 255u);
    EXPECT_EQ(number(R"("1")"), 1u);
    EXPECT_EQ(number(R"("4294967295")"), 4294967295u);
    EXPECT_EQ(number("7"), 7u);
}

TEST(MrouteTable, AnUnresolvedEntryNeedsNoInterfaces) {
    const mroute_table table =
        table_of(R"([{"src":"10.0.0.1","dst":"239.1.1.1","iif":"unresolved","state":"unresolved"},
                                           {"src":"10.0.0.1","dst":"239.1.1.2","state":"unresolved"}])");
    EXPECT_EQ(table.entries[0].state, mroute_state::unresolved);
    EXPECT_EQ(table.entries[1].state, mroute_state::unresolved);
}

TEST(MrouteTable, AResolvedEntryMayHaveLostItsIncomingInterface) {
    const mroute_table table = table_of(
        R"([{"src":"10.0.0.1","dst":"239.1.1.1","iif":"unresolved","multipath":[],"state":"resolved"}])");
    EXPECT_EQ(table.entries[0].state, mroute_state::interface_gone);
    EXPECT_EQ(table.entries[0].iif, "");
}

TEST(MrouteTable, AnyGroupIsTakenForAnySourceOnly) {
    const mroute_table table = table_of(R"([{"src":"0.0.0.0","dst":"0.0.0.0","iif":"a"}])");
    EXPECT_EQ(table.entries[0].group, 0u);
    EXPECT_EQ(entry_error(R"({"src":"10.0.0.1","dst":"0.0.0.0","iif":"a"})"),
              "/dst): the group 0.0.0.0 is not a multicast address (224.0.0.0/4)");
}

TEST(MrouteTable, PlacesCountEntriesFromOneAndPointersFromZero) {
    const mroute_table table = table_of(R"([{"src":"10.0.0.1","dst":"239.1.1.1","iif":"a"}])");
    EXPECT_EQ(table.place(0, "/multipath/2/oif"), "table.json: entry 1 of 1 (/0/multipath/2/oif)");
}

TEST(MrouteTable, WhatIsNoArrayIsRefused) {
    EXPECT_EQ(table_error(R"({"src":"10.0.0.1"})"),
              "table.json: expected an array of multicast routes, the output of `ip -j mroute "
              "show`, found an object");
    EXPECT_EQ(table_error("null"), "table.json: expected an array of multicast routes, the output "
                                   "of `ip -j mroute show`, found null");
    EXPECT_EQ(table_error(""),
              "table.json: is empty, not even an empty JSON value; did `ip -j mroute show` fail?");
    EXPECT_EQ(table_error("(10.0.0.1,239.1.1.1)   Iif: v0"),
              "table.json:1:1: syntax error while parsing value - invalid literal; last read: '('; "
              "is this the output of "
              "`ip -j mroute show`?");
    EXPECT_EQ(table_error("[{\"src\":\"10.0.0.1\",\n \"dst\" \"239.1.1.1\"}]"),
              "table.json:2:18: syntax error while parsing object separator - unexpected string "
              "literal; expected ':'");
}

TEST(MrouteTable, WhatIsNoEntryIsRefused) {
    EXPECT_EQ(entry_error("17"), "): expected a multicast route, an object, found the number 17");
    EXPECT_EQ(entry_error("{}"),
              "): expected a member \"src\" (the source, an IPv4 address), found an empty object");
    EXPECT_EQ(
        entry_error(R"({"src":"10.0.0.1"})"),
        "): expected a member \"dst\" (the group, an IPv4 multicast address), found only \"src\"");
    EXPECT_EQ(entry_error(R"({"src":"10.0.0.1","dst":"239.1.1.2"})"),
              "): expected a member \"iif\" (the incoming interface), found only \"dst\", \"src\"");
}

TEST(MrouteTable, WhatIsNoAddressIsRefused) {
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
}

TEST(MrouteTable, AGroupThatIsNotMulticastIsRefused) {
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

TEST(MrouteTable, AnIpv6TableIsCalledOne) {
    EXPECT_EQ(entry_error(R"({"src":"2001:db8::1","dst":"ff1e::1","iif":"a"})"),
              "/src): \"2001:db8::1\" is an IPv6 address; a route record carries IPv4 only: record "
              "the table with `ip -4 "
              "-j mroute show`");
}

TEST(MrouteTable, WrongInterfacesAreRefused) {
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

TEST(MrouteTable, WrongStatesAreRefused) {
    EXPECT_EQ(entry_error(R"({"src":"10.0.0.1","dst":"239.1.1.2","iif":"a","state":"half"})"),
              "/state): expected \"resolved\" or \"unresolved\", found the string \"half\"");
    EXPECT_EQ(entry_error(R"({"src":"10.0.0.1","dst":"239.1.1.2","iif":"a","state":1})"),
              "/state): expected \"resolved\" or \"unresolved\", found the number 1");
}

TEST(MrouteTable, WrongTablesAreRefused) {
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
    EXPECT_EQ(error(R"("video")"), "/table): the table name \"video\" is none of default, main and "
                                   "local; `ip -N -j mroute show table all` "
                                   "prints numbers for names of /etc/iproute2/rt_tables");
    EXPECT_EQ(
        error(R"("-1")"),
        "/table): the table name \"-1\" is none of default, main and local; `ip -N -j mroute show "
        "table all` prints numbers for names of /etc/iproute2/rt_tables");
}

} // namespace
} // namespace feed
