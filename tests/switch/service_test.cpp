#include "sim/switch/service.h"
#include "tests/switch/test_service.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using sim::client_state;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

// What the acknowledgment carries after the frame's head.
bytes ack_payload(const sim::reply &ack) {
    return bytes(ack.frame.begin() + 104, ack.frame.end());
}

} // namespace

TEST(Registration, IsAcknowledgedWithTheSmallestId) {
    test_service test;
    sim::session first{.pid = 11};
    sim::session second{.pid = 12};
    const auto first_replies = test.send(first, register_head(), register_payload(500, "seg-a"));
    const auto second_replies = test.send(second, register_head(), register_payload(500, "seg-b"));
    ASSERT_EQ(first_replies.size(), 1u);
    EXPECT_EQ(ack_payload(first_replies[0]), literal({1, 1}));
    EXPECT_EQ(first_replies[0].delay.count(), 0);
    ASSERT_EQ(second_replies.size(), 1u);
    EXPECT_EQ(ack_payload(second_replies[0]), literal({2, 1}));
    EXPECT_THAT(test.traces,
                ElementsAre("client 1 (pid 11) registered: uuid 500, segment \"seg-a\"",
                            "client 2 (pid 12) registered: uuid 500, segment \"seg-b\""));
    const sim::client &row = test.client_of(second);
    EXPECT_EQ(row.id, 2);
    EXPECT_EQ(row.pid, 12u);
    EXPECT_EQ(row.uuid, 500u);
    EXPECT_EQ(row.segment, "seg-b");
    EXPECT_EQ(row.state, client_state::registered);
    EXPECT_EQ(row.messages, 1u);
}

TEST(Registration, ReplacesTheEarlierOneOfItsConnection) {
    test_service test;
    sim::session other = test.registered_session(400);
    sim::session from = test.registered_session();
    const sim::client_key key = from.client_of;
    ASSERT_EQ(test.send(from, register_head(), register_payload(501)).size(), 1u);
    EXPECT_EQ(test.client_of(from).uuid, 501u);
    EXPECT_EQ(test.client_of(from).id, 2) << "the earlier registration's id is free again";
    EXPECT_EQ(test.vell.clients.find(key)->state, client_state::replaced);
    EXPECT_EQ(test.client_of(other).state, client_state::registered);
    EXPECT_THAT(test.errors, IsEmpty());
    EXPECT_THAT(test.traces, Contains("client 2 (pid 4711) replaced"));
}

TEST(Registration, EndsTheEarlierOneAlsoWhenItIsRejected) {
    test_service test;
    sim::session from = test.registered_session();
    const sim::client_key key = from.client_of;
    test.vell.faults.reject_registration = true;
    // A rejection clears the id of the library's client, so that the earlier one is of no use.
    ASSERT_EQ(test.send(from, register_head(), register_payload(501)).size(), 1u);
    EXPECT_EQ(from.client_of, 0u);
    EXPECT_EQ(test.vell.clients.find(key)->state, client_state::replaced);
}

TEST(Registration, LeavesTheEarlierOneWhenItIsMalformed) {
    test_service test;
    sim::session from = test.registered_session();
    const sim::client_key key = from.client_of;
    EXPECT_TRUE(test.send(from, register_head(), cut(register_payload(501), 247)).empty());
    EXPECT_EQ(from.client_of, key);
    EXPECT_EQ(test.client_of(from).uuid, 500u);
}

TEST(Registration, MayFollowADeregistration) {
    test_service test;
    sim::session from = test.registered_session();
    EXPECT_TRUE(test.send(from, deregister_head(), deregister_payload(1)).empty());
    EXPECT_EQ(from.client_of, 0u);
    EXPECT_EQ(test.traces.back(), "client 1 (pid 4711) deregistered");
    EXPECT_EQ(test.vell.clients.all().begin()->second.state, client_state::deregistered);
    EXPECT_EQ(test.vell.clients.all().begin()->second.messages, 2u);
    EXPECT_EQ(test.send(from, register_head(), register_payload(501)).size(), 1u);
    EXPECT_EQ(test.client_of(from).id, 1);
    EXPECT_EQ(test.client_of(from).uuid, 501u);
    EXPECT_TRUE(test.errors.empty());
}

TEST(Registration, IsRejectedWhenAllIdsAreTaken) {
    test_service test;
    for (int i = 0; i < 255; ++i) {
        test.registered_session();
    }
    sim::session one_more{.pid = 99};
    const auto replies = test.send(one_more, register_head(), register_payload(600));
    ASSERT_EQ(replies.size(), 1u);
    EXPECT_EQ(ack_payload(replies[0]), literal({0, 0}));
    EXPECT_EQ(one_more.client_of, 0u);
    EXPECT_EQ(test.vell.clients.all().rbegin()->second.state, client_state::rejected);
    EXPECT_EQ(test.errors.back(), "unregistered client (pid 99): registration with uuid 600 "
                                  "rejected: all 255 client ids are taken");
}

