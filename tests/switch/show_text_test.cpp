#include "sim/switch/show_text.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace {

using json = nlohmann::ordered_json;

json a_route() {
    return json::parse(
        R"({"table":253,"source":"10.0.0.9","source_len":32,"group":"239.1.1.2","group_len":32,"opcode":1,
        "flags":["download"],"flags_word":"0x80","epoch":11,"rpf_if":4,"df_ordinal":2,"client":1,
        "oifs":[{"if_index":5,"kind":0},{"if_index":6,"kind":1},{"if_index":7,"kind":4},{"if_index":8,"kind":8},
                {"if_index":9,"kind":12}],
        "mti":[[1,2,3,4],[5,6,7,8]],
        "glt":[{"words":[1,2,3,4],"data":"0a0b","length":2,"last":7},
               {"words":[5,6,7,8],"data":"","length":0,"last":9}]})");
}

std::string text_of_routes(std::initializer_list<json> routes) {
    return sim::routes_text(json{{"routes", json::array_t(routes)}});
}

} // namespace

TEST(RoutesText, ShowsARouteAndTheCount) {
    EXPECT_EQ(text_of_routes({a_route()}),
              "Table 253\n"
              "\n"
              "(10.0.0.9, 239.1.1.2)  RPF 4, DF 2, epoch 11, client 1\n"
              "    flags: download\n"
              "    OIFs (5): 5, 6 (vprime), 7 (duxsvi), 8 (duxbidir rpf),\n"
              "              9 (duxbidir rpf, duxsvi)\n"
              "    MTI (2): 1 2 3 4, 5 6 7 8\n"
              "    GLT (2): 1 2 3 4 data 0a0b last 7, 5 6 7 8 data - last 9\n"
              "\n"
              "1 route\n");
}

TEST(RoutesText, WritesAnySourceAndMasksAsEngineersDo) {
    json any_source = a_route();
    any_source.update(json::parse(
        R"({"source":"0.0.0.0","source_len":0,"group_len":24,"flags":[],"oifs":[],"mti":[],"glt":[]})"));
    json prefix = any_source;
    prefix.update(json::parse(R"({"source":"10.0.0.0","source_len":8,"table":254})"));
    EXPECT_EQ(text_of_routes({any_source, prefix}),
              "Table 253\n"
              "\n"
              "(*, 239.1.1.2/24)  RPF 4, DF 2, epoch 11, client 1\n"
              "    flags: none\n"
              "    OIFs: none\n"
              "\n"
              "Table 254\n"
              "\n"
              "(10.0.0.0/8, 239.1.1.2/24)  RPF 4, DF 2, epoch 11, client 1\n"
              "    flags: none\n"
              "    OIFs: none\n"
              "\n"
              "2 routes\n");
}

TEST(RoutesText, WritesAnyGroupAsAnySource) {
    json any = a_route();
    any.update(
        json::parse(R"({"source":"0.0.0.0","source_len":0,"group":"0.0.0.0","group_len":0})"));
    EXPECT_NE(text_of_routes({any}).find("\n(*, *)  RPF 4"), std::string::npos);
}

TEST(RoutesText, StaysWithin80Columns) {
    json wide = a_route();
    wide["oifs"] = json::array();
    for (int i = 0; i < 300; ++i) {
        wide["oifs"].push_back(json{{"if_index", 4294967295u}, {"kind", 12}});
    }
    const std::string text = text_of_routes({wide});
    std::size_t longest = 0;
    for (std::size_t start = 0, end = 0; (end = text.find('\n', start)) != std::string::npos;
         start = end + 1) {
        longest = std::max(longest, end - start);
    }
    EXPECT_LE(longest, 80u);
    EXPECT_GT(longest, 40u);
}

TEST(RoutesText, SaysWhenItIsLimited) {
    EXPECT_EQ(sim::routes_text(json::parse(R"({"routes":[],"matched":1200})")),
              "0 of 1200 routes\n");
    EXPECT_EQ(sim::routes_text(json::parse(R"({"routes":[]})")), "0 routes\n");
}

TEST(SummaryText, ShowsTablesAndTheirTotal) {
    EXPECT_EQ(
        sim::route_summary_text(json::parse(
            R"({"summary":[{"table":8,"routes":1,"sg":1,"star_g":0,"with_oifs":1,"without_oifs":0,"oifs":6},
                                 {"table":4294967295,"routes":40,"sg":30,"star_g":10,"with_oifs":25,"without_oifs":15,
                                  "oifs":1000}]})")),
        "     Table    Routes     (S,G)     (*,G)  With OIFs  Without OIFs      OIFs\n"
        "         8         1         1         0          1             0         6\n"
        "4294967295        40        30        10         25            15      1000\n"
        "     Total        41        31        10         26            15      1006\n"
        "41 routes in 2 tables\n");
}

TEST(ClientsText, ShowsClientsAndTheCount) {
    EXPECT_EQ(
        sim::clients_text(json::parse(
            R"({"clients":[{"id":1,"uuid":500,"pid":123,"state":"registered","segment":"seg\u001b[1m","messages":3,
                      "route_records":40,"refused":5,"missed_deletes":6,"ipv6_notices":7,"last_ipv6_notice":[8,9,10],
                      "dux_role":"forward_all"},
                     {"id":0,"uuid":4294967295,"pid":4194304,"state":"rejected","segment":"","messages":1,
                      "route_records":0,"refused":0,"missed_deletes":0,"ipv6_notices":0,"last_ipv6_notice":null,
                      "dux_role":null}]})")),
        " Id      Pid       Uuid State         Messages   Records Refused Missed  IPv6 Dux role\n"
        "  1      123        500 registered           3        40       5      6     7 "
        "forward_all\n"
        "    segment: seg\\x1b[1m\n"
        "    last IPv6 notice: 8 9 10\n"
        "  0  4194304 4294967295 rejected             1         0       0      0     0 -\n"
        "2 clients\n");
}
