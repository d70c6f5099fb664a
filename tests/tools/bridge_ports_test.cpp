#include "bridge_ports.h"
#include "tests/tools/error_of.h"
#include "tests/tools/ports_text.h"

#include <gmock/gmock.h>

namespace feed {
namespace {

using testing::StartsWith;

TEST(BridgePorts, AreReadAsTheyArePrinted) {
    const port_table table =
        ports_of({port_text("br10", "eth1-1", 101), port_text("br20", "lan1", 102, false)});
    EXPECT_EQ(table.name, "ports.json");
    ASSERT_EQ(table.ports.size(), 2u);
    EXPECT_EQ(table.ports[0].name, "eth1-1");
    EXPECT_EQ(table.ports[0].index, 101u);
    EXPECT_EQ(table.ports[0].bridge, "br10");
    EXPECT_TRUE(table.ports[0].floods);
    EXPECT_FALSE(table.ports[1].floods);
    EXPECT_EQ(table.place(table.ports[1], "/ifname"), "ports.json: entry 2 of 2 (/1/ifname)");
}

TEST(BridgePorts, OfNoBridgeArePassedOver) {
    const port_table table = ports_of(
        {R"({"ifindex":2,"ifname":"nic","hwmode":"VEB"})", port_text("br10", "eth1-1", 101)});
    ASSERT_EQ(table.ports.size(), 1u);
    EXPECT_EQ(table.place(table.ports[0], ""), "ports.json: entry 2 of 2 (/1)");
    EXPECT_TRUE(ports_of({}).ports.empty());
}

TEST(BridgePorts, ThatANetworkCardTellsOfOnceMoreArePassedOver) {
    const port_table table =
        ports_of({port_text("br10", "eth1-1", 101),
                  R"({"ifindex":101,"ifname":"eth1-1","master":"br10","hwmode":"VEB"})",
                  R"({"ifindex":7,"ifname":"ens1f0","master":"bond0","hwmode":"VEPA"})"});
    ASSERT_EQ(table.ports.size(), 1u);
    EXPECT_EQ(table.bridges, std::set<std::string>{"br10"});
}

TEST(BridgePorts, OfOtherBridgesAreCountedAndNotLookedAt) {
    const port_table table = ports_of(
        {R"({"master":"lan"})", port_text("br10", "eth1-1", 101), R"({"master":"wan"})"}, {"br10"});
    EXPECT_EQ(table.ports.size(), 1u);
    EXPECT_EQ(table.other_bridges, 2u);
}

TEST(BridgePorts, OfAnotherListAreRefused) {
    EXPECT_EQ(error_of([] {
                  parse_bridge_ports({"ports.json", R"([{"mdb":[],"router":{}}])"}, {});
              }),
              "ports.json: entry 1 of 1 (/0): expected a member \"ifname\" (the port's name), "
              "found only \"mdb\", "
              "\"router\"");
}

TEST(BridgePorts, ThatAreWrongAreRefusedWithTheirPlace) {
    const auto error = [](const std::string &entry) {
        return error_of([&] { ports_of({port_text("br10", "eth1-1", 101), entry}); });
    };
    EXPECT_EQ(error("7"),
              "ports.json: entry 2 of 2 (/1): expected a port, an object, found the number 7");
    EXPECT_EQ(
        error(R"({"master":7})"),
        "ports.json: entry 2 of 2 (/1/master): expected the bridge's name, found the number 7");
    EXPECT_EQ(
        error(R"({"master":""})"),
        "ports.json: entry 2 of 2 (/1/master): expected the bridge's name, found the string \"\"");
    EXPECT_THAT(error(R"({"master":"br10"})"),
                StartsWith("ports.json: entry 2 of 2 (/1): expected a member \"ifname\""));
    EXPECT_EQ(
        error(port_text("br10", "", 1)),
        "ports.json: entry 2 of 2 (/1/ifname): expected the port's name, found the string \"\"");
    EXPECT_EQ(error(port_text("br10", "a", 0)),
              "ports.json: entry 2 of 2 (/1/ifindex): expected an interface index "
              "from 1 to 2147483647, found the number 0");
    EXPECT_EQ(
        error(port_text("br20", "eth1-1", 102)),
        "ports.json: entry 2 of 2 (/1/ifname): the port \"eth1-1\" stands in entry 1 already");
    EXPECT_EQ(error(R"({"master":"br10","ifname":"a","ifindex":1})"),
              "ports.json: entry 2 of 2 (/1): expected a member \"mcast_flood\" (true or false; "
              "`bridge` prints it with "
              "-d only), found only \"ifindex\", \"ifname\", \"master\"");
    EXPECT_THAT(error(R"({"master":"br10","ifname":"a","ifindex":1,"mcast_flood":"on"})"),
                StartsWith("ports.json: entry 2 of 2 (/1/mcast_flood): expected true or false"));
    EXPECT_EQ(
        error_of([] {
            parse_bridge_ports({"x", "{}"}, {});
        }),
        "x: expected an array of ports, the output of `bridge -j -d link show`, found an object");
}

} // namespace
} // namespace feed
