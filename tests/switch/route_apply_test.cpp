#include "sim/wire/protocol.h"
#include "tests/switch/route_bytes.h"
#include "tests/switch/test_service.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::ElementsAre;
using testing::HasSubstr;

namespace {

const sim::route &only_route(const test_service &test) {
    return test.vell.routes.begin()->second;
}

} // namespace

TEST(RouteUpdate, AddsARouteWithAllItsFields) {
    test_service test({.ack_id = 0xc3});
    sim::session from = test.registered_session();
    // Without its second record, a delete of another route.
    test.send(from, route_head(), cut(patched(two_routes(), 2, {1}), 168));
    EXPECT_TRUE(test.errors.empty());
    ASSERT_EQ(test.vell.routes.size(), 1u);
    EXPECT_EQ(test.vell.routes.begin()->first, (sim::route_key{.table = 0x5f5e5d5c,
                                                               .group = 0xef0c0d0e,
                                                               .source = 0x0a0b0809,
                                                               .source_length = 24,
                                                               .group_length = 31}));
    const sim::route &held = only_route(test);
    EXPECT_EQ(held.flags, 0x0706050403201080u);
    EXPECT_EQ(held.epoch, 0x4d4c4b4au);
    EXPECT_EQ(held.rpf_if, 0x54535251u);
    EXPECT_EQ(held.df_ordinal, 0x58);
    EXPECT_EQ(held.client, 0xc3);
    EXPECT_EQ(held.lists.oifs.size(), 2u);
    EXPECT_EQ(held.lists.mti.size(), 1u);
    EXPECT_EQ(held.lists.glt.size(), 1u);
    EXPECT_EQ(test.client_of(from).route_records, 1u);
}

TEST(RouteUpdate, ReplacesTheWholeRouteOfTheSameKey) {
    test_service test;
    sim::session first = test.registered_session();
    sim::session second = test.registered_session();
    test.send(first, route_head(),
              route_payload(1, {{.flags = 0x80, .rpf_if = 4, .oifs = {{5, 0}, {6, 1}}}}));
    test.send(second, route_head(), route_payload(2, {{.flags = 0x1, .rpf_if = 9}}));
    ASSERT_EQ(test.vell.routes.size(), 1u);
    EXPECT_EQ(only_route(test).flags, 1u);
    EXPECT_EQ(only_route(test).rpf_if, 9u);
    EXPECT_EQ(only_route(test).client, 2);
    EXPECT_TRUE(only_route(test).lists.oifs.empty());
}

TEST(RouteUpdate, TellsRoutesApartByEveryPartOfTheKey) {
    test_service test;
    sim::session from = test.registered_session();
    test.send(from, route_head(),
              route_payload(1, {{},
                                {.source = 0x0a000008},
                                {.source_length = 31},
                                {.group = 0xef010103},
                                {.group_length = 31},
                                {.table = 254}}));
    EXPECT_EQ(test.vell.routes.size(), 6u);
    EXPECT_EQ(test.client_of(from).route_records, 6u);
}

TEST(RouteUpdate, AppliesItsRecordsInOrder) {
    test_service test;
    sim::session from = test.registered_session();
    test.send(from, route_head(), route_payload(1, {{.rpf_if = 1}, {.opcode = 2}, {.rpf_if = 2}}));
    ASSERT_EQ(test.vell.routes.size(), 1u);
    EXPECT_EQ(only_route(test).rpf_if, 2u);
    test.send(from, route_head(), route_payload(1, {{.rpf_if = 3}, {.opcode = 2}}));
    EXPECT_TRUE(test.vell.routes.empty());
    EXPECT_EQ(test.client_of(from).route_records, 5u);
    EXPECT_EQ(test.client_of(from).missed_deletes, 0u);
}

TEST(RouteUpdate, MayBeEmpty) {
    test_service test;
    sim::session from = test.registered_session();
    test.send(from, route_head(), route_payload(1, {}));
    EXPECT_TRUE(test.errors.empty());
    EXPECT_EQ(test.client_of(from).messages, 2u);
    EXPECT_EQ(test.client_of(from).route_records, 0u);
}

