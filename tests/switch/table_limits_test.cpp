// What the tables hold at most: at each limit one more is refused, and changes nothing.
#include "sim/switch/limits.h"
#include "tests/switch/l2_bytes.h"
#include "tests/switch/ltl_service.h"

#include <algorithm>
#include <cstring>
#include <gmock/gmock.h>
#include <numeric>
#include <random>
#include <set>

using testing::ElementsAre;

namespace {

struct limited_service : ltl_service {
    using ltl_service::ltl_service;

    void send_l2(const bytes &payload) { send(from, l2_head(), payload); }
    void send_mbd(const std::vector<test_mbd> &records) { send_l2(mbd_message(1, records)); }

    // What is refused of a request: its last line in the log.
    std::string refusal() {
        const std::string last = errors.empty() ? "nothing is refused" : errors.back();
        errors.clear();
        return last;
    }
};

// Allocations of LTLs that have this many interfaces together.
bytes allocations_of(std::size_t interfaces) {
    constexpr std::size_t most = 65535;
    const auto entries = static_cast<std::uint32_t>((interfaces + most - 1) / most);
    message sent;
    sent.u32(0x99).u32(entries);
    for (std::uint32_t entry = 0; entry < entries; ++entry) {
        test_words indexes(std::min(most, interfaces - entry * most));
        std::iota(indexes.begin(), indexes.end(), 1u);
        sent.add(words({10, 7, static_cast<std::uint32_t>(indexes.size())})).add(words(indexes));
    }
    return sent;
}

// Entries of VLAN 10 without ports, for groups from 225.0.0.0 on.
bytes mbd_entries(std::uint32_t first, std::uint32_t count) {
    constexpr std::size_t group_at = 38;
    bytes record = mbd_record(test_mbd{});
    bytes sent = l2_header(1, count);
    sent.reserve(sent.size() + count * record.size());
    for (std::uint32_t group = first; group < first + count; ++group) {
        const bytes address = network_u32(0xe1000000 + group);
        std::memcpy(record.data() + group_at, address.data(), address.size());
        sent.insert(sent.end(), record.begin(), record.end());
    }
    return sent;
}

// A flood list of `count` entries, each of 32 bytes, after the first 80.
bytes flood_list(std::uint32_t vlan, std::uint32_t entries) {
    message record;
    record.u8(12).fill(7, 0).u32(80 + 32 * entries).fill(12, 0).add(network_u32(vlan)).fill(2, 0);
    record.add(network_u32(4)).fill(16, 0).add(network_u32(4)).fill(16, 0);
    return record.add(network_u32(entries)).fill(std::size_t{32} * entries + 6, 0);
}

constexpr std::string_view too_many_interfaces =
    "status 10: the switch would hold too many interfaces: the limit is 4000000 in layer-2 "
    "entries, "
    "LTLs and flood sets";

} // namespace

TEST(TableLimits, HoldForLtlIndexesWhateverThePoolsSize) {
    limited_service test({.ltl_pool = UINT32_MAX - 0x4000});
    message sent;
    sent.u32(0x99).u32(sim::ltl_index_limit);
    for (std::uint32_t i = 0; i < sim::ltl_index_limit; ++i) {
        sent.u32(10).u32(7).u32(0);
    }
    EXPECT_EQ(test.answer(allocation, sent).at(1), 0u);
    EXPECT_EQ(test.result(allocation, ltl_payload(10, 7, {})), (test_words{7, 0, 0, 3}));
    EXPECT_EQ(test.refusal(),
              "client 1 (pid 4711): LTL allocation for VLAN 10: status 3: the pool is exhausted");
    EXPECT_EQ(test.vell.ltls.all().size(), sim::ltl_index_limit);
}

