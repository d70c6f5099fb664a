// The recordings of a real kernel, as `bridge` printed them; the expectations are read from the
// files by eye.
#include "l2_changes.h"
#include "l2_plan.h"

#include <algorithm>
#include <fmt/format.h>
#include <gtest/gtest.h>

namespace feed {
namespace {

class sample {
public:
    explicit sample(const std::string &name)
        : table(parse_mdb(read_text(path(name, "mdb")), {})),
          source(choose_source(false, path(name, "links"))),
          plan(plan_l2(table,
                       kernel_numbering(interface_indexes(interface_uses(table), source, false)),
                       {})) {
        check_bridges(table, source);
    }

    const l2_entry *find(std::uint32_t vlan, const char *group, const char *from = nullptr) const {
        l2_key key = {vlan, *parse_net_address(group), {}};
        if (from != nullptr)
            key.source = parse_ip(from);
        const auto found = std::find_if(plan.entries.begin(), plan.entries.end(),
                                        [&](const l2_entry &one) { return one.key == key; });
        return found == plan.entries.end() ? nullptr : &*found;
    }

    // "10: 101 102", the bridge and its ports, with a + behind the bridge itself; "none" when it is
    // not there.
    std::string text(std::uint32_t vlan, const char *group, const char *from = nullptr) const {
        const l2_entry *entry = find(vlan, group, from);
        return entry == nullptr ? "none" : fmt::format("{}:{}", entry->bridge, ports_text(*entry));
    }

    static std::string ports_text(const l2_entry &entry) {
        std::string text;
        for (const l2_port &port : entry.ports)
            text += fmt::format(" {}{}", port.if_index, port.flags == 4 ? "+" : "");
        return text + (entry.permanent ? " permanent" : "");
    }

    std::size_t ports() const {
        std::size_t sum = 0;
        for (const l2_entry &entry : plan.entries)
            sum += entry.ports.size();
        return sum;
    }

