// The recordings of a real kernel, as `ip` printed them; the expectations are read from the files
// by eye.
#include "address.h"
#include "links.h"
#include "route_plan.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace feed {
namespace {

class sample {
public:
    explicit sample(const std::string &name)
        : table(parse_mroute_table(read_text(path(name, "mroute")))),
          plan(plan_routes(table,
                           interface_indexes(
                               table,
                               recorded_links("links", parse_links(read_text(path(name, "links")))),
                               false),
                           {})) {}

    const route *find(const char *source, const char *group, std::uint32_t table_id = 253) const {
        const auto found =
            std::find_if(plan.routes.begin(), plan.routes.end(), [&](const route &route) {
                return route.key.source == *parse_ipv4(source) &&
                       route.key.group == *parse_ipv4(group) && route.key.table == table_id;
            });
        return found == plan.routes.end() ? nullptr : &*found;
    }

    std::size_t oifs() const {
        std::size_t sum = 0;
        for (const route &route : plan.routes)
            sum += route.oifs.size();
        return sum;
    }

    mroute_table table;
    route_plan plan;

private:
    static std::string path(const std::string &name, const std::string &kind) {
        return std::string(VELL_SAMPLES_DIR) + "/" + name + "." + kind + ".json";
    }
};

using indexes = std::vector<std::uint32_t>;

TEST(samples, campus_has_every_kind_of_entry) {
    const sample campus("campus");
    EXPECT_EQ(campus.table.entries.size(), 33u);
    EXPECT_EQ(campus.plan.routes.size(), 29u);
    EXPECT_EQ(campus.plan.unresolved, 3u);
    EXPECT_EQ(campus.plan.interface_gone, 1u);
    EXPECT_EQ(campus.plan.ttl_thresholds, 8u);
    EXPECT_EQ(std::count_if(campus.plan.routes.begin(), campus.plan.routes.end(),
                            [](const route &route) { return route.flags.drop_route; }),
              3);
    EXPECT_EQ(std::count_if(campus.plan.routes.begin(), campus.plan.routes.end(),
                            [](const route &route) { return route.flags.local_group; }),
              2);
}

TEST(samples, campus_routes_are_those_of_the_file) {
    const sample campus("campus");
    // iptv0 is 17; bldg1 to bldg6 are 26 to 41 in steps of 3, lab0 is 44 and wan0 47.
    const route *television = campus.find("10.20.10.11", "239.192.10.1");
    ASSERT_NE(television, nullptr);
    EXPECT_EQ(television->rpf_if, 17u);
    EXPECT_EQ(television->oifs, (indexes{26, 29, 32, 35, 38, 41, 44, 47}));

    const route *unwanted = campus.find("10.20.43.77", "239.255.255.250");
    ASSERT_NE(unwanted, nullptr);
    EXPECT_EQ(unwanted->rpf_if, 32u);
    EXPECT_EQ(unwanted->oifs, indexes{});
    EXPECT_TRUE(unwanted->flags.drop_route);

    const route *local = campus.find("10.20.41.20", "224.0.0.251");
    ASSERT_NE(local, nullptr);
    EXPECT_EQ(local->oifs, (indexes{29, 44}));
    EXPECT_TRUE(local->flags.local_group);

    EXPECT_EQ(campus.find("10.20.99.9", "239.192.99.1"), nullptr);  // its interface is gone
    EXPECT_EQ(campus.find("203.0.113.99", "232.7.200.1"), nullptr); // unresolved
}

TEST(samples, metro_is_large) {
    const sample metro("metro");
    EXPECT_EQ(metro.plan.routes.size(), 1200u);
    EXPECT_EQ(metro.oifs(), 10000u);
    EXPECT_EQ(metro.plan.unresolved, 0u);
    const route *some = metro.find("10.64.0.13", "232.64.3.60");
    ASSERT_NE(some, nullptr);
    EXPECT_EQ(some->rpf_if, 103u);
    EXPECT_EQ(some->oifs, (indexes{203, 206, 216}));
}

TEST(samples, tables_has_two_of_them_and_any_source) {
    const sample tables("tables");
    EXPECT_EQ(tables.plan.routes.size(), 6u);
    EXPECT_EQ(tables.plan.ttl_thresholds, 1u);
    const route *wildcard = tables.find("0.0.0.0", "239.7.7.2", 100);
    ASSERT_NE(wildcard, nullptr);
    EXPECT_TRUE(wildcard->flags.wildcard_route);
    EXPECT_EQ(wildcard->key.source_length, 0);
    EXPECT_EQ(wildcard->oifs, (indexes{4, 6}));
    const route *any_group = tables.find("0.0.0.0", "0.0.0.0");
    ASSERT_NE(any_group, nullptr);
    EXPECT_EQ(any_group->key.group_length, 0);
    EXPECT_EQ(tables.find("10.30.1.9", "239.7.7.1")->rpf_if, 5u);
    EXPECT_EQ(tables.find("10.30.0.9", "239.7.7.1", 100)->rpf_if, 4u);
}

} // namespace
} // namespace feed
