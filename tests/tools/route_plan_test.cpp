#include "route_plan.h"
#include "tests/tools/error_of.h"
#include "tests/tools/table_text.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

namespace feed {
namespace {

route_plan plan_of(const std::string &text, const plan_options &options = {}) {
    const mroute_table table = table_of(text);
    const interface_indexes indexes(
        table, recorded_links("links.json", {{"a", 11}, {"b", 12}, {"c", 13}, {"up0", 4}}), false);
    return plan_routes(table, indexes, options);
}

constexpr char plain[] =
    R"([{"src":"10.1.2.3","dst":"239.4.5.6","iif":"up0","multipath":[{"oif":"b"},{"oif":"a"}]}])";

TEST(RoutePlan, ARouteHasEveryFieldOfItsEntry) {
    const route_plan plan = plan_of(plain, {.table = 77, .epoch = 9});
    ASSERT_EQ(plan.routes.size(), 1u);
    const route &route = plan.routes[0];
    EXPECT_EQ(route.opcode, 1);
    EXPECT_EQ(route.key.table, 77u);
    EXPECT_EQ(route.key.source, 0x0a010203u);
    EXPECT_EQ(route.key.source_length, 32);
    EXPECT_EQ(route.key.group, 0xef040506u);
    EXPECT_EQ(route.key.group_length, 32);
    EXPECT_EQ(route.epoch, 9u);
    EXPECT_EQ(route.rpf_if, 4u);
    EXPECT_EQ(route.oifs, (std::vector<std::uint32_t>{12, 11}));
    EXPECT_TRUE(route.flags.download);
    EXPECT_TRUE(route.flags.download_done);
    EXPECT_FALSE(route.flags.wildcard_route);
    EXPECT_FALSE(route.flags.drop_route);
    EXPECT_FALSE(route.flags.local_group);
}

TEST(RoutePlan, ATableThatAnEntryNamesGoesFirst) {
    const route_plan plan =
        plan_of(R"([{"src":"10.0.0.1","dst":"239.1.1.1","iif":"a","table":"main"},
                                        {"src":"10.0.0.1","dst":"239.1.1.1","iif":"a"}])");
    EXPECT_EQ(plan.routes[0].key.table, 254u);
    EXPECT_EQ(plan.routes[1].key.table, 253u);
}

TEST(RoutePlan, OnlyTheLastRouteEndsTheDownload) {
    const route_plan plan = plan_of(R"([{"src":"10.0.0.1","dst":"239.1.1.1","iif":"a"},
                                        {"src":"10.0.0.2","dst":"239.1.1.1","iif":"a"},
                                        {"src":"10.0.0.3","dst":"239.1.1.1","state":"unresolved"}])");
    ASSERT_EQ(plan.routes.size(), 2u);
    EXPECT_FALSE(plan.routes[0].flags.download_done);
    EXPECT_TRUE(plan.routes[1].flags.download_done);
}

TEST(RoutePlan, ADeletionIsNoDownload) {
    const route_plan plan = plan_of(plain, {.deletion = true});
    EXPECT_EQ(plan.routes[0].opcode, 2);
    EXPECT_FALSE(plan.routes[0].flags.download);
    EXPECT_FALSE(plan.routes[0].flags.download_done);
}

TEST(RoutePlan, AnySourceAndAnyGroupHaveLength0) {
    const route_plan plan =
        plan_of(R"([{"src":"0.0.0.0","dst":"239.1.1.1","iif":"a","multipath":[{"oif":"b"}]},
                                        {"src":"0.0.0.0","dst":"0.0.0.0","iif":"a","multipath":[{"oif":"b"}]}])");
    EXPECT_EQ(plan.routes[0].key.source_length, 0);
    EXPECT_EQ(plan.routes[0].key.group_length, 32);
    EXPECT_TRUE(plan.routes[0].flags.wildcard_route);
    EXPECT_EQ(plan.routes[1].key.source_length, 0);
    EXPECT_EQ(plan.routes[1].key.group_length, 0);
    EXPECT_TRUE(plan.routes[1].flags.wildcard_route);
}

TEST(RoutePlan, ARouteWithoutOutgoingInterfacesDrops) {
    const route_plan plan =
        plan_of(R"([{"src":"10.0.0.1","dst":"239.1.1.1","iif":"a","multipath":[]}])");
    EXPECT_TRUE(plan.routes[0].flags.drop_route);
    EXPECT_TRUE(plan.routes[0].oifs.empty());
}

TEST(RoutePlan, AGroupOfTheLinkIsLocal) {
    const auto local = [](const std::string &group) {
        return plan_of(R"([{"src":"10.0.0.1","dst":")" + group + R"(","iif":"a"}])")
            .routes[0]
            .flags.local_group;
    };
    EXPECT_TRUE(local("224.0.0.0"));
    EXPECT_TRUE(local("224.0.0.255"));
    EXPECT_FALSE(local("224.0.1.0"));
    EXPECT_FALSE(local("239.0.0.1"));
}

