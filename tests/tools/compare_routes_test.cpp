#include "compare_routes.h"

#include <gtest/gtest.h>

namespace feed {
namespace {

// A fed route and the held one that it is to become, in which every field has a value of its own.
route fed_route() {
    route fed;
    fed.entry = 16;
    fed.opcode = 1;
    fed.key = {253, 0x0a000009, 32, 0xef010102, 32};
    fed.flags = {.download = true, .local_group = true};
    fed.epoch = 7;
    fed.rpf_if = 4;
    fed.oifs = {5, 6};
    return fed;
}

held_route held_twin() {
    held_route held;
    held.key = {253, 0x0a000009, 32, 0xef010102, 32};
    held.opcode = 1;
    held.flags = {"download", "local_group"};
    held.flags_word = 0x88;
    held.epoch = 7;
    held.rpf_if = 4;
    held.oifs = {{5, 0}, {6, 0}};
    return held;
}

using lines = std::vector<std::string>;

// The lines for a held route that `change` has made different.
template <typename Change>
lines difference(Change &&change) {
    held_route held = held_twin();
    change(held);
    const comparison result = compare_routes({fed_route()}, {held});
    EXPECT_FALSE(result.equal());
    EXPECT_EQ(result.differing, 1u);
    return result.lines;
}

constexpr char name[] = "(10.0.0.9, 239.1.1.2) in table 253: ";

TEST(CompareRoutes, EqualRoutesHaveNoLines) {
    const comparison result = compare_routes({fed_route()}, {held_twin()});
    EXPECT_TRUE(result.equal());
    EXPECT_EQ(result.lines, lines{});
    EXPECT_EQ(closing_line(result, "routes"), "all 1 fed routes arrived");
}

TEST(CompareRoutes, NothingFedAndNothingHeldIsEqual) {
    EXPECT_EQ(closing_line(compare_routes({}, {}), "routes"), "all 0 fed routes arrived");
}

TEST(CompareRoutes, EveryFlagHasANameAndABit) {
    route fed = fed_route();
    fed.flags = {.download = true,
                 .download_done = true,
                 .wildcard_route = true,
                 .drop_route = true,
                 .local_group = true};
    held_route held = held_twin();
    held.flags = {"download", "download_done", "drop_route", "local_group", "wildcard_route"};
    held.flags_word = 0x98c;
    EXPECT_EQ(compare_routes({fed}, {held}).lines, lines{});
}

TEST(CompareRoutes, TellsEachFieldThatDiffers) {
    EXPECT_EQ(difference([](held_route &held) { held.opcode = 3; }),
              lines{name + std::string("opcode: fed 1, held 3")});
    EXPECT_EQ(difference([](held_route &held) { held.epoch = 8; }),
              lines{name + std::string("epoch: fed 7, held 8")});
    EXPECT_EQ(difference([](held_route &held) { held.rpf_if = 0; }),
              lines{name + std::string("rpf_if: fed 4, held 0")});
    EXPECT_EQ(difference([](held_route &held) { held.df_ordinal = 2; }),
              lines{name + std::string("df_ordinal: fed 0, held 2")});
    EXPECT_EQ(difference([](held_route &held) { held.mti = 1; }),
              lines{name + std::string("mti entries: fed 0, held 1")});
    EXPECT_EQ(difference([](held_route &held) { held.glt = 2; }),
              lines{name + std::string("glt entries: fed 0, held 2")});
}

TEST(CompareRoutes, TellsFlagsByNameAndByWord) {
    EXPECT_EQ(
        difference([](held_route &held) {
            held.flags = {"download"};
            held.flags_word = 0x80;
        }),
        lines{name + std::string("flags: fed download local_group (0x88), held download (0x80)")});
    // A bit without a name, and a name without its bit.
    EXPECT_EQ(difference([](held_route &held) { held.flags_word = 0x100000088; }),
              lines{name + std::string("flags: fed download local_group (0x88), held download "
                                       "local_group (0x100000088)")});
    EXPECT_EQ(difference([](held_route &held) { held.flags.clear(); }),
              lines{name + std::string("flags: fed download local_group (0x88), held (0x88)")});
}

TEST(CompareRoutes, TellsInterfacesByIndexOrderAndKind) {
    EXPECT_EQ(difference([](held_route &held) { held.oifs.pop_back(); }),
              lines{name + std::string("oifs: fed 5 6, held 5")});
    EXPECT_EQ(difference([](held_route &held) { held.oifs.clear(); }),
              lines{name + std::string("oifs: fed 5 6, held none")});
    EXPECT_EQ(difference([](held_route &held) {
                  held.oifs.push_back({6, 0});
              }),
              lines{name + std::string("oifs: fed 5 6, held 5 6 6")});
    EXPECT_EQ(difference([](held_route &held) { std::swap(held.oifs[0], held.oifs[1]); }),
              lines{name + std::string("oifs: fed 5 6, held 6 5")});
    EXPECT_EQ(difference([](held_route &held) { held.oifs[1].kind = 4; }),
              lines{name + std::string("oifs: fed 5 6, held 5 6 (kind 4)")});
}

TEST(CompareRoutes, ARouteMayDifferInSeveralFields) {
    const lines expected = {name + std::string("epoch: fed 7, held 1"),
                            name + std::string("rpf_if: fed 4, held 2")};
    EXPECT_EQ(difference([](held_route &held) {
                  held.epoch = 1;
                  held.rpf_if = 2;
              }),
              expected);
}

TEST(CompareRoutes, AnotherKeyIsOneMissingAndOneUnexpected) {
    const auto change_key = [](auto change) {
        held_route held = held_twin();
        change(held.key);
        return compare_routes({fed_route()}, {held}).lines;
    };
    const std::string missing = name + std::string("missing: fed from entry 17, not held");
    EXPECT_EQ(change_key([](route_key &key) { key.table = 254; }),
              (lines{missing, "(10.0.0.9, 239.1.1.2) in table 254: unexpected: held, not fed"}));
    EXPECT_EQ(change_key([](route_key &key) { key.source = 0x0900000a; }),
              (lines{missing, "(9.0.0.10, 239.1.1.2) in table 253: unexpected: held, not fed"}));
    EXPECT_EQ(change_key([](route_key &key) { key.source_length = 31; }),
              (lines{missing, "(10.0.0.9/31, 239.1.1.2) in table 253: unexpected: held, not fed"}));
    EXPECT_EQ(change_key([](route_key &key) { key.group = 0xef010103; }),
              (lines{missing, "(10.0.0.9, 239.1.1.3) in table 253: unexpected: held, not fed"}));
    EXPECT_EQ(change_key([](route_key &key) { key.group_length = 4; }),
              (lines{missing, "(10.0.0.9, 239.1.1.2/4) in table 253: unexpected: held, not fed"}));
}

TEST(CompareRoutes, TheClosingLineCountsRoutes) {
    route other = fed_route();
    other.key.source = 1;
    route gone = fed_route();
    gone.key.source = 2;
    held_route differing = held_twin();
    differing.epoch = 1;
    differing.rpf_if = 2;
    held_route other_twin = held_twin();
    other_twin.key.source = 1;
    held_route stranger = held_twin();
    stranger.key.source = 3;
    const comparison result =
        compare_routes({fed_route(), other, gone}, {differing, other_twin, stranger});
    EXPECT_EQ(closing_line(result, "routes"),
              "of 3 fed routes 1 arrived, 1 differ, 1 are missing; 1 unexpected");
    EXPECT_EQ(result.lines.size(), 4u);
}

} // namespace
} // namespace feed
