// The recordings as they are planned, with the counts that samples/README.md has of them.
#include "feed/diff.h"
#include "tests/feed/snapshot_text.h"

#include <gtest/gtest.h>

namespace feed {
namespace {

plan read_sample(const std::string &name) {
    return read_plan({VELL_SAMPLES_DIR "/" + name}, {});
}

std::string counts_of(const std::string &name) {
    const plan made = read_sample(name);
    const left_out &without = made.without;
    return fmt::format(
        "{} routes, {} groups, {} flood sets, {} LTLs, without {} {} {} {} {} {} {} {}",
        made.wanted.routes.size(), made.wanted.groups.size(), made.wanted.floods.size(),
        made.wanted.ltls.size(), without.unresolved_routes, without.routes_without_iif,
        without.ttl_thresholds, without.router_ports, without.blocked_members,
        without.ports_not_forwarding, without.flooded_vlan_interfaces, without.of_other_bridges);
}

template <typename Row>
std::string changes_of(const table<Row> &before, const table<Row> &after) {
    std::string text;
    for (const change<Row> &one : diff(before, after)) {
        text += fmt::format("{}{}\n",
                            one.before == nullptr  ? "+ "
                            : one.after == nullptr ? "- "
                                                   : "~ ",
                            key_text(*one.key));
    }
    return text;
}

TEST(Samples, ArePlannedAsTheyWereRecorded) {
    EXPECT_EQ(counts_of("campus"),
              "29 routes, 0 groups, 0 flood sets, 0 LTLs, without 3 1 8 0 0 0 0 0");
    EXPECT_EQ(counts_of("metro"),
              "1200 routes, 0 groups, 0 flood sets, 0 LTLs, without 0 0 0 0 0 0 0 0");
    EXPECT_EQ(counts_of("tables"),
              "6 routes, 0 groups, 0 flood sets, 0 LTLs, without 0 0 1 0 0 0 0 0");
    EXPECT_EQ(counts_of("snooping-1"),
              "0 routes, 34 groups, 0 flood sets, 32 LTLs, without 0 0 0 3 4 0 0 0");
    EXPECT_EQ(counts_of("snooping-2"),
              "0 routes, 30 groups, 0 flood sets, 28 LTLs, without 0 0 0 3 3 0 0 0");
    EXPECT_EQ(counts_of("stadium"),
              "0 routes, 400 groups, 0 flood sets, 400 LTLs, without 0 0 0 0 0 0 0 0");
    EXPECT_EQ(counts_of("flood-1"),
              "0 routes, 0 groups, 7 flood sets, 0 LTLs, without 0 0 0 0 0 0 2 0");
    EXPECT_EQ(counts_of("flood-2"),
              "0 routes, 0 groups, 6 flood sets, 0 LTLs, without 0 0 0 0 0 0 2 0");
    EXPECT_EQ(counts_of("day/1"),
              "8 routes, 12 groups, 2 flood sets, 10 LTLs, without 0 0 1 1 1 4 0 0");
    EXPECT_EQ(counts_of("day/2"),
              "9 routes, 12 groups, 3 flood sets, 11 LTLs, without 0 0 1 1 1 2 0 0");
    EXPECT_EQ(counts_of("day/3"),
              "2 routes, 8 groups, 2 flood sets, 8 LTLs, without 0 0 1 1 0 3 0 0");
}

TEST(Samples, ADayHasItsChanges) {
    const state morning = read_sample("day/1").wanted;
    const state noon = read_sample("day/2").wanted;
    const state night = read_sample("day/3").wanted;
    EXPECT_EQ(changes_of(morning.routes, noon.routes),
              "~ (10.50.30.102, 239.192.20.2) in table 253\n"
              "- (10.60.0.11, 239.192.10.3) in table 253\n"
              "+ (10.60.0.11, 239.192.10.4) in table 253\n"
              "+ (203.0.113.41, 232.7.200.1) in table 253\n");
    EXPECT_EQ(changes_of(morning.groups, noon.groups), "~ (*, 239.192.20.1) in VLAN 10\n"
                                                       "~ (*, 239.192.20.2) in VLAN 10\n"
                                                       "~ (198.51.100.7, 232.1.1.9) in VLAN 20\n"
                                                       "~ (*, 239.192.10.1) in VLAN 20\n"
                                                       "+ (*, 239.192.10.4) in VLAN 20\n"
                                                       "~ (*, 239.192.20.3) in VLAN 30\n"
                                                       "- (*, ff0e::101) in VLAN 30\n");
    EXPECT_EQ(changes_of(morning.floods, noon.floods), "~ VLAN 10\n+ VLAN 20\n~ VLAN 30\n");
    EXPECT_EQ(changes_of(noon.floods, night.floods), "- VLAN 20\n");
    // The night has two routes as they were in the morning.
    for (const auto &[key, row] : night.routes) {
        EXPECT_EQ(morning.routes.at(key), row) << key_text(key);
    }
}

} // namespace
} // namespace feed
