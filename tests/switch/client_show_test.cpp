// `show clients`: text and JSON of the same clients.
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
    EXPECT_EQ(
        answer_of(test.vell, "clients"),
        R"({"clients":[{"id":1,"pid":123,"uuid":500,"state":"registered","messages":4,)"
        R"("route_records":2,"refused":1,"missed_deletes":1,"ipv6_notices":1,"dux_role":null,)"
        R"("segment":"seg\ufffd\"","last_ipv6_notice":[8,9,7]},)"
        "\n"
        R"({"id":2,"pid":124,"uuid":286,"state":"deregistered","messages":3,"route_records":0,)"
        R"("refused":0,"missed_deletes":0,"ipv6_notices":0,"dux_role":"forward_even","segment":"",)"
        R"("last_ipv6_notice":null}],"matched":2,"narrowed":null})");
    EXPECT_EQ(
        text_of(test.vell, "clients"),
        " Id     Pid       Uuid State        Messages Records Refused Missed IPv6 Dux role\n"
        "  1     123        500 registered          4       2       1      1    1 -\n"
        "    segment: seg\\xff\"\n"
        "    last IPv6 notice: 8 9 7\n"
        "  2     124        286 deregistered        3       0       0      0    0 forward_even\n"
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
    const json narrowed = json::parse(answer_of(test.vell, R"(clients {"client":1})"));
    EXPECT_EQ(narrowed["clients"].size(), 2u)
        << "the one that holds the id and the one that held it";
    EXPECT_EQ(narrowed["narrowed"], json::parse(R"({"client":1})"));
}