TEST(TableLimits, HoldForTheInterfacesOfAllTablesTogether) {
    limited_service test;
    ASSERT_EQ(test.answer(allocation, allocations_of(sim::interface_limit - 2)).at(1), 0u);
    ASSERT_EQ(sim::held_interfaces(test.vell), sim::interface_limit - 2);
    const std::string client = "client 1 (pid 4711): ";

    EXPECT_EQ(test.result(allocation, ltl_payload(10, 7, {1, 2, 3})), (test_words{7, 0, 0, 10}));
    EXPECT_EQ(test.refusal(),
              fmt::format("{}LTL allocation for VLAN 10: {}", client, too_many_interfaces));
    EXPECT_EQ(test.result(flood_update, flood_payload({{10, 1, {1, 1, 2, 1, 3, 1}}})),
              (test_words{10, 0, 0, 10}));
    EXPECT_EQ(test.refusal(),
              fmt::format("{}flood update of VLAN 10: {}", client, too_many_interfaces));
    EXPECT_TRUE(test.vell.floods.all().empty());
    test.send_mbd({{.ports = {{1}}}, {.vlan = 11, .ports = {{1}, {2}}}});
    EXPECT_EQ(test.refusal(), client + "layer-2 update (opcode 75821): offset 0: the switch would "
                                       "hold 4000001 interfaces in its tables, its limit is "
                                       "4000000: refused");
    EXPECT_TRUE(test.vell.l2.entries.empty());
    EXPECT_EQ(sim::held_interfaces(test.vell), sim::interface_limit - 2);

    // Two more fit, into each of the tables.
    EXPECT_EQ(test.result(flood_update, flood_payload({{10, 1, {1, 1, 2, 1}}})),
              (test_words{10, 2, 0, 0}));
    EXPECT_EQ(test.result(flood_update, flood_payload({{10, 1, {1, 2, 2, 2, 3, 1, 4, 1}}})),
              (test_words{10, 2, 2, 0}))
        << "an update may take what it gives back";
    EXPECT_EQ(test.result(flood_update, flood_payload({{10, 1, {3, 2, 4, 2}}})),
              (test_words{10, 0, 2, 0}));
    const std::uint32_t index = test.allocate(9, {1});
    EXPECT_EQ(test.result(modification, ltl_payload(index, 9, {1, 2, 3})),
              (test_words{index, 9, 1, 10}));
    EXPECT_EQ(test.refusal(),
              fmt::format("{}modification of LTL {:#x}: {}", client, index, too_many_interfaces));
    EXPECT_EQ(test.result(modification, ltl_payload(index, 9, {4, 5})),
              (test_words{index, 9, 2, 0}));
    EXPECT_EQ(test.result(modification, ltl_payload(index, 9, {6, 7})),
              (test_words{index, 9, 2, 0}));
    test.ask(release, release_payload(index, 9));
    test.send_mbd({{.ports = {{1}, {2}}}});
    test.send_mbd({{.ports = {{2, 4}, {1}}}});
    EXPECT_TRUE(test.errors.empty()) << "ports that an entry has take no more room";
    test.send_mbd({{.ports = {{3}}}});
    EXPECT_EQ(test.errors.size(), 1u);
    test.send_mbd({{.type = 22, .ports = {{1}}}});
    test.send_mbd({{.ports = {{3}}}});
    EXPECT_EQ(test.errors.size(), 1u) << "a delete makes room";
    EXPECT_EQ(sim::held_interfaces(test.vell), sim::interface_limit);
}

TEST(TableLimits, HoldForLayer2Entries) {
    limited_service test;
    constexpr std::uint32_t limit = sim::l2_entry_limit;
    constexpr std::uint32_t at_once = 50'000;
    for (std::uint32_t first = 0; first < limit - at_once; first += at_once) {
        test.send_l2(mbd_entries(first, at_once));
    }
    test.send_l2(mbd_entries(limit - at_once, at_once + 1));
    EXPECT_EQ(test.refusal(), "client 1 (pid 4711): layer-2 update (opcode 75821): offset 0: the "
                              "switch would hold 500001 layer-2 entries, its limit is 500000: "
                              "refused");
    EXPECT_EQ(test.vell.l2.entries.size(), limit - at_once) << "refused whole";
    test.send_l2(mbd_entries(limit - at_once, at_once));
    test.send_l2(mbd_entries(0, at_once));
    EXPECT_EQ(test.refusal(), "nothing is refused") << "what is held may be sent again";
    EXPECT_EQ(test.vell.l2.entries.size(), limit);
    test.send_l2(mbd_entries(limit, 1));
    EXPECT_NE(test.refusal(), "nothing is refused");
    test.send_mbd({{.type = 22, .group = {225, 0, 0, 0}}});
    test.send_l2(mbd_entries(limit, 1));
    EXPECT_EQ(test.refusal(), "nothing is refused") << "a delete makes room";
}

