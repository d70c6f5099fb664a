#include "sim/base/net_address.h"

#include <gtest/gtest.h>

namespace {

// What a text is read as, written again with its kind; empty when it is no address.
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

TEST(L2Address, HasTheSizeOfItsKind) {
    EXPECT_EQ(sim::l2_address_size(2), 6u);
    EXPECT_EQ(sim::l2_address_size(4), 4u);
    EXPECT_EQ(sim::l2_address_size(8), 16u);
    for (const std::uint32_t kind : {0u, 1u, 3u, 5u, 6u, 7u, 9u, 0x04000000u}) {
        EXPECT_EQ(sim::l2_address_size(kind), 0u) << kind;
    }
}
