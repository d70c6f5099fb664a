// `show routes`: text and JSON of the same routes.
#include "sim/base/if_name.h"
#include "tests/switch/route_bytes.h"
#include "tests/switch/test_service.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

using testing::EndsWith;
using json = nlohmann::json;

namespace {

using names = std::vector<std::string>;

// The groups of the shown routes, in their order.
names groups(const test_service &test, std::string_view asked) {
    names found;
    const json shown = json::parse(answer_of(test.vell, asked));
    for (const json &route : shown.at("routes")) {
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

std::uint32_t index_of(const char *name) {
    return sim::parse_if_name(name).value();
}

struct one_route_service : test_service {
    sim::session from = registered_session();

    void add(const test_route &route) { send(from, route_head(), route_payload(1, {route})); }
};

} // namespace

TEST(ShowRoutes, IsEmptyAtFirst) {
    EXPECT_EQ(answer_of(test_service().vell, "routes"),
              R"({"routes":[],"matched":0,"narrowed":null})");
    EXPECT_EQ(text_of(test_service().vell, "routes"), "0 routes\n");
}

TEST(ShowRoutes, PrintsEveryField) {
    test_service test({.ack_id = 0xc3});
    sim::session from = test.registered_session();
    test.send(from, route_head(), cut(patched(two_routes(), 2, {1}), 168));
    EXPECT_EQ(
        answer_of(test.vell, "routes"),
        R"({"routes":[{"table":1600019804,"source":"10.11.8.9","source_len":24,"group":"239.12.13.14",)"
        R"("group_len":31,"rpf_if":1414746705,"rpf_if_name":"0x54535251","df_ordinal":88,)"
        R"("epoch":1296845642,"client":195,)"
        R"("flags":["download","overlay_decap","dux_src_rp_l3","dux_l3src_behind_peer",)"
        R"("dux_forward_none","bit34","bit40","bit42","bit49","bit50","bit56","bit57","bit58"],)"
        R"("flags_word":"0x706050403201080",)"
        R"("oifs":[{"if_index":1684234849,"name":"0x64636261","kind":12},)"
        R"({"if_index":1751606885,"name":"Eth103/102/101","kind":1}],)"
        R"("mti":[[2492699281,2560071317,2627443353,2946473629]],)"
        R"("glt":[{"words":[1953722993,2021095029,2088467065,2172616317],"data":"a0a1a2","length":3,)"
        R"("last":2240054146}]}],"matched":1,"narrowed":null})");
    EXPECT_EQ(
        text_of(test.vell, "routes"),
        "Table 1600019804\n"
        "\n"
        "(10.11.8.9/24, 239.12.13.14/31)  RPF 0x54535251, DF 88, epoch 1296845642, client 195\n"
        "    flags: download, overlay_decap, dux_src_rp_l3, dux_l3src_behind_peer,\n"
        "           dux_forward_none, bit34, bit40, bit42, bit49, bit50, bit56, bit57,\n"
        "           bit58\n"
        "    OIFs (2): 0x64636261 (duxbidir rpf, duxsvi), Eth103/102/101 (vprime)\n"
        "    MTI (1): 2492699281 2560071317 2627443353 2946473629\n"
        "    GLT (1): 1953722993 2021095029 2088467065 2172616317 data a0a1a2 last "
        "2240054146\n"
        "\n"
        "1 route\n");
}

TEST(ShowRoutes, NamesInterfacesAndKindsOfOifs) {
    one_route_service test;
    test.add({.rpf_if = index_of("Vlan10"),
              .oifs = {{index_of("Eth3/7"), 0},
                       {index_of("Po12"), 1},
                       {index_of("Vlan20"), 4},
                       {index_of("Eth1/1/2"), 8},
                       {index_of("if9"), 12}}});
    EXPECT_EQ(text_of(test.vell, "routes"),
              "Table 253\n"
              "\n"
              "(10.0.0.9, 239.1.1.2)  RPF Vlan10, DF 0, epoch 0, client 1\n"
              "    flags: none\n"
              "    OIFs (5): Eth3/7, Po12 (vprime), Vlan20 (duxsvi), Eth1/1/2 (duxbidir rpf),\n"
              "              if9 (duxbidir rpf, duxsvi)\n"
              "\n"
              "1 route\n");
    const json row = json::parse(answer_of(test.vell, "routes")).at("routes").at(0);
    EXPECT_EQ(row.at("rpf_if"), index_of("Vlan10"));
    EXPECT_EQ(row.at("rpf_if_name"), "Vlan10");
    EXPECT_EQ(row.at("oifs").at(0),
              (json{{"if_index", index_of("Eth3/7")}, {"name", "Eth3/7"}, {"kind", 0}}));
}

TEST(ShowRoutes, GroupsThemByTableAndLeavesFullPrefixLengthsOut) {
    one_route_service test;
    test.add({.source = 0, .source_length = 0, .group_length = 24, .rpf_if = index_of("if4")});
    test.add({.source = 0x0a000000,
              .source_length = 8,
              .group_length = 24,
              .table = 254,
              .rpf_if = index_of("if4")});
    test.add({.source = 0,
              .source_length = 0,
              .group = 0,
              .group_length = 0,
              .table = 254,
              .rpf_if = index_of("if4")});
    const std::string rest = "  RPF if4, DF 0, epoch 0, client 1\n"
                             "    flags: none\n"
                             "    OIFs: none\n";
    EXPECT_EQ(text_of(test.vell, "routes"),
              "Table 253\n\n(*, 239.1.1.2/24)" + rest + "\nTable 254\n\n(*, *)" + rest +
                  "(10.0.0.0/8, 239.1.1.2/24)" + rest + "\n3 routes\n");
}

TEST(ShowRoutes, StaysWithin80Columns) {
    one_route_service test;
    test_route wide{.flags = UINT64_MAX & ~std::uint64_t{0xf << 19}};
    for (std::uint32_t i = 0; i < 300; ++i) {
        wide.oifs.push_back({UINT32_MAX - i, 12});
    }
    test.add(wide);
    const std::string text = text_of(test.vell, "routes");
    std::size_t longest = 0;
    for (std::size_t start = 0, end = 0; (end = text.find('\n', start)) != text.npos;
         start = end + 1) {
        longest = std::max(longest, end - start);
    }
    EXPECT_LE(longest, 80u);
    EXPECT_GT(longest, 70u);
    EXPECT_NE(text.find("    OIFs (300): 0xffffffff (duxbidir rpf, duxsvi),\n"
                        "                0xfffffffe (duxbidir rpf, duxsvi),\n"),
              text.npos);
}

TEST(ShowRoutes, SortsByTableGroupSourceAndLengths) {
    EXPECT_EQ(groups(filled_service(), "routes"),
              (names{"239.0.0.9", "239.0.0.1", "239.0.0.2", "239.0.0.2", "239.0.0.3"}));
}

TEST(ShowRoutes, IsNarrowedByEachFilter) {
    const filled_service test;
    EXPECT_EQ(groups(test, "routes table=8"), names{"239.0.0.9"});
    EXPECT_EQ(groups(test, "routes client=2"), (names{"239.0.0.9", "239.0.0.1"}));
    EXPECT_EQ(groups(test, "routes group=239.0.0.2"), (names{"239.0.0.2", "239.0.0.2"}));
    EXPECT_EQ(groups(test, "routes source=0.0.0.0"), names{"239.0.0.2"});
    EXPECT_EQ(groups(test, "routes source=10.0.0.1"), names{"239.0.0.1"});
    EXPECT_EQ(groups(test, "routes client=1 group=239.0.0.9"), names{});
}

TEST(ShowRoutes, SaysByWhatItIsNarrowedAndHowManyMatch) {
    const filled_service test;
    const json limited = json::parse(answer_of(test.vell, "routes table=9 limit=2"));
    EXPECT_EQ(limited.at("routes").size(), 2u);
    EXPECT_EQ(limited.at("matched"), 4);
    EXPECT_EQ(limited.at("narrowed"), json::parse(R"({"table":9})"));
    EXPECT_EQ(json::parse(answer_of(test.vell, "routes source=10.0.0.1 client=2")).at("narrowed"),
              json::parse(R"({"source":"10.0.0.1","client":2})"));
    EXPECT_THAT(text_of(test.vell, "routes table=9 limit=2"), EndsWith("\n2 of 4 routes\n"));
    EXPECT_EQ(text_of(test.vell, "routes table=7 limit=2"), "0 routes\n");
}

TEST(ShowRoutes, IsSummedUpPerTable) {
    const filled_service test;
    EXPECT_EQ(
        answer_of(test.vell, "routes summary=true"),
        R"({"summary":[{"table":8,"routes":1,"sg":1,"star_g":0,"with_oifs":1,"without_oifs":0,"oifs":1},)"
        "\n"
        R"({"table":9,"routes":4,"sg":3,"star_g":1,"with_oifs":2,"without_oifs":2,"oifs":3}],)"
        R"("matched":2,"narrowed":null})");
    EXPECT_EQ(text_of(test.vell, "routes summary=true"),
              "     Table    Routes     (S,G)     (*,G)  With OIFs  Without OIFs      OIFs\n"
              "         8         1         1         0          1             0         1\n"
              "         9         4         3         1          2             2         3\n"
              "     Total         5         4         1          3             2         4\n"
              "5 routes in 2 tables\n");
    EXPECT_THAT(text_of(test.vell, "routes summary=true client=2"),
                EndsWith("\n2 routes in 2 tables\n"));
}

TEST(ShowRoutes, SumsUpAnyNumberOfTablesPieceByPiece) {
    test_service test;
    sim::session from = test.registered_session();
    std::vector<test_route> routes(5000);
    for (std::uint32_t i = 0; i < routes.size(); ++i) {
        routes[i].table = i;
    }
    test.send(from, route_head(), route_payload(1, routes));
    ASSERT_EQ(test.vell.routes.size(), routes.size());
    expect_small_pieces(test.vell, "routes summary=true");
    const json summed = json::parse(answer_of(test.vell, "routes summary=true limit=3"));
    EXPECT_EQ(summed.at("matched"), 5000);
    EXPECT_EQ(summed.at("summary").size(), 3u);
}