TEST(TableLimits, HoldForBytesOfFloodListsAndOtherRecords) {
    limited_service test;
    // Eight lists of 8 MiB together: 8 times 80 bytes and the entries.
    constexpr std::uint32_t entries = (sim::l2_record_limit - 8 * 80) / 32 / 8;
    for (std::uint32_t vlan = 1; vlan < 8; ++vlan) {
        test.send_l2(joined({l2_header(1, 1), flood_list(vlan, entries)}));
    }
    constexpr std::uint32_t rest = (sim::l2_record_limit - 8 * 80) / 32 - 7 * entries;
    test.send_l2(joined({l2_header(1, 2), mbd_record(21), flood_list(8, rest + 1)}));
    EXPECT_EQ(test.refusal(), "client 1 (pid 4711): layer-2 update (opcode 75821): offset 0: the "
                              "switch would hold 67108896 bytes of flood lists and other layer-2 "
                              "records, its limit is 67108864: refused");
    EXPECT_TRUE(test.vell.l2.entries.empty()) << "refused whole";
    test.send_l2(joined({l2_header(1, 1), flood_list(8, rest)}));
    EXPECT_EQ(test.vell.l2.record_bytes, sim::l2_record_limit);
    test.send_l2(joined({l2_header(1, 1), flood_list(8, rest)}));
    EXPECT_EQ(test.refusal(), "nothing is refused") << "a list replaces the one of its VLAN";
    test.send_l2(joined({l2_header(1, 1), bare_pairs_record(10)}));
    EXPECT_EQ(test.refusal(), "client 1 (pid 4711): layer-2 update (opcode 75821): offset 0: the "
                              "switch would hold 67108952 bytes of flood lists and other layer-2 "
                              "records, its limit is 67108864: refused");
    test.send_l2(joined({l2_header(1, 1), flood_list(8, rest - 3)}));
    test.send_l2(joined({l2_header(1, 1), bare_pairs_record(10)}));
    EXPECT_EQ(test.refusal(), "nothing is refused");
    EXPECT_EQ(test.vell.l2.record_bytes, sim::l2_record_limit - 3 * 32 + 88);
}

// The limits are checked against counts that are kept beside the tables.
TEST(TableLimits, CountWhatTheTablesHold) {
    limited_service test;
    std::mt19937 random(5);
    const auto some_words = [&random] {
        std::set<std::uint32_t> some;
        for (std::uint32_t left = random() % 5; left > 0; --left) {
            some.insert(random() % 9);
        }
        return test_words(some.begin(), some.end());
    };
    for (int i = 0; i < 3000; ++i) {
        test_mbd mbd{.type = random() % 2 == 0 ? 21 : 22, .vlan = 10 + random() % 3};
        test_flood flood{.vlan = 10 + random() % 3, .line_card_mask = 1};
        for (const std::uint32_t index : some_words()) {
            mbd.ports.push_back({index});
            flood.changes.insert(flood.changes.end(), {index, 1 + random() % 2});
        }
        const std::uint32_t index = 0x4000 + random() % 5;
        test.send_mbd({mbd});
        test.send_l2(joined({l2_header(1, 2), flood_list(10 + random() % 3, random() % 4),
                             random() % 2 == 0 ? pairs_record(8) : bare_pairs_record(11)}));
        test.ask(flood_update, flood_payload({flood}));
        test.ask(allocation, ltl_payload(10, 7, some_words()));
        test.ask(modification, ltl_payload(index, 7, some_words()));
        test.ask(release, release_payload(0x4000 + random() % 5, 7));

        std::size_t ports = 0;
        std::size_t record_bytes = 0;
        std::size_t in_ltls = 0;
        std::size_t in_floods = 0;
        for (const auto &[key, entry] : test.vell.l2.entries) {
            ports += entry.ports.size();
        }
        for (const auto &[vlan, kept] : test.vell.l2.flood) {
            record_bytes += 80 + 32 * kept.record.oifs.size();
        }
        for (const auto &[type, kept] : test.vell.l2.pairs) {
            record_bytes += 80 + 8 * kept.record.pairs.size();
        }
        for (const auto &[key, held] : test.vell.ltls.all()) {
            in_ltls += held.interfaces.size();
        }
        for (const auto &[vlan, held] : test.vell.floods.all()) {
            in_floods += held.interfaces.size();
        }
        ASSERT_EQ(test.vell.l2.ports, ports);
        ASSERT_EQ(test.vell.l2.record_bytes, record_bytes);
        ASSERT_EQ(test.vell.ltls.interfaces(), in_ltls);
        ASSERT_EQ(test.vell.floods.interfaces(), in_floods);
    }
}