TEST(RouteUpdate, IsAppliedWholeOrNotAtAll) {
    test_service test;
    sim::session from = test.registered_session();
    test.send(from, route_head(), route_payload(1, {{.table = 1}}));
    test.send(
        from, route_head(),
        route_payload(1, {{.table = 2}, {.opcode = 2, .table = 1}, {.oifs = {{5, 0}, {6, 3}}}}));
    EXPECT_THAT(
        test.errors,
        ElementsAre("client 1 (pid 4711): route update (opcode 75831): offset 160: OIF kind 3 is "
                    "not 0, 1, 4, 8 or 12: refused"));
    ASSERT_EQ(test.vell.routes.size(), 1u);
    EXPECT_EQ(test.vell.routes.begin()->first.table, 1u);
    EXPECT_EQ(test.client_of(from).route_records, 1u);
    EXPECT_EQ(test.client_of(from).refused, 1u);
}

TEST(RouteUpdate, IsRefusedWithAnotherConnectionsId) {
    test_service test;
    sim::session from = test.registered_session();
    test.registered_session();
    test.send(from, route_head(), route_payload(2, {{}}));
    EXPECT_THAT(
        test.errors,
        ElementsAre("client 1 (pid 4711): route update (opcode 75831): offset 0: client id is 2, "
                    "this connection's is 1: refused"));
    EXPECT_TRUE(test.vell.routes.empty());
}

TEST(MissedDelete, IsLoggedAndCountedButNoError) {
    test_service test;
    sim::session from = test.registered_session();
    test.send(from, route_head(),
              route_payload(1, {{.opcode = 2, .source = 0, .source_length = 0}}));
    EXPECT_TRUE(test.errors.empty());
    EXPECT_EQ(test.traces.back(),
              "client 1 (pid 4711): delete of (*, 239.1.1.2) in table 253: no such route");
    EXPECT_EQ(test.client_of(from).missed_deletes, 1u);
    EXPECT_EQ(test.client_of(from).route_records, 0u);
    EXPECT_EQ(test.client_of(from).refused, 0u);
}

TEST(MissedDelete, ComesInThousandsWithAFewLines) {
    test_service test;
    sim::session from = test.registered_session();
    test.traces.clear();
    test.send(from, route_head(), route_payload(1, std::vector<test_route>(5000, {.opcode = 2})));
    EXPECT_EQ(test.client_of(from).missed_deletes, 5000u);
    ASSERT_EQ(test.traces.size(), 9u);
    EXPECT_EQ(test.traces.back(),
              "client 1 (pid 4711): 4992 more deletes of absent routes in the same message");
}

TEST(RoleUpdate, SetsTheClientsRoleAndNoRoute) {
    const std::pair<std::vector<int>, const char *> roles[] = {
        {{0x00, 0x00, 0x04, 0x00}, "forward_all"}, {{0x00, 0x00, 0x08, 0x00}, "forward_even"},
        {{0x00, 0x00, 0x10, 0x00}, "forward_odd"}, {{0x00, 0x00, 0x00, 0x02}, "forward_none"},
        {{0x00, 0x00, 0x00, 0x00}, "none given"},
    };
    test_service test({.ack_id = 0xc3});
    sim::session from = test.registered_session();
    EXPECT_EQ(test.client_of(from).dux_role, "");
    for (const auto &[flags, name] : roles) {
        test.send(from, role_head(), patched(role_update(), 12, flags));
        EXPECT_EQ(test.client_of(from).dux_role, name);
    }
    EXPECT_TRUE(test.errors.empty());
    EXPECT_TRUE(test.vell.routes.empty());
    EXPECT_EQ(test.client_of(from).route_records, 0u);
}

TEST(RoleUpdate, HasItsOwnSendOptions) {
    test_service test({.ack_id = 0xc3});
    sim::session from = test.registered_session();
    test.send(from, route_head(), role_update());
    ASSERT_EQ(test.errors.size(), 1u);
    EXPECT_THAT(test.errors[0],
                HasSubstr("frame head offset 32: send-options word 1 is 1, it must be 0"));
    EXPECT_EQ(test.client_of(from).dux_role, "");
}

TEST(RoleRecord, InARouteUpdateSetsTheRoleToo) {
    test_service test;
    sim::session from = test.registered_session();
    test.send(from, route_head(),
              route_payload(1, {{.opcode = 23, .flags = VELL_SIM_DUX_FORWARD_ODD}, {}}));
    EXPECT_TRUE(test.errors.empty());
    EXPECT_EQ(test.client_of(from).dux_role, "forward_odd");
    EXPECT_EQ(test.vell.routes.size(), 1u);
}