TEST(RoutePlan, CountsWhatItLeavesOut) {
    const route_plan plan = plan_of(R"([
        {"src":"10.0.0.1","dst":"239.1.1.1","iif":"unresolved","state":"unresolved"},
        {"src":"10.0.0.2","dst":"239.1.1.1","iif":"unresolved","state":"unresolved"},
        {"src":"10.0.0.3","dst":"239.1.1.1","iif":"unresolved","multipath":[{"oif":"x","ttl":3}],"state":"resolved"},
        {"src":"10.0.0.4","dst":"239.1.1.1","iif":"a","multipath":[{"oif":"b","ttl":16},{"oif":"c","ttl":2}]},
        {"src":"10.0.0.5","dst":"239.1.1.1","iif":"a","multipath":[{"oif":"b","ttl":1}]}])");
    EXPECT_EQ(plan.routes.size(), 2u);
    EXPECT_EQ(plan.unresolved, 2u);
    EXPECT_EQ(plan.interface_gone, 1u);
    EXPECT_EQ(plan.ttl_thresholds, 2u);
    EXPECT_EQ(skipped_text(plan),
              "2 unresolved skipped, 1 skipped whose incoming interface is gone");
}

TEST(RoutePlan, SaysOnlyWhatWasSkipped) {
    EXPECT_EQ(skipped_text({}), "");
    EXPECT_EQ(skipped_text({.routes = {}, .unresolved = 3}), "3 unresolved skipped");
    EXPECT_EQ(skipped_text({.routes = {}, .interface_gone = 1}),
              "1 skipped whose incoming interface is gone");
}

TEST(RoutePlan, ARouteThatStandsTwiceIsRefused) {
    EXPECT_EQ(error_of([] {
                  plan_of(R"([{"src":"10.0.0.1","dst":"239.1.1.1","iif":"a"},
                              {"src":"10.0.0.2","dst":"239.1.1.1","iif":"a"},
                              {"src":"10.0.0.1","dst":"239.1.1.1","iif":"b","table":"default"}])");
              }),
              "table.json: entry 3 of 3 (/2): (10.0.0.1, 239.1.1.1) in table 253 stands in entry 1 "
              "already, and the "
              "service holds one route of each");
    // Any other table, source or group makes it another route.
    EXPECT_EQ(plan_of(R"([{"src":"10.0.0.1","dst":"239.1.1.1","iif":"a"},
                          {"src":"10.0.0.1","dst":"239.1.1.1","iif":"a","table":"main"},
                          {"src":"10.0.0.1","dst":"239.1.1.2","iif":"a"},
                          {"src":"0.0.0.0","dst":"239.1.1.1","iif":"a"}])")
                  .routes.size(),
              4u);
}

TEST(RoutePlan, AnOutgoingInterfaceThatStandsTwiceIsRefused) {
    EXPECT_EQ(error_of([] {
                  plan_of(R"([{"src":"10.0.0.1","dst":"239.1.1.1","iif":"a",
                               "multipath":[{"oif":"b"},{"oif":"c"},{"oif":"if12"}]}])");
              }),
              "table.json: entry 1 of 1 (/0/multipath/2/oif): the outgoing interface \"if12\" "
              "(index 12) stands in "
              "/multipath/0 already");
}

TEST(RoutePlan, AListHasToFitIts16BitLength) {
    const auto table_with = [](int count) {
        std::string oifs;
        for (int i = 1; i <= count; ++i)
            oifs += fmt::format("{}{{\"oif\":\"if{}\"}}", i == 1 ? "" : ",", 1000 + i);
        return R"([{"src":"10.0.0.1","dst":"239.1.1.1","iif":"a","multipath":[)" + oifs + "]}]";
    };
    EXPECT_EQ(plan_of(table_with(8191)).routes[0].oifs.size(), 8191u);
    EXPECT_EQ(error_of([&] { plan_of(table_with(8192)); }),
              "table.json: entry 1 of 1 (/0/multipath): 8192 outgoing interfaces; a route record "
              "holds up to 8191");
}

TEST(RoutePlan, KeysReadAsEngineersWriteThem) {
    EXPECT_EQ(key_text({253, 0x0a000009, 32, 0xef010102, 32}),
              "(10.0.0.9, 239.1.1.2) in table 253");
    EXPECT_EQ(key_text({100, 0, 0, 0xef010102, 32}), "(*, 239.1.1.2) in table 100");
    EXPECT_EQ(key_text({1, 0x0a000000, 8, 0xef000000, 24}),
              "(10.0.0.0/8, 239.0.0.0/24) in table 1");
    EXPECT_EQ(key_text({1, 0, 32, 0, 0}), "(0.0.0.0, *) in table 1");
}

} // namespace
} // namespace feed