TEST(RouteLimits, HoldTheNumberOfRoutes) {
    test_service test;
    sim::session from = test.registered_session();
    for (std::uint32_t table = 0; table < sim::route_limit - 1; ++table) {
        test.vell.routes.emplace_hint(test.vell.routes.end(), sim::route_key{.table = table},
                                      sim::route{});
    }
    test.send(from, route_head(), route_payload(1, {{.table = 5'000'000}, {.table = 5'000'001}}));
    EXPECT_EQ(test.vell.routes.size(), sim::route_limit - 1);
    ASSERT_EQ(test.errors.size(), 1u);
    EXPECT_EQ(test.errors.back(),
              "client 1 (pid 4711): route update (opcode 75831): offset 0: the switch would hold "
              "2000001 routes, its limit is 2000000: refused");
    test.send(from, route_head(), route_payload(1, {{.table = 5'000'000}}));
    EXPECT_EQ(test.vell.routes.size(), sim::route_limit);
    test.send(from, route_head(), route_payload(1, {{.opcode = 2, .table = 5'000'000}}));
    EXPECT_EQ(test.vell.routes.size(), sim::route_limit - 1);
    EXPECT_EQ(test.errors.size(), 1u);
}

TEST(RouteLimits, HoldTheBytesOfTheirLists) {
    test_service test;
    sim::session from = test.registered_session();
    const test_route two_oifs{.oifs = {{1, 0}, {2, 0}}};
    test.vell.route_list_bytes = sim::route_list_limit - 16;
    test.send(from, route_head(), route_payload(1, {two_oifs}));
    EXPECT_EQ(test.vell.route_list_bytes, sim::route_list_limit);
    test_route more = two_oifs;
    more.table = 9;
    test.send(from, route_head(), route_payload(1, {more}));
    ASSERT_EQ(test.errors.size(), 1u);
    EXPECT_EQ(test.errors.back(),
              "client 1 (pid 4711): route update (opcode 75831): offset 0: the switch would hold "
              "268435472 bytes of route lists, its limit is 268435456: refused");
    test_route gone = two_oifs;
    gone.opcode = 2;
    test.send(from, route_head(), route_payload(1, {gone}));
    EXPECT_EQ(test.vell.route_list_bytes, sim::route_list_limit - 16);
    test.send(from, route_head(), route_payload(1, {two_oifs}));
    test.send(from, route_head(), route_payload(1, {{}}));
    EXPECT_EQ(test.vell.route_list_bytes, sim::route_list_limit - 16)
        << "a route that is replaced gives back what its lists took";
}

TEST(CounterLimit, HoldsTheNumberOfCounters) {
    test_service test;
    for (std::uint32_t table = 0; table < sim::counter_limit; ++table) {
        test.vell.counters.emplace_hint(test.vell.counters.end(),
                                        sim::counter_key{.table = table, .group = {}, .source = {}},
                                        sim::route_counters{});
    }
    const char *more = "count source=10.0.0.9 group=239.1.1.2 packets=1";
    EXPECT_EQ(answer_of(test.vell, more),
              "refused: count: the switch keeps 1000000 counters, and no more");
    test.vell.counters.erase(test.vell.counters.begin());
    EXPECT_EQ(answer_of(test.vell, more).find("refused"), std::string::npos);
    EXPECT_EQ(answer_of(test.vell, more).find("refused"), std::string::npos)
        << "counters that exist can still be moved";
}
