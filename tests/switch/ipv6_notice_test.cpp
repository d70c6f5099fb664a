#include "sim/switch/notices.h"
#include "tests/switch/bytes.h"

#include <gtest/gtest.h>

namespace {

bytes notice() {
    return literal({0xc3, 0xd1, 0x52, 0x41, 0xd2, 0xd3, 0xd4, 0xd5, 0x18, 0x27, 0x36, 0x45, 0x8a,
                    0x9b, 0xac, 0xbd});
}

} // namespace

TEST(Ipv6Notice, IsDecoded) {
    const sim::ipv6_notice decoded = sim::decode_ipv6_notice(notice());
    EXPECT_EQ(decoded.client_id, 0xc3);
    EXPECT_EQ(decoded.third, 0x4152);
    EXPECT_EQ(decoded.first, 0x45362718u);
    EXPECT_EQ(decoded.second, 0xbdac9b8au);
}

TEST(Ipv6Notice, HasOneLengthOnly) {
    const auto refusal_of_length = [](std::size_t length) {
        return refusal_of([&] { sim::decode_ipv6_notice(cut(notice(), length)); });
    };
    EXPECT_EQ(refusal_of_length(15), "offset 15: the message is 15 bytes long, it must be 16");
    EXPECT_EQ(refusal_of_length(17), "offset 16: the message is 17 bytes long, it must be 16");
    EXPECT_EQ(refusal_of_length(0), "offset 0: the message is 0 bytes long, it must be 16");
}
