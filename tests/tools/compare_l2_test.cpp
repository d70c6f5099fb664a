#include "compare_l2.h"

#include <gtest/gtest.h>

namespace feed {
namespace {

l2_entry fed_entry() {
    l2_entry entry;
    entry.entry = 16;
    entry.key = {10, *parse_ip("239.1.1.2"), parse_ip("10.0.0.9")};
    entry.bridge = 5;
    entry.permanent = true;
    entry.ports = {{7, 0}, {8, 4}};
    return entry;
}

using lines = std::vector<std::string>;

// The lines for a held entry that `change` has made different.
template <typename Change>
lines difference(Change &&change) {
    l2_entry held = fed_entry();
    change(held);
    const comparison result = compare_l2({fed_entry()}, {held});
    EXPECT_FALSE(result.equal());
    return result.lines;
}

const std::string name = "(10.0.0.9, 239.1.1.2) in VLAN 10: ";

TEST(CompareL2, EqualEntriesHaveNoLines) {
    const comparison result = compare_l2({fed_entry()}, {fed_entry()});
    EXPECT_TRUE(result.equal());
    EXPECT_EQ(result.lines, lines{});
    EXPECT_EQ(closing_line(result, "entries"), "all 1 fed entries arrived");
}

TEST(CompareL2, TellsEachFieldThatDiffers) {
    EXPECT_EQ(difference([](l2_entry &held) { held.bridge = 6; }),
              lines{name + "bridge: fed 5, held 6"});
    EXPECT_EQ(difference([](l2_entry &held) { held.permanent = false; }),
              lines{name + "state: fed permanent, held learned"});
    EXPECT_EQ(difference([](l2_entry &held) { held.ports.pop_back(); }),
              lines{name + "ports: fed 7 8 (flags 0x4), held 7"});
    EXPECT_EQ(difference([](l2_entry &held) { held.ports.clear(); }),
              lines{name + "ports: fed 7 8 (flags 0x4), held none"});
    EXPECT_EQ(difference([](l2_entry &held) { held.ports[1].flags = 0; }),
              lines{name + "ports: fed 7 8 (flags 0x4), held 7 8"});
    EXPECT_EQ(difference([](l2_entry &held) {
                  held.bridge = 6;
                  held.ports = {{9, 0}};
              }),
              (lines{name + "bridge: fed 5, held 6", name + "ports: fed 7 8 (flags 0x4), held 9"}));
}

TEST(CompareL2, AnotherKeyIsOneMissingAndOneUnexpected) {
    const std::string missing = name + "missing: fed from entry 17, not held";
    EXPECT_EQ(difference([](l2_entry &held) { held.key.vlan = 11; }),
              (lines{missing, "(10.0.0.9, 239.1.1.2) in VLAN 11: unexpected: held, not fed"}));
    EXPECT_EQ(difference([](l2_entry &held) { held.key.source.reset(); }),
              (lines{missing, "(*, 239.1.1.2) in VLAN 10: unexpected: held, not fed"}));
    EXPECT_EQ(difference([](l2_entry &held) { held.key.group = *parse_ip("239.1.1.3"); }),
              (lines{missing, "(10.0.0.9, 239.1.1.3) in VLAN 10: unexpected: held, not fed"}));
}

TEST(CompareL2, TheClosingLineCountsEntries) {
    l2_entry gone = fed_entry();
    gone.key.vlan = 20;
    l2_entry differing = fed_entry();
    differing.bridge = 6;
    differing.permanent = false;
    EXPECT_EQ(closing_line(compare_l2({fed_entry(), gone}, {differing}), "entries"),
              "of 2 fed entries 0 arrived, 1 differ, 1 are missing; 0 unexpected");
}

} // namespace
} // namespace feed
