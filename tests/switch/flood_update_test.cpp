// Flood LTL updates.
#include "tests/switch/ltl_service.h"

#include <algorithm>
#include <array>
#include <gmock/gmock.h>
#include <map>
#include <random>
#include <set>

using testing::ElementsAre;
using json = nlohmann::json;

namespace {

constexpr std::uint32_t add = 1;
constexpr std::uint32_t take = 2;

constexpr std::uint32_t eth3_7 = 0x68030700;
constexpr std::uint32_t po12 = 0x1800000c;
constexpr std::uint32_t vlan20 = 0x14000014;

// The flood sets once more, in the plainest way: each update works on a copy of the set, which is
// kept when all of it went well.
struct flood_model {
    std::map<std::uint32_t, std::set<std::uint32_t>> sets{};

    // The four words of the update's result.
    test_words apply(const test_flood &update) {
        std::set<std::uint32_t> changed =
            sets.contains(update.vlan) ? sets.at(update.vlan) : std::set<std::uint32_t>{};
        std::set<std::uint32_t> named;
        test_words result{update.vlan, 0, 0, update.vlan < 1 || update.vlan > 4094 ? 7u : 0u};
        for (std::size_t i = 0; i < update.changes.size() && result[3] == 0; i += 2) {
            const std::uint32_t if_index = update.changes[i];
            const std::uint32_t operation = update.changes[i + 1];
            if (operation != add && operation != take) {
                result[3] = 9;
            } else if (!named.insert(if_index).second) {
                result[3] = 8;
            } else if (operation == add) {
                result[3] = changed.insert(if_index).second ? 0 : 5;
                ++result[1];
            } else {
                result[3] = changed.erase(if_index) > 0 ? 0 : 6;
                ++result[2];
            }
        }
        if (result[3] != 0) {
            return {update.vlan, 0, 0, result[3]};
        }
        sets[update.vlan] = changed;
        return result;
    }
};

test_flood random_update(std::mt19937 &random) {
    test_flood update{.vlan = std::array{10u, 10u, 11u, 4094u, 4095u}[random() % 5],
                      .line_card_mask = static_cast<std::uint32_t>(random())};
    for (std::uint32_t left = random() % 5; left > 0; --left) {
        update.changes.push_back(random() % 12);
        update.changes.push_back(random() % 40 == 0 ? 3 : 1 + random() % 2);
    }
    return update;
}

} // namespace

TEST(Flood, IsEmptyAtFirst) {
    EXPECT_EQ(answer_of(ltl_service().vell, "flood"),
              R"({"flood":[],"matched":0,"narrowed":null})");
}

TEST(Flood, GrowsAndShrinks) {
    ltl_service test;
    EXPECT_EQ(test.answer(flood_update,
                          flood_payload({{10, 0x0a, {eth3_7, add, po12, add, 99, add}}, {20, 0}})),
              (test_words{16, 0, 0x99, 2, 10, 3, 0, 0, 20, 0, 0, 0}));
    EXPECT_EQ(test.floods(), json::parse(R"([
        {"vlan":10,"line_cards":[1,3],"line_card_mask":10,"client":1,"pid":4711,
         "interfaces":[{"if_index":99,"name":"0x00000063"},{"if_index":402653196,"name":"Po12"},
                       {"if_index":1745028864,"name":"Eth3/7"}]},
        {"vlan":20,"line_cards":[],"line_card_mask":0,"client":1,"pid":4711,"interfaces":[]}])"));
    EXPECT_EQ(test.answer(flood_update,
                          flood_payload({{10, 0x80000001, {99, take, 7, add, po12, take}}})),
              (test_words{16, 0, 0x99, 1, 10, 1, 2, 0}));
    EXPECT_EQ(test.flooded(10), (test_words{7, eth3_7}));
    EXPECT_EQ(test.floods().at(0).at("line_cards"), json({0, 31}));
    EXPECT_TRUE(test.errors.empty());
}

TEST(Flood, KeepsAVlanWithoutInterfaces) {
    ltl_service test;
    test.ask(flood_update, flood_payload({{10, 2, {7, add}}}));
    EXPECT_EQ(test.result(flood_update, flood_payload({{10, 0, {7, take}}})),
              (test_words{10, 0, 1, 0}));
    EXPECT_EQ(test.flooded(10), test_words{});
    EXPECT_EQ(test.floods().at(0).at("line_card_mask"), 0);
}

