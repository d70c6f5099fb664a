#include "feed/interfaces.h"
#include "sim/base/if_name.h"

#include <gtest/gtest.h>
#include <stdexcept>

namespace feed {
namespace {

constexpr std::uint32_t kernel_type = 1u << 26;
using made_numbers = std::vector<std::pair<std::string, std::uint32_t>>;

std::string number_error(const std::string &name, kernel_indexes known = {}) {
    interfaces numbers(std::move(known));
    try {
        numbers.number(name);
    } catch (const std::invalid_argument &error) {
        return error.what();
    }
    return "(no error)";
}

TEST(Interfaces, ANameSaysWhereAPortIs) {
    interfaces numbers({{"eth3-7", 5}});
    EXPECT_EQ(numbers.number("eth3-7"), 0x68030700u); // whatever the kernel's index
    EXPECT_EQ(numbers.number("eth0-0"), 0x68000000u);
    EXPECT_EQ(numbers.number("eth255-255"), 0x68ffff00u);
    EXPECT_EQ(numbers.number("eth3-7-2"), 0x68030702u);
    EXPECT_EQ(numbers.number("po12"), 0x1800000cu);
    EXPECT_EQ(numbers.number("vlan10"), 0x1400000au);
    EXPECT_EQ(numbers.number("vlan4094"), 0x14000ffeu);
    EXPECT_EQ(numbers.made(), made_numbers{});
}

TEST(Interfaces, TheSwitchsOwnNotationIsTakenAsWell) {
    for (const char *name : {"Eth3/7", "Eth3/7/2", "Po12", "Vlan10", "if17"}) {
        const auto index = index_in_name(name);
        ASSERT_TRUE(index) << name;
        EXPECT_EQ(sim::if_name(*index), name);
        EXPECT_EQ(interfaces({}).number(name), *index);
    }
}

TEST(Interfaces, AnyOtherNameIsKnownByTheKernelsIndex) {
    for (const char *name :
         {"lan1", "eth0", "eth3", "po", "vlan", "vlan10.20", "eth-3-7", "ethernet", "port3", "br10",
          "wlan0", "ifb0", "if", "If12", "enp3s0", "eth3/7", "", "if-1"}) {
        EXPECT_EQ(index_in_name(name), std::nullopt) << name;
        EXPECT_EQ(interfaces({{name, 17}}).number(name), kernel_type + 17) << name;
    }
    EXPECT_EQ(interfaces({{"lan1", 0x1ffffff}}).number("lan1"), kernel_type + 0x1ffffff);
}

TEST(Interfaces, AKernelsIndexMayBeTooLarge) {
    EXPECT_EQ(number_error("lan1", {{"lan1", 0x2000000}}),
              "the interface \"lan1\" has the index 33554432; the switch numbers indexes up to "
              "33554431");
    EXPECT_EQ(number_error("eth3-7", {{"eth3-7", 0x2000000}}), "(no error)");
}

TEST(Interfaces, WhatLooksLikeAPlaceAndIsNotOneIsRefused) {
    const auto expected = [](const std::string &name, const std::string &pattern) {
        return "the interface \"" + name +
               "\" looks like a place in the switch and is not one: expected " + pattern +
               ", without leading zeros";
    };
    const kernel_indexes none;
    for (const std::string name :
         {"eth1-300", "eth256-1", "eth3-256", "eth03-7", "eth3-07", "eth3--7", "eth3-", "eth3-7-0",
          "eth3-7-2-1", "eth3-7/2", "eth3-7x"}) {
        EXPECT_EQ(number_error(name, {{name, 17}}),
                  expected(name, "ethSLOT-PORT or ethSLOT-PORT-LANE, with numbers up to 255, "
                                 "lanes from 1"));
    }
    for (const std::string name : {"Eth1/300", "Ethernet1/7", "Eth3/", "Eth03/7", "Eth3/7 "}) {
        EXPECT_EQ(number_error(name),
                  expected(name, "EthSLOT/PORT or EthSLOT/PORT/LANE, with numbers up to 255, "
                                 "lanes from 1"));
    }
    for (const std::string name : {"po07", "po65536", "po99999999999"}) {
        EXPECT_EQ(number_error(name, {{name, 17}}), expected(name, "poN, with N up to 65535"));
    }
    EXPECT_EQ(number_error("Po65536"), expected("Po65536", "PoN, with N up to 65535"));
    for (const std::string name : {"vlan0", "vlan010", "vlan4095"}) {
        EXPECT_EQ(number_error(name, {{name, 17}}), expected(name, "vlanN, with N from 1 to 4094"));
    }
    EXPECT_EQ(number_error("Vlan0"), expected("Vlan0", "VlanN, with N from 1 to 4094"));
    for (const std::string name : {"if0", "if012", "if67108864"}) {
        EXPECT_EQ(number_error(name), expected(name, "ifN, with N from 1 to 67108863"));
    }
}

TEST(Interfaces, TheNameOfAnInterfaceThatIsGoneHoldsItsIndex) {
    interfaces numbers({{"if3", 77}, {"if012", 78}});
    EXPECT_EQ(numbers.number("if12"), kernel_type + 12);
    // The name of an interface that is there is a name.
    EXPECT_EQ(numbers.number("if3"), kernel_type + 77);
    EXPECT_EQ(numbers.number("if012"), kernel_type + 78);
}

TEST(Interfaces, ANumberIsMadeFromTheNameAndRemembered) {
    interfaces numbers({{"b", 2}});
    EXPECT_EQ(numbers.number("lan1"), 0x06e9b3f3u); // FNV-1a of "lan1": 0x1ae9b3f3
    EXPECT_EQ(numbers.number("b"), kernel_type + 2);
    EXPECT_EQ(numbers.number("a"), 0x060c292cu); // FNV-1a of "a": 0xe40c292c
    EXPECT_EQ(numbers.number("lan1"), 0x06e9b3f3u);
    EXPECT_EQ(numbers.made(), (made_numbers{{"lan1", 0x06e9b3f3u}, {"a", 0x060c292cu}}));
    EXPECT_EQ(interfaces({}).number("lan1"), 0x06e9b3f3u);
}

TEST(Interfaces, NoNumberIsGivenTwice) {
    const auto error = [](const std::string &first, const std::string &second,
                          kernel_indexes known) {
        interfaces numbers(std::move(known));
        numbers.number(first);
        try {
            numbers.number(second);
        } catch (const std::invalid_argument &thrown) {
            return std::string(thrown.what());
        }
        return std::string("(no error)");
    };
    EXPECT_EQ(error("eth3-7", "Eth3/7", {}),
              "the interfaces \"eth3-7\" and \"Eth3/7\" are both Eth3/7 in the switch");
    EXPECT_EQ(error("lan1", "if17", {{"lan1", 17}}),
              "the interfaces \"lan1\" and \"if17\" are both if17 in the switch");
    EXPECT_EQ(error("a", "if34351404", {}),
              "the interfaces \"a\" and \"if34351404\" are both if34351404 in the switch");
    EXPECT_EQ(error("lan1", "lan1", {{"lan1", 17}}), "(no error)");
}

TEST(Interfaces, PhysicalPortsAloneHaveALineCard) {
    EXPECT_EQ(line_card_bit(*index_in_name("Eth0/1")), 1u);
    EXPECT_EQ(line_card_bit(*index_in_name("Eth3/7/2")), 8u);
    EXPECT_EQ(line_card_bit(*index_in_name("Eth31/1")), 0x80000000u);
    EXPECT_EQ(line_card_bit(*index_in_name("Eth33/1")), 2u);
    for (const char *name : {"Po12", "Vlan10", "if17"}) {
        EXPECT_EQ(line_card_bit(*index_in_name(name)), 0u) << name;
    }
    EXPECT_EQ(line_card_bit(7), 0u);
}

TEST(Interfaces, VlanInterfacesAreKnown) {
    EXPECT_EQ(vlan_interface(10), 0x1400000au);
    EXPECT_TRUE(is_vlan_interface(vlan_interface(4094)));
    for (const char *name : {"Po12", "Eth3/7", "if17"}) {
        EXPECT_FALSE(is_vlan_interface(*index_in_name(name))) << name;
    }
}

TEST(Interfaces, AListIsWrittenWithSpaces) {
    EXPECT_EQ(interface_names({0x68030700, 0x1800000c}), "Eth3/7 Po12");
    EXPECT_EQ(interface_names({}), "none");
}

} // namespace
} // namespace feed
