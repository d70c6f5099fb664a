// Allocations, modifications and releases of LTL indexes.
#include "tests/switch/ltl_service.h"

#include <gmock/gmock.h>

using testing::ElementsAre;
using json = nlohmann::json;

TEST(Ltl, IsAllocated) {
    ltl_service test;
    const auto replies = test.ask(allocation, ltl_payload(10, 77, {0x1800000c, 0x68030700}));
    ASSERT_EQ(replies.size(), 1u);
    EXPECT_EQ(replies[0].delay.count(), 0);
    EXPECT_EQ(bytes(replies[0].frame.begin(), replies[0].frame.begin() + 24),
              literal({'K', 'Y', 'T', '1', 2,   0, 0, 0, 32,   0,    0, 0,
                       0,   0,   0,   0,   230, 0, 0, 0, 0x91, 0x5f, 1, 0}));
    EXPECT_EQ(bytes(replies[0].frame.begin() + 104, replies[0].frame.end()),
              words({13, 0, 0x99, 1, 77, 0x4000, 2, 0}));
    EXPECT_EQ(test.ltls(), json::parse(R"([{"index":16384,"vlan":10,"tag":77,"client":1,"pid":4711,
        "interfaces":[{"if_index":402653196,"name":"Po12"},{"if_index":1745028864,"name":"Eth3/7"}]}])"));
    EXPECT_TRUE(test.errors.empty());
}

TEST(Ltl, IsAllocatedWithTheSmallestFreeIndex) {
    ltl_service test;
    for (std::uint32_t index = 0x4000; index < 0x4004; ++index) {
        EXPECT_EQ(test.allocate(), index);
    }
    EXPECT_EQ(test.result(release, release_payload(0x4002, 7)), (test_words{0x4002, 7, 0, 0}));
    EXPECT_EQ(test.result(release, release_payload(0x4001, 7)), (test_words{0x4001, 7, 0, 0}));
    EXPECT_EQ(test.allocate(), 0x4001u);
    EXPECT_EQ(test.allocate(), 0x4002u);
    EXPECT_EQ(test.allocate(), 0x4004u);
}

TEST(Ltl, IsAllocatedUntilThePoolIsExhausted) {
    ltl_service test;
    for (std::uint32_t i = 0; i < 1024; ++i) {
        ASSERT_EQ(test.allocate(), 0x4000 + i);
    }
    EXPECT_EQ(test.answer(allocation, ltl_payload(10, 7, {1})),
              (test_words{13, 3, 0x99, 1, 7, 0, 0, 3}));
    EXPECT_EQ(test.errors.back(),
              "client 1 (pid 4711): LTL allocation for VLAN 10: status 3: the pool is exhausted");
    EXPECT_EQ(test.ltls().size(), 1024u);
    test.ask(release, release_payload(0x4123, 7));
    EXPECT_EQ(test.allocate(), 0x4123u);
    EXPECT_EQ(test.allocate(), 0u);
}

TEST(Ltl, PoolIsAsLargeAsToldTo) {
    ltl_service test({.ltl_pool = 2});
    EXPECT_EQ(test.allocate(), 0x4000u);
    EXPECT_EQ(test.allocate(), 0x4001u);
    EXPECT_EQ(test.allocate(), 0u);
    EXPECT_EQ(test.shown("pool", "ltl"), json::parse(R"({"first":16384,"size":2,"in_use":2})"));
    EXPECT_EQ(ltl_service({.ltl_pool = 0}).allocate(), 0u);
}

TEST(Ltl, AllocationsAreRefusedOneByOne) {
    ltl_service test({.ltl_refused_vlans = {11, 4094}});
    EXPECT_EQ(test.answer(allocation, words({0x99,  6,             //
                                             0,     1, 0,          //
                                             4095,  2, 1, 5,       //
                                             65546, 3, 1, 5,       //
                                             11,    4, 1, 5,       //
                                             12,    5, 3, 6, 5, 6, //
                                             4093,  6, 2, 6, 5})), //
              (test_words{13, 1, 0x99, 6,                          //
                          1,  0, 0,    7, 2, 0, 0, 7, 3, 0,      0, 7,
                          4,  0, 0,    1, 5, 0, 0, 8, 6, 0x4000, 2, 0}));
    EXPECT_THAT(
        test.errors,
        ElementsAre(
            "client 1 (pid 4711): LTL allocation for VLAN 0: status 7: this is not a VLAN id: 0",
            "client 1 (pid 4711): LTL allocation for VLAN 4095: status 7: this is not a VLAN id: "
            "4095",
            "client 1 (pid 4711): LTL allocation for VLAN 65546: status 7: this is not a VLAN id: "
            "65546",
            "client 1 (pid 4711): LTL allocation for VLAN 11: status 1: refused by fault mode",
            "client 1 (pid 4711): LTL allocation for VLAN 12: status 8: an interface is in the "
            "list "
            "twice: 0x00000006"));
    EXPECT_EQ(test.client_of(test.from).refused, 0u) << "the request itself was right";
    EXPECT_EQ(test.ltls().size(), 1u);
}

