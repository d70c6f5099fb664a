#include "sim/switch/show_answer.h"
#include "sim/switch/show_query.h"
#include "tests/switch/route_bytes.h"
#include "tests/switch/test_service.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace {

std::string shown(const test_service &test, std::string_view request) {
    const sim::show_answer answer = sim::answer_show(test.vell, request);
    EXPECT_FALSE(answer.is_error) << answer.text;
    return answer.text;
}

std::string error_of(std::string_view request) {
    const test_service test;
    const sim::show_answer answer = sim::answer_show(test.vell, request);
    EXPECT_TRUE(answer.is_error);
    return answer.text;
}

// The groups of the shown routes, in their order.
std::vector<std::string> groups(const test_service &test, const sim::show_query &query) {
    std::vector<std::string> found;
    const auto table = nlohmann::json::parse(shown(test, sim::encode_show_query(query)));
    for (const auto &route : table.at("routes")) {
        found.push_back(route.at("group"));
    }
    return found;
}

// Five routes of two clients in two tables.
struct filled_service : test_service {
    filled_service() {
        sim::session first = registered_session();
        sim::session second = registered_session();
        send(first, route_head(),
             route_payload(1, {{.group = 0xef000003, .table = 9, .oifs = {{5, 0}, {6, 0}}},
                               {.group = 0xef000002, .table = 9},
                               {.source = 0,
                                .source_length = 0,
                                .group = 0xef000002,
                                .table = 9,
                                .oifs = {{7, 4}}}}));
        send(second, route_head(),
             route_payload(2, {{.source = 0x0a000001, .group = 0xef000001, .table = 9},
                               {.group = 0xef000009, .table = 8, .oifs = {{1, 0}}}}));
    }
};

using names = std::vector<std::string>;

} // namespace

TEST(ShowRoutes, IsEmptyAtFirst) {
    EXPECT_EQ(shown(test_service(), "routes"), R"({"routes":[]})");
}

TEST(ShowRoutes, PrintsEveryField) {
    test_service test({.ack_id = 0xc3});
    sim::session from = test.registered_session();
    test.send(from, route_head(), cut(patched(two_routes(), 2, {1}), 168));
    EXPECT_EQ(
        shown(test, "routes"),
        R"({"routes":[{"table":1600019804,"source":"10.11.8.9","source_len":24,"group":"239.12.13.14",)"
        R"("group_len":31,"opcode":1,"flags":["download","overlay_decap","dux_src_rp_l3","dux_l3src_behind_peer",)"
        R"("dux_forward_none","bit34","bit40","bit42","bit49","bit50","bit56","bit57","bit58"],)"
        R"("flags_word":"0x706050403201080","epoch":1296845642,"rpf_if":1414746705,"df_ordinal":88,"client":195,)"
        R"("oifs":[{"if_index":1684234849,"kind":12},{"if_index":1751606885,"kind":1}],)"
        R"("mti":[[2492699281,2560071317,2627443353,2946473629]],)"
        R"("glt":[{"words":[1953722993,2021095029,2088467065,2172616317],"data":"a0a1a2","length":3,)"
        R"("last":2240054146}]}]})");
}

TEST(ShowRoutes, SortsByTableGroupSourceAndLengths) {
    EXPECT_EQ(groups(filled_service(), {.name = "routes"}),
              (names{"239.0.0.9", "239.0.0.1", "239.0.0.2", "239.0.0.2", "239.0.0.3"}));
}

TEST(ShowRoutes, IsNarrowedByEachFilter) {
    const filled_service test;
    EXPECT_EQ(groups(test, {.name = "routes", .table = 8}), names{"239.0.0.9"});
    EXPECT_EQ(groups(test, {.name = "routes", .client = 2}), (names{"239.0.0.9", "239.0.0.1"}));
    EXPECT_EQ(groups(test, {.name = "routes", .group = 0xef000002}),
              (names{"239.0.0.2", "239.0.0.2"}));
    EXPECT_EQ(groups(test, {.name = "routes", .source = 0}), names{"239.0.0.2"});
    EXPECT_EQ(groups(test, {.name = "routes", .source = 0x0a000001}), names{"239.0.0.1"});
    EXPECT_EQ(groups(test, {.name = "routes", .client = 1, .group = 0xef000009}), names{});
}

TEST(ShowRoutes, SaysHowManyThereAreWhenLimited) {
    const auto table = nlohmann::json::parse(shown(
        filled_service(), sim::encode_show_query({.name = "routes", .table = 9, .limit = 2})));
    EXPECT_EQ(table.at("routes").size(), 2u);
    EXPECT_EQ(table.at("matched"), 4);
    EXPECT_FALSE(table.contains("narrowed")) << "a table is a whole";
    const auto narrowed = nlohmann::json::parse(
        shown(filled_service(), sim::encode_show_query({.name = "routes", .source = 0})));
    EXPECT_EQ(narrowed.at("narrowed"), true);
}

