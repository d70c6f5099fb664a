#include "feed/interfaces.h"
#include "tests/feed/snapshot_text.h"

#include <gtest/gtest.h>

namespace feed {
namespace {

plan plan_of(std::initializer_list<std::string> ports, const plan_options &options = {}) {
    return snapshot_text({{"ports.json", ports_text(ports)}}).read(options);
}

plan_options with_vlans(std::map<std::string, std::uint16_t> vlans) {
    plan_options options;
    options.vlans = std::move(vlans);
    return options;
}

std::string plan_error(std::initializer_list<std::string> ports, const plan_options &options = {}) {
    return snapshot_text({{"ports.json", ports_text(ports)}}).error(options);
}

// "VLAN 10: Eth1/1 Eth1/2; VLAN 20: none"
std::string sets_of(const plan &made) {
    std::string text;
    for (const auto &[key, set] : made.wanted.floods) {
        text += fmt::format("{}{}: {}", text.empty() ? "" : "; ", key_text(key),
                            interface_names(set.interfaces));
    }
    return text;
}

TEST(PlanFloods, HaveThePortsThatAreFloodedTo) {
    const plan made =
        plan_of({port_text("br20", "po3", 5), port_text("br10", "eth2-1", 6),
                 port_text("br10", "eth1-9", 7), port_text("br10", "eth3-1", 8, false),
                 port_text("br20", "cam1", 9), port_text("br20", "eth33-1", 10)});
    EXPECT_EQ(sets_of(made), "VLAN 10: Eth1/9 Eth2/1; VLAN 20: if9 Po3 Eth33/1");
    EXPECT_EQ(made.wanted.floods.at({10}).line_cards, 6u);
    EXPECT_EQ(made.wanted.floods.at({20}).line_cards, 2u);
    EXPECT_TRUE(made.said.floods);
    EXPECT_FALSE(made.said.routes || made.said.groups || made.said.ltls);
}

TEST(PlanFloods, HaveNoVlanInterfaces) {
    const plan made = plan_of({port_text("br10", "vlan10", 5), port_text("br10", "eth2-1", 6),
                               port_text("br10", "vlan11", 7, false)});
    EXPECT_EQ(sets_of(made), "VLAN 10: Eth2/1");
    EXPECT_EQ(made.without.flooded_vlan_interfaces, 1u);
}

TEST(PlanFloods, HaveNoPortsThatTheBridgeDoesNotForwardOn) {
    const plan made =
        plan_of({port_text("br10", "eth1-1", 5, true, "disabled"),
                 port_text("br10", "eth1-2", 6, true, "listening"),
                 port_text("br10", "eth1-3", 7, true, "learning"),
                 port_text("br10", "eth1-4", 8, true, "forwarding"),
                 port_text("br10", "eth1-5", 9, true, "blocking"),
                 port_text("br10", "eth1-6", 10, false, "blocking"),
                 R"({"ifindex":11,"ifname":"eth1-7","master":"br10","mcast_flood":true})"});
    EXPECT_EQ(sets_of(made), "VLAN 10: Eth1/4 Eth1/7");
    EXPECT_EQ(made.without.ports_not_forwarding, 4u);
}

TEST(PlanFloods, AVlanThatIsFloodedToNoPortHasNoSet) {
    const plan made =
        plan_of({port_text("br10", "eth2-1", 6, false), port_text("br20", "vlan20", 7),
                 port_text("br30", "eth2-2", 8, true, "disabled")});
    EXPECT_EQ(sets_of(made), "");
    EXPECT_TRUE(made.said.floods);
}

TEST(PlanFloods, TheVlanIsNamedOrInTheBridgesName) {
    EXPECT_EQ(sets_of(plan_of({port_text("br4094", "a", 5)})), "VLAN 4094: if5");
    EXPECT_EQ(sets_of(plan_of({port_text("lan", "a", 5)}, with_vlans({{"lan", 7}}))),
              "VLAN 7: if5");
    EXPECT_EQ(sets_of(plan_of({port_text("br10", "a", 5)}, with_vlans({{"br10", 7}}))),
              "VLAN 7: if5");
    for (const char *bridge : {"lan", "br", "br0", "br010", "br4095", "br10x", "br-10"}) {
        EXPECT_EQ(plan_error({port_text(bridge, "a", 5)}),
                  fmt::format("ports.json: entry 1 (/0/master): the bridge \"{0}\" has no VLAN in "
                              "its name, as br10 has; name the VLAN with --vlan {0}=N, or take "
                              "other bridges alone with --bridge NAME",
                              bridge));
    }
}

TEST(PlanFloods, APortOfAVlanAwareBridgeFloodsInEachOfItsVlans) {
    const snapshot_text files(
        {{"ports.json",
          ports_text({port_text("lan", "eth1-1", 5), port_text("lan", "eth1-2", 6),
                      port_text("lan", "eth1-3", 7), port_text("br10", "eth1-4", 8)})},
         {"vlans.json",
          R"([{"ifname":"eth1-1","vlans":[{"vlan":10,"flags":["PVID","Egress Untagged"]},
                                          {"vlan":20,"vlanEnd":22}]},
              {"ifname":"eth1-2","vlans":[{"vlan":21}]},{"ifname":"eth1-3","vlans":[]},
              {"ifname":"eth1-4","vlans":[{"vlan":1}]}])"}});
    // What the bridge's name says goes first.
    EXPECT_EQ(files.error(), "ports.json: entry 4 (/3/master): VLAN 10 is the bridge \"br10\" here "
                             "and \"lan\" in entry 1; a VLAN has one bridge");
    files.put("ports.json",
              ports_text({port_text("lan", "eth1-1", 5), port_text("lan", "eth1-2", 6),
                          port_text("lan", "eth1-3", 7), port_text("br11", "eth1-4", 8)}));
    EXPECT_EQ(sets_of(files.read()), "VLAN 10: Eth1/1; VLAN 11: Eth1/4; VLAN 20: Eth1/1; VLAN 21: "
                                     "Eth1/1 Eth1/2; VLAN 22: Eth1/1");
    EXPECT_EQ(sets_of(files.read(with_vlans({{"lan", 7}}))),
              "VLAN 7: Eth1/1 Eth1/2 Eth1/3; VLAN 11: Eth1/4");
}

TEST(PlanFloods, TheNameOfAVlanAwareBridgeSaysNoVlan) {
    const snapshot_text files(
        {{"ports.json", ports_text({port_text("br10", "eth1-1", 5), port_text("br10", "eth1-2", 6),
                                    port_text("br10", "eth1-3", 7), port_text("br20", "eth1-4", 8),
                                    port_text("br20", "eth1-5", 9)})},
         {"vlans.json",
          R"([{"ifname":"eth1-1","vlans":[{"vlan":10},{"vlan":30}]},
              {"ifname":"eth1-2","vlans":[{"vlan":1}]},
              {"ifname":"eth1-4","vlans":[{"vlan":1}]},{"ifname":"eth1-5","vlans":[]}])"}});
    EXPECT_EQ(sets_of(files.read()),
              "VLAN 1: Eth1/2; VLAN 10: Eth1/1; VLAN 20: Eth1/4 Eth1/5; VLAN 30: Eth1/1");
    EXPECT_EQ(sets_of(files.read(with_vlans({{"br10", 7}}))),
              "VLAN 7: Eth1/1 Eth1/2 Eth1/3; VLAN 20: Eth1/4 Eth1/5");
}

TEST(PlanFloods, TheVlansOfABridgeAreKnownWithoutARow) {
    const snapshot_text files({{"links.json", links_text({{"br10", 2}, {"lan", 3}, {"eth1-1", 4}})},
                               {"ports.json", ports_text({port_text("lan", "eth1-1", 4, false)})},
                               {"vlans.json", R"([{"ifname":"lan","vlans":[{"vlan":40}]},
                            {"ifname":"eth1-1","vlans":[{"vlan":30,"vlanEnd":31}]}])"}});
    plan_options options;
    options.bridges = {"br10", "lan"};
    const plan made = files.read(options);
    EXPECT_EQ(sets_of(made), "");
    EXPECT_EQ(made.vlans, (std::set<std::uint16_t>{10, 30, 31, 40}));
    options.bridges = {"gone"};
    EXPECT_EQ(files.error(options).substr(0, 34), "--bridge \"gone\": no such bridge is");
    options.may_lack_bridges = true;
    EXPECT_EQ(files.error(options), "(no error)");
}

TEST(PlanFloods, WrongVlansOfPortsAreRefused) {
    const auto error = [](const std::string &vlans) {
        return snapshot_text(
                   {{"ports.json", ports_text({port_text("lan", "a", 5)})}, {"vlans.json", vlans}})
            .error();
    };
    EXPECT_EQ(
        error(R"([{"ifname":"b","vlans":[{"vlan":10}]}])"),
        "ports.json: entry 1 (/0/master): the bridge \"lan\" has no VLAN in its name, as br10 "
        "has; name the VLAN with --vlan lan=N, or take other bridges alone with --bridge NAME");
    EXPECT_EQ(error(R"({"a":[{"vlan":10}]})"),
              "vlans.json: expected an array of ports with VLANs, the output of `bridge -j vlan "
              "show`, found an object");
    EXPECT_EQ(error(R"([7])"),
              "vlans.json: entry 1 (/0): expected a port, an object, found the number 7");
    EXPECT_EQ(error(R"([{"ifname":"a","vlans":[]},{"ifname":"a","vlans":[]}])"),
              "vlans.json: entry 2 (/1/ifname): \"a\" is already in entry 1");
    EXPECT_EQ(error(R"([{"ifname":"a","vlans":[{"vlan":10},{"vlan":9,"vlanEnd":11}]}])"),
              "vlans.json: entry 1 (/0/vlans/1/vlan): the port has VLAN 10 twice");
    EXPECT_EQ(error(R"([{"ifname":"a","vlans":[{"vlan":10,"vlanEnd":9}]}])"),
              "vlans.json: entry 1 (/0/vlans/0/vlanEnd): expected a VLAN id from 10 to 4094, found "
              "the number 9");
    EXPECT_EQ(error(R"([{"ifname":"a","vlans":[{"vlan":4095}]}])"),
              "vlans.json: entry 1 (/0/vlans/0/vlan): expected a VLAN id from 1 to 4094, found the "
              "number 4095");
    EXPECT_EQ(error(R"([{"ifname":"a","vlans":[7]}])"),
              "vlans.json: entry 1 (/0/vlans/0): expected a VLAN, an object, found the number 7");
    EXPECT_EQ(
        error(R"([{"ifname":"a"}])"),
        "vlans.json: entry 1 (/0): expected a member \"vlans\" (an array of VLANs), found only "
        "\"ifname\"");
}

TEST(PlanFloods, InterfacesThatAreNotPortsArePassedOver) {
    const plan made =
        plan_of({R"({"ifindex":2,"ifname":"nic","hwmode":"VEB"})", port_text("br10", "eth1-1", 101),
                 R"({"ifindex":101,"ifname":"eth1-1","master":"br10","hwmode":"VEB"})",
                 R"({"ifindex":7,"ifname":"ens1f0","master":"bond0","hwmode":"VEPA"})",
                 R"({"ifindex":9,"ifname":"lan1"})"});
    EXPECT_EQ(sets_of(made), "VLAN 10: Eth1/1");
    EXPECT_TRUE(plan_of({}).said.floods);
}

TEST(PlanFloods, OtherBridgesAreCountedAndNotLookedAt) {
    plan_options options;
    options.bridges = {"br10"};
    const plan made = plan_of(
        {R"({"master":"lan"})", port_text("br10", "eth1-1", 101), R"({"master":"wan"})"}, options);
    EXPECT_EQ(sets_of(made), "VLAN 10: Eth1/1");
    EXPECT_EQ(made.without.of_other_bridges, 2u);
}

TEST(PlanFloods, WhatContradictsItselfIsRefused) {
    EXPECT_EQ(plan_error({port_text("br10", "a", 5), port_text("lan", "b", 6)},
                         with_vlans({{"lan", 10}})),
              "ports.json: entry 2 (/1/master): VLAN 10 is the bridge \"lan\" here and \"br10\" in "
              "entry 1; a VLAN has one bridge");
    EXPECT_EQ(plan_error({port_text("br10", "a", 5), port_text("br10", "b", 5)}),
              "ports.json: entry 2 (/1/ifname): the interfaces \"a\" and \"b\" are both if5 in the "
              "switch");
    EXPECT_EQ(plan_error({port_text("br10", "a", 0x02000000)}),
              "ports.json: entry 1 (/0/ifname): the interface \"a\" has the index 33554432; the "
              "switch numbers indexes up to 33554431");
}

TEST(PlanFloods, WrongPortsAreRefusedWithTheirPlace) {
    const auto error = [](const std::string &entry) {
        return plan_error({port_text("br10", "eth1-1", 101), entry});
    };
    EXPECT_EQ(error("7"),
              "ports.json: entry 2 (/1): expected a port, an object, found the number 7");
    EXPECT_EQ(
        error(R"({"mdb":[],"router":{}})"),
        "ports.json: entry 2 (/1): expected a member \"ifname\" (the port's name), found only "
        "\"mdb\", \"router\"");
    EXPECT_EQ(error(R"({"master":7})"),
              "ports.json: entry 2 (/1/master): expected the bridge's name, found the number 7");
    EXPECT_EQ(error(R"({"master":""})"),
              "ports.json: entry 2 (/1/master): expected the bridge's name, found the string \"\"");
    EXPECT_EQ(
        error(R"({"master":"br10"})"),
        "ports.json: entry 2 (/1): expected a member \"ifname\" (the port's name), found only "
        "\"master\"");
    EXPECT_EQ(error(port_text("br10", "", 1)),
              "ports.json: entry 2 (/1/ifname): expected the port's name, found the string \"\"");
    EXPECT_EQ(error(port_text("br10", "a", 0)),
              "ports.json: entry 2 (/1/ifindex): expected an interface index from 1 to 2147483647, "
              "found the number 0");
    EXPECT_EQ(error(port_text("br20", "eth1-1", 101)),
              "ports.json: entry 2 (/1/ifname): \"eth1-1\" is already in entry 1");
    EXPECT_EQ(error(port_text("br10", "a", 5, true, "up")),
              "ports.json: entry 2 (/1/state): expected \"disabled\", \"listening\", \"learning\", "
              "\"forwarding\" or \"blocking\", found the string \"up\"");
    EXPECT_EQ(error(R"({"master":"br10","ifname":"a","ifindex":1})"),
              "ports.json: entry 2 (/1): expected a member \"mcast_flood\" (true or false; "
              "`bridge` prints it with -d only), found only \"ifindex\", \"ifname\", \"master\"");
    EXPECT_EQ(
        error(R"({"master":"br10","ifname":"a","ifindex":1,"mcast_flood":"on"})"),
        "ports.json: entry 2 (/1/mcast_flood): expected true or false; `bridge` prints it with "
        "-d only, found the string \"on\"");
    EXPECT_EQ(
        snapshot_text({{"ports.json", "{}"}}).error(),
        "ports.json: expected an array of ports, the output of `bridge -j -d link show`, found "
        "an object");
}

} // namespace
} // namespace feed
