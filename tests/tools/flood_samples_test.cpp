// The recordings of a real kernel, as `bridge` printed them; the expectations are read from the
// files by eye.
#include "flood_changes.h"
#include "flood_plan.h"
#include "switch_port.h"

#include <algorithm>
#include <fmt/format.h>
#include <gtest/gtest.h>

namespace feed {
namespace {

port_table table_of(const std::string &name) {
    return parse_bridge_ports(read_text(std::string(VELL_SAMPLES_DIR) + "/" + name + ".ports.json"),
                              {});
}

std::vector<std::string> texts_of(const std::vector<flood_set> &sets) {
    std::vector<std::string> texts;
    for (const flood_set &set : sets) {
        texts.push_back(fmt::format(
            "{} {:#x}: {}{}", key_text(set.key), set.line_card_mask, switch_names(set.interfaces),
            set.vlan_interfaces.empty() ? "" : " + " + switch_names(set.vlan_interfaces)));
    }
    return texts;
}

TEST(flood_samples, flood_has_these_sets) {
    const port_table table = table_of("flood");
    EXPECT_EQ(table.ports.size(), 52u);
    EXPECT_EQ(std::ranges::count(table.ports, false, &bridge_port::floods), 3);
    // mgmt0 is 161, ap1 and ap2 are 151 and 152, cam1 and cam2 141 and 142.
    const std::vector<std::string> expected = {
        "VLAN 10 0x6: Po1 Eth1/1 Eth1/2 Eth1/3 Eth1/4 Eth1/5 Eth1/6 Eth1/7 Eth2/1 Eth2/2 Eth2/3 "
        "Eth2/4 + Vlan10",
        "VLAN 20 0x8: Po2 Eth3/1 Eth3/2 Eth3/3 Eth3/4 Eth3/5 Eth3/6 Eth3/7 Eth3/8 Eth3/9 Eth3/10",
        "VLAN 30 0x10: if141 if142 Po3 Eth4/1 Eth4/2 Eth4/3 Eth4/4 Eth4/5 Eth4/6",
        "VLAN 40 0x4: if151 if152 Eth2/5 Eth2/6 Eth2/7 Eth2/8 + Vlan40",
        "VLAN 50 0x2: if161 Eth1/9 Eth1/10",
        "VLAN 60 0x20: Eth5/1 Eth5/2 Eth5/3 Eth5/4",
        "VLAN 70 0x40: Eth6/1 Eth6/2",
    };
    EXPECT_EQ(texts_of(plan_flood(table, {}).sets), expected);
}

TEST(flood_samples, from_flood_to_flood_later_are_these_changes) {
    std::vector<std::string> texts;
    for (const flood_change &change : flood_changes(plan_flood(table_of("flood"), {}).sets,
                                                    plan_flood(table_of("flood-later"), {}).sets)) {
        texts.push_back(fmt::format("{}: + {} - {}", change.vlan, switch_names(change.added()),
                                    switch_names(change.removed())));
    }
    const std::vector<std::string> expected = {
        "10: + Eth1/8 Eth6/3 Eth6/4 - Eth1/3 Eth1/4",
        "20: + Eth3/11 - Po2 Eth3/1 Eth3/2",
        "30: + Po4 Eth5/9 - if142",
        "40: + if142 - if151",
        "50: + none - none",
        "60: + none - Eth5/1 Eth5/2 Eth5/3 Eth5/4",
        "70: + none - Eth6/1 Eth6/2",
        "80: + Eth5/3 Eth5/4 Eth5/10 - none",
    };
    EXPECT_EQ(texts, expected);
}

} // namespace
} // namespace feed
