#include <qarnutils_sim.h>

#include <cstdint>
#include <gtest/gtest.h>
#include <optional>
#include <tuple>

namespace {

// Nothing when it fails, which must leave the output alone.
std::optional<unsigned> type_of(std::uint32_t if_index) {
    std::uint8_t type = 0xee;
    const std::uint32_t status = if_index_get_type(if_index, &type);
    if (status == 0)
        return type;
    EXPECT_EQ(status, 1u);
    EXPECT_EQ(type, 0xee);
    return std::nullopt;
}

using fields = std::tuple<unsigned, unsigned, unsigned>;

// The status, and the three outputs.
std::pair<std::uint32_t, fields> eth_fields_of(std::uint32_t if_index) {
    std::uint8_t slot = 0xe1;
    std::uint8_t port = 0xe2;
    std::uint32_t third = 0xe3e4e5e6;
    const std::uint32_t status = if_index_phy_eth_get_fields(if_index, &slot, &port, &third);
    return {status, {slot, port, third}};
}

constexpr fields untouched = {0xe1, 0xe2, 0xe3e4e5e6};

TEST(IfIndexGetType, KnowsEveryType) {
    EXPECT_EQ(type_of(0x68030700), 26u); // Eth3/7
    EXPECT_EQ(type_of(0x68000000), 26u); // Eth0/0
    EXPECT_EQ(type_of(0x68ffffff), 26u); // Eth255/255/255
    EXPECT_EQ(type_of(0x18000000), 6u);  // Po0
    EXPECT_EQ(type_of(0x1800ffff), 6u);  // Po65535
    EXPECT_EQ(type_of(0x14000001), 5u);  // Vlan1
    EXPECT_EQ(type_of(0x14000ffe), 5u);  // Vlan4094
    EXPECT_EQ(type_of(0x04000001), 1u);  // if1
    EXPECT_EQ(type_of(0x07ffffff), 1u);  // if67108863
}

TEST(IfIndexGetType, FailsForWhatIsNotMadeLikeAnIndex) {
    for (const std::uint32_t if_index : {
             0x69000000u, 0x6a000000u, 0x6bffffffu, // Ethernet ports with bits 25..24 set
             0x18010000u, 0x1a000001u,              // port-channels above 16 bits
             0x14000000u, 0x14000fffu, 0x1400ffffu, // VLAN 0, 4095, 65535
             0x14010001u, 0x16000001u,              // VLAN 1 with higher bits
             0x04000000u,                           // kernel index 0
             0x00000000u, 0x00000007u, 0x08000001u, 0x10000001u,
             0x1c000001u, 0x64000001u, 0x6c000001u, 0xffffffffu,
         })
        EXPECT_EQ(type_of(if_index), std::nullopt) << std::hex << if_index;
}

// Whatever the other bits are, no other code is a type.
TEST(IfIndexGetType, KnowsNoOtherTypes) {
    for (std::uint32_t code = 0; code < 64; ++code) {
        const bool is_type = code == 26 || code == 6 || code == 5 || code == 1;
        for (const std::uint32_t number : {0u, 1u, 10u, 0x30700u, 0x3ffffffu})
            if (!is_type) {
                EXPECT_EQ(type_of(code << 26 | number), std::nullopt) << code << " " << number;
            }
    }
}

TEST(IfIndexPhyEthGetFields, StoresSlotPortAndLane) {
    EXPECT_EQ(eth_fields_of(0x68030700), std::pair(0u, fields(3, 7, 0)));
    EXPECT_EQ(eth_fields_of(0x68030702), std::pair(0u, fields(3, 7, 2)));
    EXPECT_EQ(eth_fields_of(0x68000000), std::pair(0u, fields(0, 0, 0)));
    EXPECT_EQ(eth_fields_of(0x68fffdfe), std::pair(0u, fields(255, 253, 254)));
}

TEST(IfIndexPhyEthGetFields, FailsForOtherTypesAndTouchesNothing) {
    for (const std::uint32_t if_index : {0x1800000cu, 0x1400000au, 0x0400000cu})
        EXPECT_EQ(eth_fields_of(if_index), std::pair(2u, untouched)) << std::hex << if_index;
}

TEST(IfIndexPhyEthGetFields, FailsForWhatHasNoTypeAndTouchesNothing) {
    for (const std::uint32_t if_index :
         {0u, 0x69030700u, 0x14000fffu, 0x18010000u, 0x04000000u, 0xffffffffu})
        EXPECT_EQ(eth_fields_of(if_index), std::pair(1u, untouched)) << std::hex << if_index;
}

} // namespace