TEST(Ltl, ModificationReplacesTheInterfaces) {
    ltl_service test;
    test.allocate(7, {5, 6});
    sim::session other{.pid = 99};
    const auto replies =
        test.send(other, ltl_head(modification), ltl_payload(0x4000, 7, {9, 8, 6}));
    ASSERT_EQ(replies.size(), 1u);
    EXPECT_EQ(bytes(replies[0].frame.begin() + 104, replies[0].frame.end()),
              words({14, 0, 0x99, 1, 0x4000, 7, 3, 0}));
    EXPECT_EQ(test.held(0x4000), (test_words{6, 8, 9}));
    EXPECT_EQ(test.ltls().at(0).at("vlan"), 10);
    EXPECT_EQ(test.ltls().at(0).at("client"), 0) << "of the client that changed it last";
    EXPECT_EQ(test.ltls().at(0).at("pid"), 99);
    EXPECT_EQ(test.result(modification, ltl_payload(0x4000, 7, {})), (test_words{0x4000, 7, 0, 0}));
    EXPECT_EQ(test.held(0x4000), test_words{});
}

TEST(Ltl, RefusedModificationsChangeNothing) {
    ltl_service test({.ltl_refused_vlans = {10}});
    test.vell.faults.ltl_refused_vlans.clear();
    test.allocate(7, {5, 6});
    test.vell.faults.ltl_refused_vlans = {10};
    const json before = test.ltls();
    EXPECT_EQ(test.answer(modification, ltl_payload(0x4000, 8, {9})),
              (test_words{14, 4, 0x99, 1, 0x4000, 8, 2, 4}));
    EXPECT_EQ(test.result(modification, ltl_payload(0x4001, 7, {9})),
              (test_words{0x4001, 7, 0, 2}));
    EXPECT_EQ(test.result(modification, ltl_payload(10, 7, {9})), (test_words{10, 7, 0, 2}));
    EXPECT_EQ(test.result(modification, ltl_payload(0x4000, 7, {9, 9})),
              (test_words{0x4000, 7, 2, 8}));
    EXPECT_EQ(test.ltls(), before);
    EXPECT_THAT(
        test.errors,
        ElementsAre(
            "client 1 (pid 4711): modification of LTL 0x4000: status 4: the tag does not match: 8",
            "client 1 (pid 4711): modification of LTL 0x4001: status 2: there is no such LTL",
            "client 1 (pid 4711): modification of LTL 0xa: status 2: there is no such LTL",
            "client 1 (pid 4711): modification of LTL 0x4000: status 8: an interface is in the "
            "list "
            "twice: 0x00000009"));
    EXPECT_EQ(test.result(modification, ltl_payload(0x4000, 7, {9})), (test_words{0x4000, 7, 1, 0}))
        << "VLANs are refused to allocations alone";
}

TEST(Ltl, IsReleasedWithItsTagAndOnlyOnce) {
    ltl_service test;
    test.allocate(7, {5});
    EXPECT_EQ(test.answer(release, words({0x99, 4, 0x4000, 8, 0, 0x4001, 7, 0, 0x4000, 7, 0xee,
                                          0x4000, 7, 0})),
              (test_words{15, 1, 0x99,   4, 0x4000, 8, 0,      4, 0x4001, 7,
                          0,  2, 0x4000, 7, 0,      0, 0x4000, 7, 0,      2}));
    EXPECT_TRUE(test.ltls().empty());
    EXPECT_EQ(test.errors.at(0),
              "client 1 (pid 4711): release of LTL 0x4000: status 4: the tag does not match: 8");
}

TEST(Ltl, StaysWhenItsClientGoes) {
    ltl_service test;
    test.allocate(7, {5});
    sim::handle_loss(test.vell, test.from, "it closed its connection");
    EXPECT_EQ(test.held(0x4000), test_words{5});
    sim::session other{.pid = 99};
    test.send(other, ltl_head(release), release_payload(0x4000, 7));
    EXPECT_TRUE(test.ltls().empty());
}