TEST(Deregistration, IsRefusedWithAnotherConnectionsId) {
    test_service test;
    sim::session first = test.registered_session();
    sim::session second = test.registered_session();
    test.send(second, deregister_head(), deregister_payload(1));
    EXPECT_THAT(
        test.errors,
        ElementsAre("client 2 (pid 4711): deregister request (opcode 75797): offset 0: client id "
                    "is 1, this connection's is 2: refused"));
    EXPECT_EQ(test.client_of(first).state, client_state::registered);
    EXPECT_EQ(test.client_of(second).state, client_state::registered);
}

TEST(Loss, EndsTheRegistrationAndKeepsTheRoutes) {
    test_service test;
    sim::session from = test.registered_session();
    test.send(from, route_head(), route_payload(1, {test_route{}}));
    sim::handle_loss(test.vell, from, "it closed its connection");
    EXPECT_EQ(test.vell.clients.all().begin()->second.state, client_state::lost);
    EXPECT_EQ(test.traces.back(), "client 1 (pid 4711) lost: it closed its connection");
    EXPECT_EQ(test.vell.routes.size(), 1u);
    EXPECT_EQ(test.vell.clients.free_id(), 1);
}

TEST(Loss, OfAnUnregisteredPeerIsNoNews) {
    test_service test;
    sim::session from{.pid = 5};
    sim::handle_loss(test.vell, from, "it closed its connection");
    EXPECT_TRUE(test.traces.empty());
    EXPECT_TRUE(test.errors.empty());
}

TEST(Ipv6Notice, IsCountedAndItsValuesAreKept) {
    test_service test;
    sim::session from = test.registered_session();
    test.send(from, notice_head(), notice_payload(1, 10, 20, 30));
    test.send(from, notice_head(), notice_payload(1, 0xfffffffe, 21, 0xfffd));
    EXPECT_TRUE(test.errors.empty());
    EXPECT_EQ(test.client_of(from).ipv6_notices, 2u);
    EXPECT_THAT(test.client_of(from).last_ipv6_notice.value(),
                ElementsAre(0xfffffffeu, 21u, 0xfffdu));
}

TEST(Refusal, CountsForTheSenderAndChangesNothing) {
    test_service test;
    sim::session from = test.registered_session();
    test.send(from, notice_head(), cut(notice_payload(1, 1, 2, 3), 15));
    EXPECT_THAT(test.errors,
                ElementsAre("client 1 (pid 4711): IPv6 route notice (opcode 75779): offset 15: the "
                            "message is 15 bytes long, it must be 16: refused"));
    EXPECT_EQ(test.client_of(from).refused, 1u);
    EXPECT_EQ(test.client_of(from).messages, 2u);
    EXPECT_EQ(test.client_of(from).ipv6_notices, 0u);
}

TEST(Refusal, OfAnUnregisteredPeerNamesItsProcess) {
    test_service test;
    sim::session from{.pid = 77};
    test.send(from, route_head(), route_payload(3, {test_route{}}));
    test.send(from, deregister_head(), deregister_payload(0));
    EXPECT_THAT(
        test.errors,
        ElementsAre("unregistered client (pid 77): route update (opcode 75831): offset 0: client "
                    "id is 3, but this connection is not registered: refused",
                    "unregistered client (pid 77): deregister request (opcode 75797): offset 0: "
                    "client id is 0, but this connection is not registered: refused"));
    EXPECT_TRUE(test.vell.routes.empty());
}

namespace {

struct wrong_head {
    const char *name;
    void (*spoil)(sim::frame_head &head);
    const char *refusal;
};

void PrintTo(const wrong_head &wrong, std::ostream *out) {
    *out << wrong.name;
}

class HeadRefusal : public testing::TestWithParam<wrong_head> {};

using head = sim::frame_head;

std::string head_test_name(const testing::TestParamInfo<wrong_head> &tested) {
    return tested.param.name;
}

} // namespace

TEST_P(HeadRefusal, NamesOffsetAndReason) {
    test_service test;
    sim::session from = test.registered_session();
    head spoiled = notice_head();
    GetParam().spoil(spoiled);
    test.send(from, spoiled, notice_payload(1, 1, 2, 3));
    ASSERT_EQ(test.errors.size(), 1u);
    EXPECT_THAT(test.errors[0], testing::HasSubstr(GetParam().refusal));
    EXPECT_EQ(test.client_of(from).ipv6_notices, 0u);
    EXPECT_EQ(test.client_of(from).refused, 1u);
}

