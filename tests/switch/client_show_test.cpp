// `show clients`: text and JSON of the same clients.
#include "tests/switch/l2_bytes.h"
#include "tests/switch/ltl_bytes.h"
#include "tests/switch/route_bytes.h"
#include "tests/switch/test_service.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using json = nlohmann::json;

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
    EXPECT_EQ(answer_of(test.vell, "clients"),
              R"({"clients":[{"id":1,"pid":123,"uuid":500,"state":"registered","messages":4,)"
              R"("records":3,"refused":1,"answers":1,"segment":"seg\ufffd\"","requests":[)"
              R"({"request":"IPv6 route notice","messages":1,"records":0,"refused":0},)"
              R"({"request":"register request","messages":1,"records":0,"refused":0},)"
              R"({"request":"route update","messages":2,"records":3,"refused":1}],)"
              R"("route_records":2,"missed_deletes":1,"ipv6_notices":1,"last_ipv6_notice":[8,9,7],)"
              R"("dux_role":null},)"
              "\n"
              R"({"id":2,"pid":124,"uuid":286,"state":"deregistered","messages":3,)"
              R"("records":1,"refused":0,"answers":1,"segment":"","requests":[)"
              R"({"request":"deregister request","messages":1,"records":0,"refused":0},)"
              R"({"request":"register request","messages":1,"records":0,"refused":0},)"
              R"({"request":"route update","messages":1,"records":1,"refused":0}],)"
              R"("route_records":0,"missed_deletes":0,"ipv6_notices":0,"last_ipv6_notice":null,)"
              R"("dux_role":"forward_even"}],"matched":2,"narrowed":null})");
    EXPECT_EQ(text_of(test.vell, "clients"),
              " Id     Pid       Uuid State         Messages   Records  Refused  Answers\n"
              "  1     123        500 registered           4         3        1        1\n"
              "    segment: seg\\xff\"\n"
              "    requests: IPv6 route notice 1, register request 1,\n"
              "              route update 2 with 3 records (1 refused)\n"
              "    deletes of absent routes: 1\n"
              "    last IPv6 notice: 8 9 7\n"
              "  2     124        286 deregistered         3         1        0        1\n"
              "    requests: deregister request 1, register request 1,\n"
              "              route update 1 with 1 record\n"
              "    dux role: forward_even\n"
              "2 clients\n");
}

TEST(ShowClients, PutsTheRegisteredOnesFirst) {
    test_service test;
    sim::session first = test.registered_session(501);
    test.registered_session(502);
    test.send(first, deregister_head(), deregister_payload(1));
    test.registered_session(503);
    const json table = json::parse(answer_of(test.vell, "clients"));
    EXPECT_EQ(table["clients"][0]["uuid"], 503);
    EXPECT_EQ(table["clients"][1]["uuid"], 502);
    EXPECT_EQ(table["clients"][2]["uuid"], 501);
    const json narrowed = json::parse(answer_of(test.vell, "clients client=1"));
    EXPECT_EQ(narrowed["clients"].size(), 2u)
        << "the one that holds the id and the one that held it";
    EXPECT_EQ(narrowed["narrowed"], json::parse(R"({"client":1})"));
}

TEST(ShowClients, ListsPeersThatNeverRegisteredWhileTheyAreConnected) {
    test_service test;
    sim::session stranger{.pid = 99};
    test.send(stranger, route_head(), route_payload(1, {{}}));
    test.send(stranger, request_head(213, 4711, 0), {});
    test.registered_session();
    EXPECT_EQ(text_of(test.vell, "clients"),
              " Id     Pid       Uuid State         Messages   Records  Refused  Answers\n"
              "  1    4711        500 registered           1         0        0        1\n"
              "    segment: segment\n"
              "    requests: register request 1\n"
              "  0      99          0 unregistered         2         0        2        0\n"
              "    requests: route update 1 (1 refused), unknown request 1 (1 refused)\n"
              "2 clients\n");
    test.send(stranger, register_head(), register_payload(600));
    const json shown = json::parse(answer_of(test.vell, "clients")).at("clients");
    ASSERT_EQ(shown.size(), 2u) << "its row goes on";
    EXPECT_EQ(shown[1].at("state"), "registered");
    EXPECT_EQ(shown[1].at("messages"), 3);
    sim::session other{.pid = 98};
    test.send(other, route_head(), {});
    EXPECT_EQ(json::parse(answer_of(test.vell, "clients")).at("matched"), 3);
    sim::handle_loss(test.vell, other, "it closed its connection");
    EXPECT_EQ(json::parse(answer_of(test.vell, "clients")).at("matched"), 2);
}

TEST(ShowClients, CountsRecordsOfEveryKindOfRequest) {
    test_service test;
    sim::session from = test.registered_session();
    test.send(from, l2_head(), mbd_message(1, std::vector<test_mbd>(3)));
    test.send(from, ltl_head(allocation), ltl_payload(10, 7, {}));
    test.send(from, ltl_head(flood_update), flood_payload({{10, 0, {}}, {11, 0, {}}}));
    EXPECT_EQ(json::parse(answer_of(test.vell, "clients")).at("clients").at(0).at("records"), 6);
    EXPECT_NE(
        text_of(test.vell, "clients")
            .find(
                "    requests: LTL allocation 1 with 1 record, flood LTL update 1 with 2 records,\n"
                "              layer-2 update 1 with 3 records, register request 1\n"),
        std::string::npos)
        << text_of(test.vell, "clients");
}

TEST(ShowClients, FitsInto80Columns) {
    test_service test;
    sim::client wide{.id = 255, .uuid = UINT32_MAX, .pid = 4194304};
    wide.messages = 999'999'999;
    wide.refused = wide.answers = 99'999'999;
    wide.requests["route update"].records = 999'999'999;
    test.vell.clients.add(wide);
    const std::string text = text_of(test.vell, "clients");
    const std::size_t row = text.find('\n') + 1;
    EXPECT_LE(row - 1, 80u);
    EXPECT_LE(text.find('\n', row) - row, 80u);
}
