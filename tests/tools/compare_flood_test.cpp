#include "compare_flood.h"
#include "held_flood.h"
#include "tests/tools/error_of.h"
#include "tests/tools/ports_text.h"

#include <gmock/gmock.h>

namespace feed {
namespace {

using testing::ElementsAre;

std::vector<flood_set> held_of(const std::string &rows) {
    return parse_held_flood({"held.json", R"({"flood":[)" + rows + "]}"});
}

const std::string vlan10 =
    R"({"vlan":10,"line_cards":[1,2],"line_card_mask":6,"client":1,"pid":7,"interfaces":[
    {"if_index":1744961792,"name":"Eth2/1"},{"if_index":1744898304,"name":"Eth1/9"}]})";

std::vector<flood_set> fed() {
    return sets_of({port_text("br10", "eth2-1", 6), port_text("br10", "eth1-9", 7),
                    port_text("br10", "vlan10", 8)});
}

TEST(CompareFlood, EqualSetsAreEqual) {
    const comparison result = compare_flood(fed(), held_of(vlan10));
    EXPECT_TRUE(result.equal()) << testing::PrintToString(result.lines);
    EXPECT_EQ(closing_line(result, "flood sets"), "all 1 fed flood sets arrived");
}

TEST(CompareFlood, EveryDifferenceHasALine) {
    const comparison result = compare_flood(
        sets_of({port_text("br10", "eth2-1", 6), port_text("br20", "po1", 7),
                 port_text("br40", "po2", 8, false)}),
        held_of(vlan10 + R"(,{"vlan":30,"line_card_mask":0,"interfaces":[{"if_index":7}]})"));
    EXPECT_THAT(result.lines, ElementsAre("VLAN 10: line cards: fed 2, held 1 2",
                                          "VLAN 10: interfaces: fed Eth2/1, held Eth1/9 Eth2/1",
                                          "VLAN 20: missing: fed from entry 2, not held",
                                          "VLAN 40: missing: fed from entry 3, not held",
                                          "VLAN 30: unexpected: held, not fed"));
    EXPECT_EQ(result.differing, 1u);
    EXPECT_EQ(result.missing, 2u);
    EXPECT_EQ(result.unexpected, 1u);
}

TEST(CompareFlood, AnEmptySetMayBeHeldWithoutBeingFed) {
    const std::string empty = R"({"vlan":40,"line_card_mask":0,"interfaces":[]})";
    EXPECT_TRUE(compare_flood(fed(), held_of(vlan10 + "," + empty)).equal());
    const comparison result = compare_flood(sets_of({port_text("br40", "po1", 6)}), held_of(empty));
    EXPECT_THAT(result.lines, ElementsAre("VLAN 40: interfaces: fed Po1, held none"));
}

TEST(HeldFlood, ThatAreWrongAreRefusedWithTheirPlace) {
    const auto error = [](const std::string &rows) { return error_of([&] { held_of(rows); }); };
    EXPECT_EQ(error("7"),
              "held.json: /flood/0: expected a flood set, an object, found the number 7");
    EXPECT_EQ(error(R"({"vlan":4095})"),
              "held.json: /flood/0/vlan: expected a VLAN id from 1 to 4094, found the number 4095");
    EXPECT_EQ(
        error(R"({"vlan":1,"line_card_mask":-1})"),
        "held.json: /flood/0/line_card_mask: expected a mask of line cards, found the number -1");
    EXPECT_EQ(error(R"({"vlan":1,"line_card_mask":0,"interfaces":{}})"),
              "held.json: /flood/0/interfaces: expected an array of interfaces, found an object");
    EXPECT_EQ(error(R"({"vlan":1,"line_card_mask":0,"interfaces":[{"if_index":"Eth1/1"}]})"),
              "held.json: /flood/0/interfaces/0/if_index: expected an interface index, found the "
              "string \"Eth1/1\"");
    EXPECT_EQ(error(vlan10 + "," + vlan10), "held.json: /flood/1: VLAN 10 stands twice");
    EXPECT_EQ(error_of([] {
                  parse_held_flood({"x", R"({"ltl":[]})"});
              }),
              "x: expected a member \"flood\" (the held flood sets), found only \"ltl\"");
}

} // namespace
} // namespace feed
