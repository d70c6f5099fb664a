// The two messages, and what the library makes of them.
#include "flood_message.h"
#include "switch_port.h"
#include "tests/tools/ports_text.h"

#include <vell.h>

#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>
#include <map>
#include <random>

namespace feed {
namespace {

using indexes = std::vector<std::uint32_t>;

indexes of_names(std::initializer_list<const char *> names) {
    indexes made;
    for (const char *name : names)
        made.push_back(index_of_name(name).value());
    std::sort(made.begin(), made.end());
    return made;
}

TEST(FloodChanges, HaveEveryVlanOfEitherList) {
    const auto older = sets_of({port_text("br10", "eth1-1", 1), port_text("br10", "eth1-2", 2),
                                port_text("br20", "eth1-3", 3), port_text("br30", "vlan30", 4)});
    const auto newer = sets_of({port_text("br10", "eth1-2", 2), port_text("br10", "eth1-4", 5),
                                port_text("br30", "vlan30", 4), port_text("br40", "po1", 6)});
    const auto changes = flood_changes(older, newer);
    ASSERT_EQ(changes.size(), 4u);
    EXPECT_EQ(changes[0].vlan, 10u);
    EXPECT_EQ(switch_names(changes[0].added()), "Eth1/4");
    EXPECT_EQ(switch_names(changes[0].removed()), "Eth1/1");
    EXPECT_EQ(changes[1].vlan, 20u);
    EXPECT_TRUE(changes[1].newer.empty());
    EXPECT_EQ(switch_names(changes[1].removed()), "Eth1/3");
    EXPECT_EQ(changes[2].vlan, 30u);
    EXPECT_TRUE(changes[2].added().empty() && changes[2].removed().empty());
    EXPECT_EQ(switch_names(changes[2].vlan_interfaces), "Vlan30");
    EXPECT_EQ(changes[3].vlan, 40u);
    EXPECT_EQ(switch_names(changes[3].added()), "Po1");
}

TEST(FloodMessage, HasARecordForEachVlanInHostOrder) {
    const flood_messages messages = make_flood_messages(
        {{0x0123, {}, {}, {}},
         {0x0abc, of_names({"Eth3/7"}), of_names({"Eth4/7"}), of_names({"Vlan10"})}});
    EXPECT_EQ(messages.vlans, 2);
    std::vector<std::uint8_t> older(8 + 80 + 112);
    older[8] = older[88] = 12;
    older[16] = 80;
    older[96] = 112;
    older[8 + 24] = 0x23;
    older[8 + 25] = 0x01;
    older[88 + 24] = 0xbc;
    older[88 + 25] = 0x0a;
    older[88 + 70] = 1;
    older[88 + 74] = 2;
    const std::uint8_t port[] = {0x00, 0x07, 0x03, 0x68};
    std::copy(std::begin(port), std::end(port), older.begin() + 88 + 74 + 16);
    EXPECT_EQ(messages.older, older);

    std::vector<std::uint8_t> newer = older;
    newer.resize(older.size() + 32);
    newer[96] = 144;
    newer[88 + 70] = 2;
    newer[88 + 74 + 18] = 0x04;
    const std::uint8_t svi[] = {2, 0, 0, 0, 4, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 10, 0, 0, 0x14};
    std::copy(std::begin(svi), std::end(svi), newer.begin() + 88 + 74 + 32);
    EXPECT_EQ(messages.newer, newer);
}

// What the library finds of the one VLAN of these messages.
struct library_delta {
    std::uint32_t line_cards = 0;
    indexes added;
    indexes removed;
};

std::vector<vell_l2_oif> entries_in(const std::vector<std::uint8_t> &message) {
    vell_l2_vlan_record record;
    std::memcpy(&record, message.data() + sizeof(vell_l2_message), sizeof record);
    std::vector<vell_l2_oif> entries(record.count);
    if (!entries.empty())
        std::memcpy(entries.data(), message.data() + sizeof(vell_l2_message) + sizeof record,
                    entries.size() * sizeof(vell_l2_oif));
    return entries;
}

library_delta delta_of(const flood_change &change) {
    const flood_messages messages = make_flood_messages({change});
    auto older = entries_in(messages.older);
    auto newer = entries_in(messages.newer);
    std::vector<std::uint8_t> room(sizeof(vell_flood_delta) +
                                   (older.size() + newer.size()) * sizeof(vell_flood_update));
    auto *const head = reinterpret_cast<vell_flood_delta *>(room.data());
    EXPECT_EQ(vell_find_oiflist_delta(older.data(), static_cast<std::uint32_t>(older.size()),
                                      newer.data(), static_cast<std::uint32_t>(newer.size()), head),
              0);
    library_delta found;
    found.line_cards = head->flc_bitmask;
    for (std::uint32_t i = 0; i < head->update_count; ++i) {
        vell_flood_update update;
        std::memcpy(&update, room.data() + sizeof *head + i * sizeof update, sizeof update);
        (update.operation == vell_flood_added ? found.added : found.removed)
            .push_back(update.if_index);
    }
    return found;
}

void expect_as_planned(const flood_change &change) {
    const library_delta found = delta_of(change);
    EXPECT_EQ(found.added, change.added());
    EXPECT_EQ(found.removed, change.removed());
    std::uint32_t line_cards = 0;
    for (const std::uint32_t if_index : change.newer)
        line_cards |= line_card_bit(if_index);
    EXPECT_EQ(found.line_cards, line_cards);
}

TEST(FloodMessage, VlanInterfacesAreNeverFloodedTo) {
    const indexes svi = of_names({"Vlan10"});
    const indexes none;
    const std::vector<indexes> lists = {none,
                                        of_names({"if3"}),
                                        of_names({"if4"}),
                                        of_names({"Eth1/1"}),
                                        of_names({"Po1"}),
                                        of_names({"if3", "Eth1/1"}),
                                        of_names({"if3", "if4", "Po1", "Eth1/2"})};
    for (const indexes &older : lists) {
        for (const indexes &newer : lists)
            expect_as_planned({10, older, newer, svi});
    }
}

TEST(FloodMessage, GivesTheLibraryAnyChange) {
    std::mt19937 random(20);
    const auto some = [&](std::initializer_list<const char *> names) {
        indexes all = of_names(names);
        std::erase_if(all, [&](std::uint32_t) { return random() % 2 == 0; });
        return all;
    };
    const auto some_ports = [&] {
        return some(
            {"if3", "if9", "Po1", "Po2", "Eth0/1", "Eth1/1", "Eth1/2", "Eth7/1/3", "Eth33/1"});
    };
    for (int round = 0; round < 300; ++round)
        expect_as_planned({10, some_ports(), some_ports(), some({"Vlan1", "Vlan10", "Vlan4094"})});
}

} // namespace
} // namespace feed