INSTANTIATE_TEST_SUITE_P(
    Notice, HeadRefusal,
    testing::Values(wrong_head{"Node", [](head &h) { h.node = 0xfe000001; },
                               "IPv6 route notice (opcode 75779): frame head offset 12: node is "
                               "0xfe000001, it must be 0xfe000000: "
                               "refused"},
                    wrong_head{"Sap", [](head &h) { h.sap = 213; },
                               ": frame head offset 16: SAP is 213, it must be 214: refused"},
                    wrong_head{"Opcode", [](head &h) { h.opcode = 75780; },
                               "unknown request (opcode 75780): frame head offset 20: this switch "
                               "knows no such opcode: refused"},
                    wrong_head{"Flags", [](head &h) { h.flags = 4; },
                               ": frame head offset 24: flags are 0x4, they must be 0"},
                    wrong_head{"Word0", [](head &h) { h.options[0] = 2; },
                               ": frame head offset 28: send-options word 0 is 2, it must be 1"},
                    wrong_head{"Word1", [](head &h) { h.options[1] = 0; },
                               ": frame head offset 32: send-options word 1 is 0, it must be 1"},
                    wrong_head{"Word2", [](head &h) { h.options[2] = 7; },
                               ": frame head offset 36: send-options word 2 is 7, it must be 0"},
                    wrong_head{"Word18", [](head &h) { h.options[18] = 1; },
                               ": frame head offset 100: send-options word 18 is 1, it must be 0"}),
    head_test_name);

TEST(HeadRefusal, KnowsWhatWord1HasToBe) {
    test_service test;
    sim::session from = test.registered_session();
    const auto refusal_with = [&](sim::frame_head sent, const bytes &payload) {
        sent.options[1] = 1 - sent.options[1];
        test.errors.clear();
        test.send(from, sent, payload);
        return test.errors.empty() ? std::string("accepted") : test.errors[0];
    };
    const auto wants = [](int is, int must) {
        return testing::HasSubstr(
            fmt::format("send-options word 1 is {}, it must be {}", is, must));
    };
    EXPECT_THAT(refusal_with(register_head(), register_payload(1)), wants(1, 0));
    EXPECT_THAT(refusal_with(deregister_head(), deregister_payload(1)), wants(1, 0));
    EXPECT_THAT(refusal_with(route_head(), route_payload(1, {test_route{}})), wants(0, 1));
    EXPECT_THAT(refusal_with(notice_head(), notice_payload(1, 2, 3, 4)), wants(0, 1));
    EXPECT_THAT(refusal_with(route_head(), route_payload(1, {})), wants(0, 1));
    EXPECT_EQ(test.client_of(from).state, client_state::registered);
    EXPECT_TRUE(test.vell.routes.empty());
}

TEST(FaultModes, RejectEveryRegistration) {
    test_service test({.reject_registration = true});
    sim::session from{.pid = 8};
    const auto replies = test.send(from, register_head(), register_payload(500));
    ASSERT_EQ(replies.size(), 1u);
    EXPECT_EQ(ack_payload(replies[0]), literal({0, 0}));
    EXPECT_EQ(from.client_of, 0u);
    EXPECT_THAT(test.errors,
                ElementsAre("unregistered client (pid 8): registration with uuid 500 rejected: "
                            "--reject-registration"));
}

TEST(FaultModes, AcknowledgeLateTwiceOrNever) {
    sim::session from{};
    test_service late({.ack = {sim::ack_mode::late, std::chrono::milliseconds(70)}});
    const auto late_replies = late.send(from, register_head(), register_payload(500));
    ASSERT_EQ(late_replies.size(), 1u);
    EXPECT_EQ(late_replies[0].delay.count(), 70);

    from = {};
    test_service twice({.ack = sim::ack_mode::twice});
    const auto two_replies = twice.send(from, register_head(), register_payload(500));
    ASSERT_EQ(two_replies.size(), 2u);
    EXPECT_EQ(two_replies[0].frame, two_replies[1].frame);

    from = {};
    test_service never({.ack = sim::ack_mode::never});
    EXPECT_TRUE(never.send(from, register_head(), register_payload(500)).empty());
    EXPECT_EQ(never.client_of(from).id, 1);
}

TEST(FaultModes, HandOutTheIdTheyAreTold) {
    for (const std::uint8_t id : {std::uint8_t{0}, std::uint8_t{200}}) {
        test_service test({.ack_id = id});
        sim::session first{};
        sim::session second{};
        EXPECT_EQ(ack_payload(test.send(first, register_head(), register_payload(500)).at(0)),
                  literal({id, 1}));
        EXPECT_EQ(ack_payload(test.send(second, register_head(), register_payload(500)).at(0)),
                  literal({id, 1}));
        test.send(second, notice_head(), notice_payload(id, 1, 2, 3));
        EXPECT_EQ(test.client_of(second).ipv6_notices, 1u);
        EXPECT_EQ(test.client_of(first).ipv6_notices, 0u);
    }
}

TEST(Service, IsMadeInALineAndNeedsNoLog) {
    sim::service vell;
    sim::session peer{.pid = 1};
    const bytes wanted = register_payload(500);
    const auto answers = sim::handle_request(vell, peer, register_head(), wanted);
    ASSERT_EQ(answers.size(), 1u);
    EXPECT_EQ(ack_payload(answers[0]), literal({1, 1}));
    EXPECT_TRUE(sim::handle_request(vell, peer, route_head(), wanted).empty());
    EXPECT_EQ(vell.clients.find(peer.client_of)->refused, 1u);
}
