#include "switch_port.h"

#include <gtest/gtest.h>

namespace feed {
namespace {

constexpr std::uint32_t kernel_type = 1u << 26;

TEST(SwitchPort, ANameSaysWhereAPortIs) {
    EXPECT_EQ(index_in_link_name("eth3-7"), 0x68030700u);
    EXPECT_EQ(index_in_link_name("eth0-0"), 0x68000000u);
    EXPECT_EQ(index_in_link_name("eth255-255"), 0x68ffff00u);
    EXPECT_EQ(index_in_link_name("po12"), 0x1800000cu);
    EXPECT_EQ(index_in_link_name("vlan10"), 0x1400000au);
    EXPECT_EQ(index_in_link_name("vlan4094"), 0x14000ffeu);
    // The kernel's index plays no part then.
    EXPECT_EQ(index_of_link("eth3-7", 5), 0x68030700u);
}

TEST(SwitchPort, AnyOtherNameIsKnownByTheKernelsIndex) {
    const char *const others[] = {
        "lan1",    "eth3",    "eth3-7-2", "eth256-1", "eth3-256",  "eth03-7", "eth3-07",
        "eth-3-7", "eth3--7", "eth3-",    "Eth3/7",   "eth3/7",    "po",      "po07",
        "po65536", "vlan0",   "vlan010",  "vlan4095", "vlan10.20", "if12",    "eth3-7/2"};
    for (const char *other : others) {
        EXPECT_EQ(index_in_link_name(other), std::nullopt) << other;
        EXPECT_EQ(index_of_link(other, 17), kernel_type + 17) << other;
    }
    EXPECT_EQ(index_of_link(std::string("po1\0", 4), 17), kernel_type + 17);
}

TEST(SwitchPort, AKernelsIndexMayBeTooLarge) {
    EXPECT_EQ(index_of_link("lan1", 0x03ffffff), kernel_type + 0x03ffffff);
    EXPECT_EQ(index_of_link("lan1", 0x04000000), std::nullopt);
    EXPECT_EQ(index_of_link("eth3-7", 0x04000000), 0x68030700u);
}

TEST(SwitchPort, NamesGoBothWays) {
    for (const char *name : {"Eth3/7", "Eth3/7/2", "Po12", "Vlan10", "if17"}) {
        const auto index = index_of_name(name);
        ASSERT_TRUE(index) << name;
        EXPECT_EQ(switch_name(*index), name);
    }
    for (const char *name : {"", "eth3-7", "Eth3", "Vlan0", "lan1", "Eth3/7 "})
        EXPECT_EQ(index_of_name(name), std::nullopt) << name;
    EXPECT_EQ(index_of_name(std::string("Po1\0x", 5)), std::nullopt);
    EXPECT_EQ(switch_name(7), "0x00000007");
    EXPECT_EQ(switch_names({0x68030700, 0x1800000c}), "Eth3/7 Po12");
    EXPECT_EQ(switch_names({}), "none");
    EXPECT_EQ(switch_name(index_of_vlan(10)), "Vlan10");
}

TEST(SwitchPort, PhysicalPortsAloneHaveALineCard) {
    EXPECT_EQ(line_card_bit(*index_of_name("Eth0/1")), 1u);
    EXPECT_EQ(line_card_bit(*index_of_name("Eth3/7/2")), 8u);
    EXPECT_EQ(line_card_bit(*index_of_name("Eth31/1")), 0x80000000u);
    EXPECT_EQ(line_card_bit(*index_of_name("Eth33/1")), 2u);
    for (const char *name : {"Po12", "Vlan10", "if17"})
        EXPECT_EQ(line_card_bit(*index_of_name(name)), 0u) << name;
    EXPECT_EQ(line_card_bit(7), 0u);
    EXPECT_TRUE(is_vlan_interface(*index_of_name("Vlan10")));
    for (const char *name : {"Po12", "Eth3/7", "if17"})
        EXPECT_FALSE(is_vlan_interface(*index_of_name(name))) << name;
}

} // namespace
} // namespace feed