TEST(ShowRoutes, IsSummedUpPerTable) {
    EXPECT_EQ(
        shown(filled_service(), sim::encode_show_query({.name = "routes", .summary = true})),
        R"({"summary":[{"table":8,"routes":1,"sg":1,"star_g":0,"with_oifs":1,"without_oifs":0,"oifs":1},)"
        "\n"
        R"({"table":9,"routes":4,"sg":3,"star_g":1,"with_oifs":2,"without_oifs":2,"oifs":3}]})");
}

TEST(ShowClients, PrintsEveryField) {
    test_service test;
    sim::session first{.pid = 123};
    test.send(first, register_head(), register_payload(500, "seg\xff\""));
    test.send(first, notice_head(), notice_payload(1, 8, 9, 7));
    test.send(first, route_head(), route_payload(1, {{}, {.table = 1}, {.opcode = 2, .table = 2}}));
    test.send(first, route_head(), route_payload(9, {}));
    sim::session second{.pid = 124};
    test.send(second, register_head(), register_payload(286));
    test.send(second, role_head(), patched(role_update(), 0, {2}));
    test.send(second, deregister_head(), deregister_payload(2));
    EXPECT_EQ(
        shown(test, "clients"),
        R"({"clients":[{"id":1,"uuid":500,"pid":123,"state":"registered","segment":"seg)"
        "\xef\xbf\xbd"
        R"(\"","messages":4,"route_records":2,"refused":1,"missed_deletes":1,"ipv6_notices":1,)"
        R"("last_ipv6_notice":[8,9,7],"dux_role":null},)"
        "\n"
        R"({"id":2,"uuid":286,"pid":124,"state":"deregistered","segment":"","messages":3,"route_records":0,)"
        R"("refused":0,"missed_deletes":0,"ipv6_notices":0,"last_ipv6_notice":null,"dux_role":"forward_even"}]})");
}

TEST(ShowClients, PutsTheRegisteredOnesFirst) {
    test_service test;
    sim::session first = test.registered_session(501);
    test.registered_session(502);
    test.send(first, deregister_head(), deregister_payload(1));
    test.registered_session(503);
    const auto table = nlohmann::json::parse(shown(test, "clients"));
    EXPECT_EQ(table["clients"][0]["uuid"], 503);
    EXPECT_EQ(table["clients"][1]["uuid"], 502);
    EXPECT_EQ(table["clients"][2]["uuid"], 501);
    const auto narrowed = nlohmann::json::parse(
        shown(test, sim::encode_show_query({.name = "clients", .client = 1})));
    EXPECT_EQ(narrowed["clients"].size(), 2u)
        << "the one that holds the id and the one that held it";
}

TEST(ShowRequest, IsAnsweredWithAnErrorWhenItMakesNoSense) {
    EXPECT_EQ(error_of("rout\x1b"), "this switch has no table \"rout\\x1b\"");
    EXPECT_EQ(error_of(""), "this switch has no table \"\"");
    EXPECT_EQ(error_of("routes {"), "show routes: what follows the table's name is no JSON object");
    EXPECT_EQ(error_of("routes 7"), "show routes: what follows the table's name is no JSON object");
    EXPECT_EQ(error_of(R"(routes {"colour":7})"),
              "show routes: member colour is unknown or of the wrong type");
    EXPECT_EQ(error_of(R"(routes {"table":-7})"),
              "show routes: member table is unknown or of the wrong type");
    EXPECT_EQ(error_of(R"(routes {"table":4294967296})"),
              "show routes: member table is unknown or of the wrong type");
    EXPECT_EQ(error_of(R"(routes {"summary":1})"),
              "show routes: member summary is unknown or of the wrong type");
    EXPECT_EQ(error_of(std::string(5000, 'x')),
              "the request is 5000 bytes long, at most 4096 are read");
}

TEST(ShowQuery, SurvivesTheJourney) {
    const sim::show_query sent{.name = "routes",
                               .client = 1,
                               .table = 4294967295u,
                               .group = 2,
                               .source = 3,
                               .limit = 4,
                               .summary = true};
    std::string error;
    const sim::show_query got = sim::decode_show_query(sim::encode_show_query(sent), error).value();
    EXPECT_EQ(got.name, "routes");
    EXPECT_EQ(got.client, 1u);
    EXPECT_EQ(got.table, 4294967295u);
    EXPECT_EQ(got.group, 2u);
    EXPECT_EQ(got.source, 3u);
    EXPECT_EQ(got.limit, 4u);
    EXPECT_TRUE(got.summary);
    EXPECT_EQ(sim::encode_show_query({.name = "clients"}), "clients");
}
