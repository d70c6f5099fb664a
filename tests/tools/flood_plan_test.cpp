#include "switch_port.h"
#include "tests/tools/error_of.h"
#include "tests/tools/ports_text.h"

#include <gtest/gtest.h>

namespace feed {
namespace {

TEST(FloodPlan, HasThePortsThatAreFloodedTo) {
    const auto sets =
        sets_of({port_text("br20", "po3", 5), port_text("br10", "eth2-1", 6),
                 port_text("br10", "eth1-9", 7), port_text("br10", "eth3-1", 8, false),
                 port_text("br20", "cam1", 9), port_text("br20", "eth33-1", 10)});
    ASSERT_EQ(sets.size(), 2u);
    EXPECT_EQ(sets[0].key.vlan, 10u);
    EXPECT_EQ(sets[0].entry, 1u);
    EXPECT_EQ(switch_names(sets[0].interfaces), "Eth1/9 Eth2/1");
    EXPECT_EQ(sets[0].line_card_mask, 6u);
    EXPECT_EQ(sets[1].key.vlan, 20u);
    EXPECT_EQ(sets[1].entry, 0u);
    EXPECT_EQ(switch_names(sets[1].interfaces), "if9 Po3 Eth33/1");
    EXPECT_EQ(sets[1].line_card_mask, 2u);
}

TEST(FloodPlan, KeepsVlanInterfacesApart) {
    const auto sets = sets_of({port_text("br10", "vlan10", 5), port_text("br10", "eth2-1", 6)});
    ASSERT_EQ(sets.size(), 1u);
    EXPECT_EQ(switch_names(sets[0].interfaces), "Eth2/1");
    EXPECT_EQ(switch_names(sets[0].vlan_interfaces), "Vlan10");
}

TEST(FloodPlan, HasAVlanThatIsFloodedToNoPort) {
    const auto sets = sets_of({port_text("br10", "eth2-1", 6, false)});
    ASSERT_EQ(sets.size(), 1u);
    EXPECT_TRUE(sets[0].interfaces.empty());
    EXPECT_EQ(sets[0].line_card_mask, 0u);
}

TEST(FloodPlan, TakesABridgesVlanFromItsNameOrAsItIsTold) {
    EXPECT_EQ(sets_of({port_text("br4094", "a", 5)})[0].key.vlan, 4094u);
    EXPECT_EQ(sets_of({port_text("lan", "a", 5)}, {{"lan", 7}})[0].key.vlan, 7u);
    EXPECT_EQ(sets_of({port_text("br10", "a", 5)}, {{"br10", 7}})[0].key.vlan, 7u);
    for (const char *bridge : {"lan", "br", "br0", "br010", "br4095", "br10x", "br-10"}) {
        EXPECT_EQ(error_of([&] { sets_of({port_text(bridge, "a", 5)}); }),
                  fmt::format("ports.json: entry 1 of 1 (/0/master): the bridge \"{}\" has no VLAN "
                              "in its name, as br10 "
                              "has; name the VLAN with --vlan {}=N, or take other bridges alone "
                              "with --bridge NAME",
                              bridge, bridge));
    }
}

TEST(FloodPlan, RefusesWhatContradictsItself) {
    EXPECT_EQ(error_of([] {
                  sets_of({port_text("br10", "a", 5), port_text("lan", "b", 6)}, {{"lan", 10}});
              }),
              "ports.json: entry 2 of 2 (/1/master): VLAN 10 is the bridge \"lan\" here and "
              "\"br10\" in entry 1; a VLAN "
              "has one bridge");
    EXPECT_EQ(error_of([] {
                  sets_of({port_text("br10", "a", 5), port_text("br10", "b", 5)});
              }),
              "ports.json: entry 2 of 2 (/1/ifindex): the port \"b\" is if5 for the switch, and so "
              "is \"a\" in entry 1");
    EXPECT_EQ(error_of([] { sets_of({port_text("br10", "a", 0x04000000)}); }),
              "ports.json: entry 1 of 1 (/0/ifindex): the index 67108864 of the port \"a\" is too "
              "large for an interface "
              "that the switch knows by it alone");
}

} // namespace
} // namespace feed
