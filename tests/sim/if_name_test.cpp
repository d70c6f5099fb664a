#include <qarnutils_sim.h>

#include <array>
#include <cstdint>
#include <gtest/gtest.h>
#include <string>

extern "C" int qarnutils_sim_name_in_c(uint32_t if_index, char *name);

namespace {

std::string name_of(std::uint32_t if_index) {
    std::array<char, QARNUTILS_SIM_NAME_SIZE> name;
    name.fill('~');
    const int result = qarnutils_sim_if_name(if_index, name.data(), name.size());
    if (result == 0)
        return name.data();
    EXPECT_EQ(result, -1);
    EXPECT_EQ(std::string(name.data(), name.size()), std::string(name.size(), '~'));
    return "none";
}

// The index, or 0xdeadbeef, which has no name, when the name is none.
std::uint32_t index_of(const char *name) {
    std::uint32_t if_index = 0xdeadbeef;
    const int result = qarnutils_sim_if_index(name, &if_index);
    EXPECT_EQ(result, if_index == 0xdeadbeef ? -1 : 0) << (name == nullptr ? "null" : name);
    return if_index;
}

struct named {
    std::uint32_t if_index;
    const char *name;
};

constexpr named interfaces[] = {
    {0x68000000, "Eth0/0"},         {0x68000001, "Eth0/0/1"},    {0x68030700, "Eth3/7"},
    {0x68030702, "Eth3/7/2"},       {0x680a0b0c, "Eth10/11/12"}, {0x68ffff00, "Eth255/255"},
    {0x68ffffff, "Eth255/255/255"}, {0x18000000, "Po0"},         {0x1800000c, "Po12"},
    {0x1800ffff, "Po65535"},        {0x14000001, "Vlan1"},       {0x1400000a, "Vlan10"},
    {0x14000ffe, "Vlan4094"},       {0x04000001, "if1"},         {0x0400000c, "if12"},
    {0x07ffffff, "if67108863"},
};

TEST(InterfaceNames, AreThoseOfTheirIndexes) {
    for (const named &known : interfaces) {
        EXPECT_EQ(name_of(known.if_index), known.name);
        EXPECT_EQ(index_of(known.name), known.if_index) << known.name;
    }
}

// Every number of the small types, and every slot, port and lane once beside two values of the
// others.
TEST(InterfaceNames, SurviveTheWayThereAndBack) {
    std::size_t count = 0;
    const auto expect_same = [&count](std::uint32_t if_index) {
        const std::string name = name_of(if_index);
        ASSERT_NE(name, "none") << std::hex << if_index;
        ASSERT_EQ(index_of(name.c_str()), if_index) << name;
        ++count;
    };
    for (std::uint32_t vlan = 1; vlan <= 4094; ++vlan)
        expect_same(0x14000000 | vlan);
    for (std::uint32_t number = 0; number <= 0xffff; ++number)
        expect_same(0x18000000 | number);
    for (std::uint32_t field = 0; field <= 0xff; ++field)
        for (const std::uint32_t other : {0u, 0xffu}) {
            expect_same(0x68000000 | field << 16 | other << 8 | other);
            expect_same(0x68000000 | other << 16 | field << 8 | other);
            expect_same(0x68000000 | other << 16 | other << 8 | field);
        }
    for (std::uint32_t bit = 1; bit <= 0x2000000; bit <<= 1)
        expect_same(0x04000000 | bit);
    EXPECT_EQ(count, 4094u + 65536u + 6u * 256u + 26u);
}

TEST(InterfaceNames, AreNotGivenToWhatHasNoType) {
    for (const std::uint32_t if_index : {0u, 9u, 0x69030700u, 0x18010000u, 0x14000000u, 0x14000fffu,
                                         0x04000000u, 0x64000001u, 0xffffffffu})
        EXPECT_EQ(name_of(if_index), "none") << std::hex << if_index;
}

TEST(InterfaceNames, AreWrittenInOneWayOnly) {
    for (const char *name :
         {"",          "Eth",        "Eth3",         "Eth3/",    "Eth/7",      "Eth3/7/",
          "Eth3/7/0",  "Eth3/7/2/1", "Eth256/7",     "Eth3/256", "Eth3/7/256", "Eth03/7",
          "Eth3/07",   "Eth3/7/02",  "Eth00/0",      "eth3/7",   "ETH3/7",     "Ethernet3/7",
          "Eth 3/7",   " Eth3/7",    "Eth3/7 ",      "Eth3 /7",  "Eth-3/7",    "Eth+3/7",
          "Eth3-7",    "Eth3//7",    "Eth3/+7",      "Eth0x3/7", "3/7",        "Po",
          "Po65536",   "Po012",      "Po-1",         "Po+1",     "po12",       "PO12",
          "Po12/1",    "Po 12",      "Po4294967308", "Po12x",    "Vlan",       "Vlan0",
          "Vlan4095",  "Vlan010",    "vlan10",       "VLAN10",   "Vlan10.1",   "Vlan-10",
          "Vlan65537", "if",         "if0",          "if01",     "if67108864", "if4294967297",
          "If12",      "if-1",       "if1\n",        "lo",       "12",         "0x68030700"})
        EXPECT_EQ(index_of(name), 0xdeadbeef) << name;
}

TEST(InterfaceNames, NeedSomewhereToGo) {
    EXPECT_EQ(index_of(nullptr), 0xdeadbeef);
    EXPECT_EQ(qarnutils_sim_if_index("Po12", nullptr), -1);
    EXPECT_EQ(qarnutils_sim_if_name(0x1800000c, nullptr, 16), -1);
}

TEST(InterfaceNames, NeedRoomForAllTheirLetters) {
    std::array<char, 8> name;
    for (std::size_t size = 0; size <= 6; ++size) {
        name.fill('~');
        EXPECT_EQ(qarnutils_sim_if_name(0x68030700, name.data(), size), -1);
        EXPECT_EQ(std::string(name.data(), name.size()), "~~~~~~~~") << size;
    }
    EXPECT_EQ(qarnutils_sim_if_name(0x68030700, name.data(), 7), 0);
    EXPECT_EQ(std::string(name.data(), name.size()), std::string("Eth3/7\0~", 8));
}

TEST(InterfaceNames, AreThereForCCode) {
    std::array<char, QARNUTILS_SIM_NAME_SIZE> name;
    EXPECT_EQ(qarnutils_sim_name_in_c(0x68ffffff, name.data()), 0);
    EXPECT_STREQ(name.data(), "Eth255/255/255");
}

} // namespace
