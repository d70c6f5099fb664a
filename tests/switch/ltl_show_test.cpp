// `show ltl` and `show flood`, as text and as JSON.
#include "tests/switch/ltl_service.h"

#include <gmock/gmock.h>
#include <numeric>

using json = nlohmann::json;
using testing::HasSubstr;
using testing::Not;

namespace {

constexpr std::uint32_t add = 1;
constexpr std::uint32_t eth3_7 = 0x68030700;
constexpr std::uint32_t eth31_11 = 0x681f0b00;
constexpr std::uint32_t eth33_7 = 0x68210700;
constexpr std::uint32_t po12 = 0x1800000c;

} // namespace

TEST(ShowLtl, PrintsIndexesInHexadecimal) {
    ltl_service test;
    EXPECT_EQ(text_of(test.vell, "ltl"), "0 LTLs; 0 of 1024 in use\n");
    test.ask(allocation, ltl_payload(10, 7, {eth3_7, po12}));
    sim::session queue_only{.pid = 9};
    test.send(queue_only, ltl_head(allocation), ltl_payload(4094, 0xffffffff, {}));
    EXPECT_EQ(text_of(test.vell, "ltl"), "LTL 0x4000  VLAN 10, tag 7, client 1\n"
                                         "    interfaces (2): Po12, Eth3/7\n"
                                         "LTL 0x4001  VLAN 4094, tag 4294967295, pid 9\n"
                                         "    interfaces: none\n"
                                         "2 LTLs; 2 of 1024 in use\n");
    EXPECT_EQ(text_of(test.vell, "ltl limit=1"), "LTL 0x4000  VLAN 10, tag 7, client 1\n"
                                                 "    interfaces (2): Po12, Eth3/7\n"
                                                 "1 of 2 LTLs; 2 of 1024 in use\n");
    EXPECT_EQ(text_of(test.vell, "ltl vlan=11"), "0 LTLs; 2 of 1024 in use\n");
}

TEST(ShowFlood, PrintsLineCardsAndInterfaces) {
    ltl_service test;
    EXPECT_EQ(text_of(test.vell, "flood"), "0 flood sets\n");
    test.ask(flood_update, flood_payload({{10, 0x0a, {99, add, eth3_7, add}}}));
    sim::session queue_only{.pid = 9};
    test.send(queue_only, ltl_head(flood_update), flood_payload({{11, 0}}));
    const std::string first = "VLAN 10  client 1\n"
                              "    line cards (0x0000000a): 1, 3\n"
                              "    interfaces (2): 0x00000063, Eth3/7\n";
    EXPECT_EQ(text_of(test.vell, "flood"), first + "VLAN 11  pid 9\n"
                                                   "    line cards (0x00000000): none\n"
                                                   "    interfaces: none\n"
                                                   "2 flood sets\n");
    EXPECT_EQ(text_of(test.vell, "flood limit=1"), first + "1 of 2 flood sets\n");
    EXPECT_EQ(text_of(test.vell, "flood vlan=10"), first + "1 flood set\n");
}

TEST(ShowFlood, SaysWhichLineCardsShareABit) {
    const auto text = [](std::uint32_t if_index) {
        ltl_service test;
        test.ask(flood_update, flood_payload({{10, 2, {7, add, if_index, add, 0x6c000001, add}}}));
        return text_of(test.vell, "flood");
    };
    EXPECT_EQ(text(eth33_7), "VLAN 10  client 1\n"
                             "    line cards (0x00000002): 1\n"
                             "      slots above 31 count as those 32, 64, ... below them\n"
                             "    interfaces (3): 0x00000007, Eth33/7, 0x6c000001\n"
                             "1 flood set\n");
    EXPECT_THAT(text(0x68200000), HasSubstr("slots")) << "Eth32/0";
    EXPECT_THAT(text(0x68ffffff), HasSubstr("slots"));
    EXPECT_THAT(text(eth31_11), Not(HasSubstr("slots")));
    EXPECT_THAT(text(0x681fffff), Not(HasSubstr("slots")));
    EXPECT_THAT(text(0x18000021), Not(HasSubstr("slots"))) << "Po33 is on no line card";
}

TEST(ShowFlood, PrintsALargeSetPieceByPiece) {
    constexpr std::uint32_t count = 20'000;
    ltl_service test;
    test_flood large{10, 0};
    for (std::uint32_t i = 0; i < count; ++i) {
        large.changes.insert(large.changes.end(), {i, add});
    }
    test.ask(flood_update, flood_payload({large, {11, 1}}));
    expect_small_pieces(test.vell, "flood");
    EXPECT_EQ(test.flooded(10).value().size(), count);
    const std::string text = text_of(test.vell, "flood");
    EXPECT_THAT(text, HasSubstr("\n    interfaces (20000): 0x00000000, 0x00000001, 0x00000002,"
                                " 0x00000003,\n                        0x00000004,"));
    EXPECT_THAT(text, HasSubstr(" 0x00004e1f\nVLAN 11  client 1"));
}

// What changes while an answer is read shows from there on.
TEST(ShowLtl, GoesOnAfterTheRowThatIsGone) {
    ltl_service test;
    test_words many(5000);
    std::iota(many.begin(), many.end(), 1u);
    for (std::uint32_t tag = 0; tag < 3; ++tag) {
        test.allocate(tag, many);
    }
    sim::answer answer = sim::answer_question(test.vell, question_payload("ltl"));
    std::string text = answer.next().text;
    test.ask(release, release_payload(0x4000, 0));
    test.ask(modification, ltl_payload(0x4001, 1, {3, 4}));
    text += rest_of(answer);
    const json rows = json::parse(text).at("ltl");
    ASSERT_EQ(rows.size(), 3u);
    EXPECT_GT(rows.at(0).at("interfaces").size(), 0u);
    EXPECT_LT(rows.at(0).at("interfaces").size(), many.size());
    EXPECT_EQ(rows.at(1).at("interfaces").size(), 2u);
    EXPECT_EQ(rows.at(2).at("interfaces").size(), many.size());
}
