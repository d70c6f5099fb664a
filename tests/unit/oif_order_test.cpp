// The order of interfaces, and the line card that one is on.
#include "ltl_test.h"

#include <cstdlib>

namespace {

using fake::platform;

TEST(OifComparison, OrdersByInterfaceIndexUnsigned) {
    const struct {
        std::uint32_t first;
        std::uint32_t second;
        int result;
    } rows[] = {{1, 2, -1},
                {2, 1, 1},
                {5, 5, 0},
                {0, 0xffffffff, -1},
                {0xffffffff, 0, 1},
                {0x80000000, 1, 1},
                {1, 0x80000000, -1},
                {0x100, 0xff, 1},
                {0, 0, 0},
                {0x80000000, 0x80000000, 0},
                {0x7fffffff, 0x80000000, -1}};
    for (const auto &row : rows) {
        SCOPED_TRACE(testing::Message() << row.first << " and " << row.second);
        for (const std::size_t offset : {0U, 1U, 2U, 3U}) {
            const auto first = bytes(offset) + bytes_of(Oif{row.first, true});
            const auto second = bytes(offset) + bytes_of(Oif{row.second});
            EXPECT_EQ(vell_oif_comp(first.data() + offset, second.data() + offset), row.result);
        }
    }
}

TEST(OifComparison, LooksAtTheIndexAlone) {
    const auto entry = bytes_of(Oif{0x44434241});
    for (std::size_t at = 0; at < entry.size(); ++at) {
        auto other = entry;
        other[at] = static_cast<std::uint8_t>(other[at] + 1);
        EXPECT_EQ(vell_oif_comp(entry.data(), other.data()), at >= 16 && at < 20 ? -1 : 0) << at;
    }
}

TEST(OifComparison, SortsWithTheCLibrary) {
    auto raw = bytes_of(Oifs{{7}, {0x80000001}, {3, true}, {0}, {5}});
    std::qsort(raw.data(), 5, 32, vell_oif_comp);
    EXPECT_EQ(raw, bytes_of(Oifs{{0}, {3, true}, {5}, {7}, {0x80000001}}));
}

class LineCardTest : public LtlTest {
protected:
    std::uint32_t mask_ = 0x40;
};

TEST_F(LineCardTest, SetsTheBitOfTheLineCardAndLeavesTheOthers) {
    EXPECT_EQ(vell_set_flc_bitmask(&mask_, 3), 0U);
    EXPECT_CALLS(looked_up(3));
    EXPECT_EQ(mask_, 0x48U);
}

TEST_F(LineCardTest, CountsLineCardsModulo32) {
    const struct {
        std::uint32_t line_card;
        std::uint32_t mask;
    } rows[] = {{0, 1},           {31, 0x80000000},  {32, 1}, {33, 2},
                {63, 0x80000000}, {255, 0x80000000}, {128, 1}};
    for (const auto &row : rows) {
        SCOPED_TRACE(row.line_card);
        mask_ = 0;
        EXPECT_EQ(vell_set_flc_bitmask(&mask_, row.line_card), 0U);
        EXPECT_CALLS(looked_up(row.line_card));
        EXPECT_EQ(mask_, row.mask);
    }
}

TEST_F(LineCardTest, OtherThanPhysicalEthernetSetsNoBit) {
    for (const std::uint32_t type : {0U, 25U, 27U, 22U, 255U}) {
        SCOPED_TRACE(type);
        platform().interfaces.type = [type](std::uint32_t) {
            return static_cast<std::uint8_t>(type);
        };
        EXPECT_EQ(vell_set_flc_bitmask(&mask_, 3), 0U);
        EXPECT_CALLS(fake::IfIndexType{3});
        EXPECT_EQ(mask_, 0x40U);
    }
}

TEST_F(LineCardTest, ReportsThatTheTypeFailedWithError1055) {
    for (const auto status : failures) {
        SCOPED_TRACE(status);
        platform().if_index_type.returns(status);
        EXPECT_EQ(vell_set_flc_bitmask(&mask_, 0xfa000003), status);
        EXPECT_CALLS(fake::IfIndexType{0xfa000003},
                     error_logged("vell_set_flc_bitmask", 1055,
                                  "Failed to get if_index type for 0x%x, status 0x%x\n",
                                  "Failed to get if_index type for 0xfa000003, status " +
                                      hex_text(status) + "\n"));
        EXPECT_EQ(mask_, 0x40U);
    }
}

TEST_F(LineCardTest, ReportsThatTheFieldsFailedWithError1063) {
    for (const auto status : failures) {
        SCOPED_TRACE(status);
        platform().if_index_fields.returns(status);
        EXPECT_EQ(vell_set_flc_bitmask(&mask_, 0x10), status);
        EXPECT_CALLS(looked_up(0x10),
                     error_logged("vell_set_flc_bitmask", 1063,
                                  "Failed to get if_index fields for 0x%x, status 0x%x\n",
                                  "Failed to get if_index fields for 0x10, status " +
                                      hex_text(status) + "\n"));
        EXPECT_EQ(mask_, 0x40U);
    }
}

TEST_F(LineCardTest, TheMaskMayLieAtAnyAddress) {
    for (const std::size_t offset : {0U, 1U, 2U, 3U}) {
        auto raw = pattern(12);
        const auto before = patched(raw, 4 + offset, hex("00000000"));
        raw = before;
        EXPECT_EQ(
            vell_set_flc_bitmask(reinterpret_cast<std::uint32_t *>(raw.data() + 4 + offset), 17),
            0U);
        EXPECT_CALLS(looked_up(17));
        EXPECT_EQ(raw, patched(before, 4 + offset, hex("00000200")));
    }
}

TEST_F(LineCardTest, NeedsNoClient) {
    set_client_state({});
    EXPECT_EQ(vell_set_flc_bitmask(&mask_, 3), 0U);
    EXPECT_CALLS(looked_up(3));
    EXPECT_EQ(client_state(), ClientState{});
}

} // namespace