TEST(Flood, RefusesAVlanWholeAndGoesOnWithTheOthers) {
    ltl_service test({.ltl_refused_vlans = {11}});
    test.ask(flood_update, flood_payload({{10, 2, {7, add}}, {12, 2, {7, add}}}));
    EXPECT_EQ(
        test.answer(flood_update, flood_payload({{10, 4, {8, add, 7, add, 9, add}},   // 7 is there
                                                 {12, 4, {8, add, 9, take, 7, take}}, // 9 is not
                                                 {11, 4, {7, add}},
                                                 {13, 4, {7, add, 8, 3}},
                                                 {14, 4, {7, add, 8, 0}},
                                                 {15, 4, {7, add, 7, add}},
                                                 {16, 4, {7, add, 7, take}},
                                                 {0, 4, {7, add}},
                                                 {4095, 4, {}},
                                                 {65546, 4, {8, add}},
                                                 {17, 4, {7, take}},
                                                 {4094, 4, {7, add}}})),
        (test_words{16,   1, 0x99, 12, 10,    0, 0,  5, 12, 0, 0,  6, 11,   0, 0, 1, 13, 0,
                    0,    9, 14,   0,  0,     9, 15, 0, 0,  8, 16, 0, 0,    8, 0, 0, 0,  7,
                    4095, 0, 0,    7,  65546, 0, 0,  7, 17, 0, 0,  6, 4094, 1, 0, 0}));
    EXPECT_EQ(test.flooded(10), test_words{7});
    EXPECT_EQ(test.flooded(12), test_words{7});
    EXPECT_EQ(test.floods().at(0).at("line_card_mask"), 2)
        << "as sent with the last update that was applied";
    EXPECT_EQ(test.flooded(4094), test_words{7});
    EXPECT_EQ(test.floods().size(), 3u) << "a refused VLAN is not listed";
    EXPECT_THAT(
        test.errors,
        ElementsAre(
            "client 1 (pid 4711): flood update of VLAN 10: status 5: an added interface is present "
            "already: 0x00000007",
            "client 1 (pid 4711): flood update of VLAN 12: status 6: a removed interface is "
            "absent: "
            "0x00000009",
            "client 1 (pid 4711): flood update of VLAN 11: status 1: refused by fault mode",
            "client 1 (pid 4711): flood update of VLAN 13: status 9: an operation is neither 1 nor "
            "2: "
            "3",
            "client 1 (pid 4711): flood update of VLAN 14: status 9: an operation is neither 1 nor "
            "2: "
            "0",
            "client 1 (pid 4711): flood update of VLAN 15: status 8: an interface is in the list "
            "twice: 0x00000007",
            "client 1 (pid 4711): flood update of VLAN 16: status 8: an interface is in the list "
            "twice: 0x00000007",
            "client 1 (pid 4711): flood update of VLAN 0: status 7: this is not a VLAN id: 0",
            "client 1 (pid 4711): 3 more entries of the same request refused"));
}

TEST(Flood, RefusalsNameTheInterfaceAsPeopleDo) {
    ltl_service test;
    test.ask(flood_update, flood_payload({{10, 1, {vlan20, take}},
                                          {10, 1, {po12, add, eth3_7, add, po12, add}}}));
    EXPECT_THAT(test.errors, ElementsAre("client 1 (pid 4711): flood update of VLAN 10: status 6: "
                                         "a removed interface is absent: Vlan20",
                                         "client 1 (pid 4711): flood update of VLAN 10: status 8: "
                                         "an interface is in the list twice: Po12"));
}

TEST(Flood, StaysWhenItsClientGoes) {
    ltl_service test;
    test.ask(flood_update, flood_payload({{10, 2, {eth3_7, add}}}));
    const json before = test.floods();
    sim::handle_loss(test.vell, test.from, "it closed its connection");
    EXPECT_EQ(test.floods(), before);
    sim::session other{.pid = 99};
    test.send(other, ltl_head(flood_update), flood_payload({{10, 0, {eth3_7, take}}}));
    EXPECT_EQ(test.flooded(10), test_words{}) << "and others go on with it";
}

TEST(Flood, AppliesUpdatesOfOneVlanInTheirOrder) {
    ltl_service test;
    EXPECT_EQ(
        test.answer(flood_update, flood_payload({{10, 1, {7, add}}, {10, 2, {7, take, 8, add}}})),
        (test_words{16, 0, 0x99, 2, 10, 1, 0, 0, 10, 1, 1, 0}));
    EXPECT_EQ(test.flooded(10), test_words{8});
}

TEST(Flood, TakesUpdatesOfPeersWithoutAnId) {
    ltl_service test;
    sim::session other{.pid = 99};
    EXPECT_EQ(test.send(other, ltl_head(flood_update), flood_payload({{10, 1, {7, add}}})).size(),
              1u);
    EXPECT_EQ(test.floods().at(0).at("client"), 0);
    EXPECT_EQ(test.floods().at(0).at("pid"), 99);
}

TEST(Flood, MayHaveNoVlans) {
    ltl_service test;
    EXPECT_EQ(test.answer(flood_update, flood_payload({})), (test_words{16, 0, 0x99, 0}));
}

