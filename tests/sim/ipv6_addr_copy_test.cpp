#include <qarnutils.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <gtest/gtest.h>
#include <numeric>

namespace {

// 16 bytes that differ, at every alignment of either side, and not a byte beyond them.
TEST(Ipv6AddrCopy, CopiesSixteenBytesAtAnyAlignment) {
    for (std::size_t from = 0; from < 4; ++from) {
        for (std::size_t to = 1; to < 5; ++to) {
            std::array<std::uint8_t, 24> source;
            std::iota(source.begin(), source.end(), std::uint8_t{0x20});
            const auto source_before = source;
            std::array<std::uint8_t, 24> target;
            target.fill(0xee);
            auto expected = target;
            std::copy_n(source.data() + from, 16, expected.data() + to);

            ipv6_addr_copy(source.data() + from, target.data() + to);

            EXPECT_EQ(target, expected) << "from " << from << " to " << to;
            EXPECT_EQ(source, source_before);
        }
    }
}

} // namespace