TEST(Ltl, MayBelongToAPeerWithoutAnId) {
    ltl_service test;
    sim::session other{.pid = 99};
    EXPECT_EQ(test.send(other, ltl_head(allocation), ltl_payload(10, 7, {5})).size(), 1u);
    EXPECT_EQ(test.ltls().at(0).at("client"), 0);
    EXPECT_EQ(test.ltls().at(0).at("pid"), 99);
}

TEST(Ltl, RequestsThatAreNotRightAreRefusedWhole) {
    ltl_service test;
    test.allocate(7, {5});
    const json before = test.ltls();
    // The first entry of each would be applied.
    EXPECT_TRUE(test.ask(allocation, words({0x99, 2, 10, 7, 0, 10, 7, 2, 5})).empty());
    EXPECT_TRUE(test.ask(modification, words({0x99, 1, 0x4000, 7, 0, 1})).empty());
    EXPECT_TRUE(test.ask(release, cut(words({0x99, 2, 0x4000, 7, 0, 0x4000, 7, 0}), 31)).empty());
    EXPECT_TRUE(
        test.send(test.from, request_head(230, release, 1), release_payload(0x4000, 7)).empty());
    EXPECT_TRUE(
        test.send(test.from, request_head(214, release, 0), release_payload(0x4000, 7)).empty());
    sim::session other{.pid = 99};
    EXPECT_TRUE(test.send(other, ltl_head(modification), {}).empty());
    EXPECT_EQ(test.ltls(), before);
    EXPECT_EQ(test.client_of(test.from).refused, 5u);
    const std::string client = "client 1 (pid 4711): ";
    EXPECT_THAT(
        test.errors,
        ElementsAre(
            client + "LTL allocation (opcode 90001): offset 28: 2 interfaces take 8 bytes or more, "
                     "the message "
                     "has 4 left after their number: refused",
            client +
                "LTL modification (opcode 90002): offset 20: 4 bytes follow the last of 1 entries: "
                "refused",
            client + "LTL release (opcode 90003): offset 4: 2 entries take 24 bytes or more, the "
                     "message has 23 "
                     "left after their number: refused",
            client + "LTL release (opcode 90003): frame head offset 32: send-options word 1 is 1, "
                     "it must be 0: "
                     "refused",
            client + "LTL release (opcode 90003): frame head offset 16: SAP is 214, it must be "
                     "230: refused",
            "unregistered client (pid 99): LTL modification (opcode 90002): offset 0: the message "
            "has 0 bytes "
            "left here, cookie or context needs 4: refused"));
}

TEST(Ltl, AnswersComeAsTheFaultModeSays) {
    const bytes asked = ltl_payload(10, 7, {});
    ltl_service silent({.ltl_answer = sim::ack_mode::never});
    EXPECT_TRUE(silent.ask(allocation, asked).empty());
    EXPECT_EQ(silent.ltls().size(), 1u) << "done all the same";
    ltl_service twice({.ltl_answer = sim::ack_mode::twice});
    const auto both = twice.ask(allocation, asked);
    ASSERT_EQ(both.size(), 2u);
    EXPECT_EQ(both[0].frame, both[1].frame);
    EXPECT_EQ(twice.ltls().size(), 1u);
    ltl_service late({.ltl_answer = {sim::ack_mode::late, std::chrono::milliseconds(70)}});
    EXPECT_EQ(late.ask(flood_update, flood_payload({})).at(0).delay.count(), 70);
    EXPECT_EQ(ltl_service({.answer = sim::ack_mode::never}).ask(allocation, asked).size(), 1u)
        << "of statistics";
}

TEST(Ltl, TableIsShownUpToALimit) {
    ltl_service test;
    test.allocate();
    test.allocate();
    EXPECT_EQ(answer_of(test.vell, "ltl limit=1"),
              R"({"ltl":[{"index":16384,"vlan":10,"tag":7,"client":1,"pid":4711,"interfaces":[]}],)"
              R"("pool":{"first":16384,"in_use":2,"size":1024},"matched":2,"narrowed":null})");
}

TEST(Ltl, TableIsNarrowedByVlan) {
    ltl_service test;
    test.ask(allocation, ltl_payload(10, 1, {}));
    test.ask(allocation, ltl_payload(11, 2, {}));
    EXPECT_EQ(
        answer_of(test.vell, "ltl vlan=11"),
        R"({"ltl":[{"index":16385,"vlan":11,"tag":2,"client":1,"pid":4711,"interfaces":[]}],)"
        R"("pool":{"first":16384,"in_use":2,"size":1024},"matched":1,"narrowed":{"vlan":11}})");
}
