#include "net_address.h"

#include <gtest/gtest.h>

namespace feed {
namespace {

TEST(NetAddress, Ipv4IsInNetworkOrder) {
    const auto address = parse_net_address("10.0.0.9");
    ASSERT_TRUE(address);
    EXPECT_EQ(address->kind, address_kind::ipv4);
    EXPECT_EQ(address->bytes, (std::array<std::uint8_t, 16>{10, 0, 0, 9}));
    EXPECT_EQ(ipv4_number(*address), 0x0a000009u);
    EXPECT_EQ(ipv4_address(0x0a000009), *address);
    EXPECT_EQ(address_text(*address), "10.0.0.9");
}

TEST(NetAddress, Ipv6FillsAllBytes) {
    const auto address = parse_net_address("ff3e:1:2::4321:1");
    ASSERT_TRUE(address);
    const std::array<std::uint8_t, 16> bytes = {0xff, 0x3e, 0, 1, 0,    2,    0, 0,
                                                0,    0,    0, 0, 0x43, 0x21, 0, 1};
    EXPECT_EQ(address->kind, address_kind::ipv6);
    EXPECT_EQ(address->bytes, bytes);
    EXPECT_EQ(ipv6_address(bytes), *address);
    EXPECT_EQ(address_text(*address), "ff3e:1:2::4321:1");
}

TEST(NetAddress, MacFillsSixBytes) {
    const auto address = parse_net_address("01:0E:cf:00:Ab:02");
    ASSERT_TRUE(address);
    EXPECT_EQ(address->kind, address_kind::mac);
    EXPECT_EQ(address->bytes, (std::array<std::uint8_t, 16>{0x01, 0x0e, 0xcf, 0x00, 0xab, 0x02}));
    EXPECT_EQ(address_text(*address), "01:0e:cf:00:ab:02");
}

TEST(NetAddress, AnythingElseIsNone) {
    using namespace std::string_literals;
    for (const std::string &text :
         {""s, "10.0.0"s, "10.0.0.256"s, "10.0.0.9 "s, "10.0.0.9\0"s, "ff0e::1\0x"s, "ff0e::1::2"s,
          "fe80::1%lo"s, "01:00:5e:00:00"s, "01:00:5e:00:00:0"s, "01:00:5e:00:00:001"s,
          "01-00-5e-00-00-01"s, "01:00:5e:00:00:0g"s, "01:00:5e:00:00:+1"s, "01:00:5e:00:00.01"s,
          "0x:00:5e:00:00:01"s, "host"s})
        EXPECT_FALSE(parse_net_address(text)) << text;
    EXPECT_FALSE(parse_ip("01:00:5e:00:00:01"));
    EXPECT_TRUE(parse_ip("::"));
}

TEST(NetAddress, KnowsGroupsAndAny) {
    const auto multicast = [](const char *text) { return is_multicast(*parse_net_address(text)); };
    EXPECT_TRUE(multicast("224.0.0.0"));
    EXPECT_TRUE(multicast("239.255.255.255"));
    EXPECT_FALSE(multicast("223.255.255.255"));
    EXPECT_FALSE(multicast("240.0.0.0"));
    EXPECT_TRUE(multicast("ff02::1"));
    EXPECT_FALSE(multicast("fe80::1"));
    EXPECT_TRUE(multicast("01:00:00:00:00:00"));
    EXPECT_TRUE(multicast("33:33:00:00:00:01"));
    EXPECT_FALSE(multicast("02:00:5e:00:00:01"));
    EXPECT_TRUE(is_any(*parse_ip("0.0.0.0")));
    EXPECT_TRUE(is_any(*parse_ip("::")));
    EXPECT_FALSE(is_any(*parse_ip("::1")));
}

TEST(NetAddress, SortsByKindAndThenAsNumbers) {
    const auto less = [](const char *first, const char *second) {
        return *parse_net_address(first) < *parse_net_address(second);
    };
    EXPECT_TRUE(less("239.2.0.0", "239.10.0.0"));
    EXPECT_TRUE(less("239.255.255.255", "ff00::"));
    EXPECT_TRUE(less("ffff::", "01:00:00:00:00:00"));
}

} // namespace
} // namespace feed