    mdb_table table;
    interface_source source;
    l2_plan plan;

private:
    static std::string path(const std::string &name, const std::string &kind) {
        return std::string(VELL_SAMPLES_DIR) + "/" + name + "." + kind + ".json";
    }
};

TEST(l2_samples, snooping_has_every_kind_of_entry) {
    const sample snooping("snooping");
    EXPECT_EQ(snooping.table.entries.size(), 55u);
    EXPECT_EQ(snooping.plan.entries.size(), 34u);
    EXPECT_EQ(snooping.plan.ports_without, 4u);
    EXPECT_EQ(snooping.ports(), 51u);
    EXPECT_EQ(snooping.plan.router_ports, 3u);
    const auto count = [&](auto &&is) {
        return std::count_if(snooping.plan.entries.begin(), snooping.plan.entries.end(), is);
    };
    EXPECT_EQ(
        count([](const l2_entry &entry) { return entry.key.group.kind == address_kind::ipv6; }), 6);
    EXPECT_EQ(
        count([](const l2_entry &entry) { return entry.key.group.kind == address_kind::mac; }), 5);
    EXPECT_EQ(count([](const l2_entry &entry) { return entry.key.source.has_value(); }), 10);
    EXPECT_EQ(count([](const l2_entry &entry) { return entry.permanent; }), 18);
    EXPECT_EQ(count([](const l2_entry &entry) { return entry.ports.empty(); }), 2);
    EXPECT_EQ(count([](const l2_entry &entry) { return entry.key.vlan == 41; }), 1);
}

TEST(l2_samples, snooping_entries_are_those_of_the_file) {
    const sample snooping("snooping");
    // br10 is 10; lan1 to lan6 are 101 to 106, tv1 to tv5 111 to 115, cam1 is 121, plc1 125, up30
    // 126, guest2 132.
    EXPECT_EQ(snooping.text(10, "239.255.255.250"), "10: 10+ 101 102 105 106");
    EXPECT_EQ(snooping.text(10, "ff02::6a"), "10: 10+");
    EXPECT_EQ(snooping.text(10, "ff0e::101"), "10: 103 104 permanent");
    EXPECT_EQ(snooping.text(10, "239.192.10.1"), "10: 101 permanent");
    EXPECT_EQ(snooping.text(20, "239.192.10.1"), "20: 111 112 113 114 115 permanent");
    EXPECT_EQ(snooping.text(40, "239.192.10.1"), "40: 131 permanent");
    EXPECT_EQ(snooping.text(20, "232.1.1.1", "198.51.100.7"), "20: 111 113 permanent");
    EXPECT_EQ(snooping.text(20, "ff3e::4321:1", "2001:db8:20::11"), "20: 112 115 permanent");
    EXPECT_EQ(snooping.text(30, "01:1b:19:00:00:00"), "30: 121 125 126 permanent");
    EXPECT_EQ(snooping.text(41, "239.40.1.1"), "40: 132 permanent");
}

TEST(l2_samples, snooping_has_entries_that_go_to_fewer_ports_than_stand_in_them) {
    const sample snooping("snooping");
    // Two receivers of 232.1.1.9 want named sources alone.
    EXPECT_EQ(snooping.text(20, "232.1.1.9"), "20:");
    EXPECT_EQ(snooping.text(20, "232.1.1.9", "198.51.100.7"), "20: 111 114");
    EXPECT_EQ(snooping.text(20, "232.1.1.9", "198.51.100.8"), "20: 111");
    // tv2 refuses a source that tv3 takes, and tv4 one that nobody else does.
    EXPECT_EQ(snooping.text(20, "239.192.11.1"), "20: 112 113");
    EXPECT_EQ(snooping.text(20, "239.192.11.1", "198.51.100.66"), "20: 113");
    EXPECT_EQ(snooping.text(20, "239.192.11.2"), "20: 114");
    EXPECT_EQ(snooping.text(20, "239.192.11.2", "198.51.100.67"), "20:");
}

TEST(l2_samples, from_snooping_to_snooping_later_are_these_records) {
    std::vector<std::string> texts;
    for (const l2_change &change :
         changes(sample("snooping").plan.entries, sample("snooping-later").plan.entries)) {
        texts.push_back(fmt::format("{} {}:{}", change.operation == l2_operation::add ? "+" : "-",
                                    key_text(change.entry.key), sample::ports_text(change.entry)));
    }
    const std::vector<std::string> expected = {
        "- (*, 239.192.10.1) in VLAN 10: 101 permanent",
        "- (*, 239.255.12.34) in VLAN 10: 106",
        "- (*, 239.255.255.250) in VLAN 10: 102 106",
        "- (198.51.100.8, 232.1.1.1) in VLAN 20: 111 permanent",
        "- (198.51.100.8, 232.1.1.9) in VLAN 20: 111",
        "- (*, 239.192.10.1) in VLAN 20: 114 permanent",
        "- (*, 239.192.10.3) in VLAN 20: 113 permanent",
        "- (*, 239.192.11.1) in VLAN 20: 112",
        "- (198.51.100.66, 239.192.11.1) in VLAN 20: 113",
        "- (*, 01:0e:cf:00:00:01) in VLAN 30: 125 permanent",
        "- (*, 01:1b:19:00:00:00) in VLAN 30: 121 permanent",
        "- (*, 239.255.255.250) in VLAN 40: 132",
        "- (*, 33:33:00:00:00:fb) in VLAN 40: 132 permanent",
        "- (*, 239.40.1.1) in VLAN 41: 132 permanent",
        "+ (*, 239.192.10.1) in VLAN 10: 101",
        "+ (*, 239.255.255.250) in VLAN 10: 104",
        "+ (*, 239.192.10.2) in VLAN 20: 113 permanent",
        "+ (*, 239.192.10.4) in VLAN 20: 111 112 permanent",
        "+ (2001:db8:20::12, ff3e::4321:1) in VLAN 20: 114 permanent",
        "+ (*, 01:0e:cf:00:00:02) in VLAN 30: 125 permanent",
        "+ (*, 239.40.1.2) in VLAN 40: 134",
        "+ (*, 239.255.255.250) in VLAN 40: 134",
    };
    EXPECT_EQ(texts, expected);
}

TEST(l2_samples, stadium_is_large) {
    const sample stadium("stadium");
    EXPECT_EQ(stadium.table.entries.size(), 1800u);
    EXPECT_EQ(stadium.plan.entries.size(), 400u);
    EXPECT_EQ(stadium.ports(), 1800u);
    EXPECT_EQ(stadium.plan.router_ports, 0u);
    // seat1 to seat48 are 151 to 198.
    EXPECT_EQ(stadium.text(101, "239.64.101.1"), "101: 151 156 158 permanent");
    EXPECT_EQ(stadium.text(104, "232.64.104.80", "10.64.2.9"), "104: 195 permanent");
    EXPECT_EQ(stadium.text(103, "01:1b:19:64:67:5d"), "103: 178 permanent");
}

} // namespace
} // namespace feed