TEST(Flood, RequestsThatAreNotRightAreRefusedWhole) {
    ltl_service test;
    const bytes whole = flood_payload({{10, 1, {7, add}}, {11, 1, {7, add}}});
    EXPECT_TRUE(test.ask(flood_update, cut(whole, whole.size() - 1)).empty());
    EXPECT_TRUE(test.ask(flood_update, message().add(whole).u8(0)).empty());
    EXPECT_TRUE(test.floods().empty());
    EXPECT_THAT(test.errors,
                ElementsAre("client 1 (pid 4711): flood LTL update (opcode 90004): offset 60: 1 "
                            "updates take 8 bytes or "
                            "more, the message has 7 left after their number: refused",
                            "client 1 (pid 4711): flood LTL update (opcode 90004): offset 72: 1 "
                            "bytes follow the last "
                            "of 2 VLANs: refused"));
}

TEST(Flood, TableIsShownUpToALimit) {
    ltl_service test;
    test.ask(flood_update, flood_payload({{10, 0}, {11, 0}, {12, 0}}));
    EXPECT_EQ(
        answer_of(test.vell, "flood limit=1"),
        R"({"flood":[{"vlan":10,"client":1,"pid":4711,"line_card_mask":0,"line_cards":[],"interfaces":[]}],)"
        R"("matched":3,"narrowed":null})");
    EXPECT_EQ(test.shown("matched", "flood limit=9 vlan=12"), 1);
}

TEST(Flood, TableIsNarrowedByVlan) {
    ltl_service test;
    test.ask(flood_update, flood_payload({{10, 1, {7, add}}, {11, 0}}));
    EXPECT_EQ(
        answer_of(test.vell, "flood vlan=11"),
        R"({"flood":[{"vlan":11,"client":1,"pid":4711,"line_card_mask":0,"line_cards":[],"interfaces":[]}],)"
        R"("matched":1,"narrowed":{"vlan":11}})");
}

TEST(Flood, EndsAsIfEachUpdateWorkedOnACopyOfItsSet) {
    ltl_service test;
    flood_model model;
    std::mt19937 random(11);
    std::map<std::uint32_t, int> seen;
    for (int i = 0; i < 2000; ++i) {
        std::vector<test_flood> updates(random() % 4);
        std::ranges::generate(updates, [&random] { return random_update(random); });
        test_words expected;
        for (const test_flood &update : updates) {
            const test_words result = model.apply(update);
            expected.insert(expected.end(), result.begin(), result.end());
            ++seen[result[3]];
        }
        const test_words got = test.answer(flood_update, flood_payload(updates));
        ASSERT_EQ(test_words(got.begin() + 4, got.end()), expected);
        ASSERT_EQ(test.vell.floods.all().size(), model.sets.size());
        for (const auto &[vlan, interfaces] : model.sets) {
            ASSERT_EQ(test.vell.floods.all().at(static_cast<std::uint16_t>(vlan)).interfaces,
                      interfaces);
        }
    }
    for (const std::uint32_t status : {0u, 5u, 6u, 7u, 8u, 9u}) {
        EXPECT_GT(seen[status], 50) << "status " << status;
    }
}

// As many single additions as the largest message holds. Had each of them a cost in proportion to
// the set, this would take hours.
TEST(Flood, LargestMessageForOneVlanIsAppliedWithinTheTestsTime) {
    constexpr std::uint32_t entries = ((16u << 20) - 8) / 32;
    ltl_service test;
    message sent;
    sent.u32(0x99).u32(entries);
    for (std::uint32_t i = 0; i < entries; ++i) {
        sent.add(words({10, 0, 0, 0, 0, 1, i, add}));
    }
    const test_words answered = test.answer(flood_update, sent);
    EXPECT_EQ(test_words(answered.begin(), answered.begin() + 4),
              (test_words{16, 0, 0x99, entries}));
    EXPECT_EQ(test.vell.floods.all().at(10).interfaces.size(), entries);
}

TEST(Flood, SmallUpdatesOfALargeSetAreAppliedWithinTheTestsTime) {
    constexpr std::uint32_t interfaces = 1'000'000;
    constexpr std::uint32_t additions = 5'000;
    ltl_service test;
    message large;
    large.add(words({0x99, 1, 10, 0, 0, 0, 0, interfaces}));
    for (std::uint32_t i = 0; i < interfaces; ++i) {
        large.u32(i).u32(add);
    }
    EXPECT_EQ(test.result(flood_update, large), (test_words{10, interfaces, 0, 0}));
    std::vector<test_flood> small;
    for (std::uint32_t i = 0; i < additions; ++i) {
        small.push_back({10, 0, {interfaces + i, add}});
    }
    EXPECT_EQ(test.answer(flood_update, flood_payload(small)).at(1), 0u);
    EXPECT_EQ(test.vell.floods.all().at(10).interfaces.size(), interfaces + additions);
}
