#include "sim/base/address.h"

#include <gtest/gtest.h>

namespace {

// What a text is read as, written again with its kind; empty when it is not an address.
std::string reread(const std::string &text) {
    const auto parsed = sim::parse_l2_address(text);
    return parsed ? std::string(kind_name(parsed->kind)) + " " + address_text(*parsed)
                  : std::string();
}

} // namespace

TEST(L2Address, IsReadAsPeopleWriteIt) {
    EXPECT_EQ(reread("239.1.1.9"), "ipv4 239.1.1.9");
    EXPECT_EQ(reread("FF02:0::1:3"), "ipv6 ff02::1:3");
    EXPECT_EQ(reread("01:00:5E:7f:0a:B1"), "mac 01:00:5e:7f:0a:b1");
}

TEST(L2Address, IsNotReadFromAnythingElse) {
    for (const char *text :
         {"", "239.1.1", "01:00:5e:7f:0a", "01:00:5e:7f:0a:b1:", "01:00:5e:7f:0a:bg",
          "01-00-5e-7f-0a-b1", "01:00:5e:7f:0a:+1", "ff02"}) {
        EXPECT_EQ(reread(text), "") << text;
    }
}

TEST(L2Address, IsNotReadUpToANulByte) {
    EXPECT_EQ(reread(std::string("239.1.1.1\0x", 11)), "");
    EXPECT_EQ(reread(std::string("ff02::1\0", 8)), "");
}

TEST(L2Address, IsANumberInHostByteOrder) {
    EXPECT_EQ(ipv4_number(*sim::parse_l2_address("10.11.12.13")), 0x0a0b0c0du);
    EXPECT_EQ(address_text(sim::ipv4_address(0xef010203)), "239.1.2.3");
    EXPECT_EQ(sim::ipv4_text(0xef010203), "239.1.2.3");
}

TEST(L2Address, NamesARouteWithPrefixLengthsThatAreNotWhole) {
    const auto text = [](const char *source, unsigned source_length, const char *group,
                         unsigned group_length) {
        return sim::sg_text(*sim::parse_l2_address(source), source_length,
                            *sim::parse_l2_address(group), group_length);
    };
    EXPECT_EQ(text("10.0.0.9", 32, "239.1.1.2", 32), "(10.0.0.9, 239.1.1.2)");
    EXPECT_EQ(text("0.0.0.0", 0, "239.1.1.2", 32), "(*, 239.1.1.2)");
    EXPECT_EQ(text("0.0.0.0", 32, "239.0.0.0", 8), "(0.0.0.0, 239.0.0.0/8)");
    EXPECT_EQ(text("10.0.0.0", 24, "0.0.0.0", 0), "(10.0.0.0/24, *)");
    EXPECT_EQ(text("fd00::1", 128, "ff1e::2", 128), "(fd00::1, ff1e::2)");
    EXPECT_EQ(text("::", 0, "ff1e::", 64), "(*, ff1e::/64)");
}

TEST(L2Address, HasTheSizeOfItsKind) {
    EXPECT_EQ(sim::l2_address_size(2), 6u);
    EXPECT_EQ(sim::l2_address_size(4), 4u);
    EXPECT_EQ(sim::l2_address_size(8), 16u);
    for (const std::uint32_t kind : {0u, 1u, 3u, 5u, 6u, 7u, 9u, 0x04000000u}) {
        EXPECT_EQ(sim::l2_address_size(kind), 0u) << kind;
    }
}
