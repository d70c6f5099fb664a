// What layer-2 messages do to the tables, seen through `show l2`.
#include "tests/switch/l2_bytes.h"
#include "tests/switch/test_service.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using testing::Each;
using testing::ElementsAre;
using testing::EndsWith;
using json = nlohmann::json;

namespace {

struct l2_service : test_service {
    sim::session from = registered_session();

    void update(const std::vector<test_mbd> &records) {
        send(from, l2_head(), mbd_message(1, records));
    }
    std::string text(std::string_view request = "l2") const { return answer_of(vell, request); }
    json shown(std::string_view request = "l2") const {
        return json::parse(text(request)).at("l2");
    }
    json entries(std::string_view request = "l2") const { return shown(request).at("entries"); }
    // "10 239.1.1.1 10.0.0.1: 7 9", one text an entry.
    std::vector<std::string> keys(std::string_view request = "l2") const {
        std::vector<std::string> found;
        for (const json &entry : entries(request)) {
            found.push_back(fmt::format(
                "{} {} {}:", entry.at("vlan").get<int>(), entry.at("group").get<std::string>(),
                entry.at("source").is_null() ? "*" : entry.at("source").get<std::string>()));
            for (const json &port : entry.at("ports")) {
                found.back() += fmt::format(" {}", port.at("if_index").get<std::uint32_t>());
            }
        }
        return found;
    }
};

} // namespace

TEST(L2Tables, HoldEveryFieldOfAnEntry) {
    l2_service test;
    test.send(test.from, l2_head(), joined({l2_header(1, 1), mbd_record(21)}));
    EXPECT_TRUE(test.errors.empty());
    EXPECT_EQ(test.entries().at(0),
              json::parse(R"({"vlan":10,"group":"239.4.5.6","kind":"ipv4","source":"10.1.2.3",
        "bridge":2711790500,"bridge_name":"0xa1a2a3a4","permanent":true,"flags":1,"client":1,"pid":4711,
        "ports":[{"if_index":7,"name":"0x00000007","flags":0},
                 {"if_index":9,"name":"0x00000009","flags":4}]})"));
}

TEST(L2Tables, HoldFloodListsPairsAndLookupModes) {
    l2_service test;
    test.send(test.from, l2_head(),
              joined({l2_header(1, 5), flood_record(12), pairs_record(9), bare_pairs_record(10),
                      lookup_mode_record(), flood_record(14)}));
    EXPECT_TRUE(test.errors.empty());
    const json shown = test.shown();
    EXPECT_EQ(shown.at("flood"),
              json::parse(R"([{"vlan":300,"type":14,"words":[1094861636,1162233672,1229605708],
        "flags":19790,"client":1,"pid":4711,
        "addresses":[{"kind":"ipv4","address":"10.81.82.83"},{"kind":"mac","address":"54:55:56:57:58:59"}],
        "oifs":[{"kind":0,"flags":97,"words":[1650680933,1718052969]},
                {"kind":1,"address":"fe80::7273:7475","flags":4,"words":[1785425005,1852797041]},
                {"kind":2,"if_index":2155971203,"name":"0x80818283","flags":30327,"words":[2021227131,2088599167]}]}])"))
        << "the last one of the VLAN";
    EXPECT_EQ(shown.at("pairs"), json::parse(R"([
        {"type":9,"words":[286397204,353769240],"client":1,"pid":4711,
         "pairs":[[555885348,623257384],[690629420,758001456]]},
        {"type":10,"words":[],"client":1,"pid":4711,"pairs":[[825373492,892745528]]}])"));
    EXPECT_EQ(shown.at("lookup_modes"),
              json::parse(R"([{"vlan":10,"mode":2577046428},{"vlan":11,"mode":2509674392}])"));
    EXPECT_EQ(shown.at("lookup_mode_word"), 2442302356u);
}

TEST(L2Tables, AddPortsToAnEntryAndTakeThem) {
    l2_service test;
    test.update({{.bridge = 5, .flags = 1, .ports = {{9}, {7}}}});
    test.update({{.bridge = 6, .flags = 0, .ports = {{8}, {7, 4}}}});
    EXPECT_THAT(test.keys(), ElementsAre("10 239.1.1.1 *: 7 8 9"));
    const json entry = test.entries().at(0);
    EXPECT_EQ(entry.at("bridge"), 6);
    EXPECT_EQ(entry.at("permanent"), false);
    EXPECT_EQ(entry.at("ports").at(0).at("flags"), 4);
    test.update({{.type = 22, .ports = {{7}, {9}}}});
    EXPECT_THAT(test.keys(), ElementsAre("10 239.1.1.1 *: 8"));
    test.update({{.type = 22, .ports = {{8}}}});
    EXPECT_TRUE(test.entries().empty()) << "an entry left without ports goes";
    EXPECT_EQ(test.client_of(test.from).missed_deletes, 0u);
}

TEST(L2Tables, RemoveAnEntryByADeleteWithoutPorts) {
    l2_service test;
    test.update({{.ports = {{9}, {7}}}, {.vlan = 11, .ports = {{9}}}});
    test.update({{.type = 22}});
    EXPECT_THAT(test.keys(), ElementsAre("11 239.1.1.1 *: 9"));
}

TEST(L2Tables, KeepEntriesApartByVlanGroupSourceAndKind) {
    l2_service test;
    test.update({{.kind = 8, .group = {0xff, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1}},
                 {.group = {239, 1, 1, 2}},
                 {.source = {10, 0, 0, 2}, .ports = {{4}}},
                 {.source = {10, 0, 0, 1}, .ports = {{3}}},
                 {.kind = 2, .group = {1, 0, 0x5e, 1, 1, 1}},
                 {.vlan = 9, .group = {239, 9, 9, 9}},
                 {.ports = {{2}}}});
    EXPECT_THAT(test.keys(),
                ElementsAre("9 239.9.9.9 *:", "10 01:00:5e:01:01:01 *:", "10 239.1.1.1 *: 2",
                            "10 239.1.1.1 10.0.0.1: 3", "10 239.1.1.1 10.0.0.2: 4",
                            "10 239.1.1.2 *:", "10 ff02::1 *:"));
    EXPECT_THAT(test.keys("l2 vlan=9"), ElementsAre("9 239.9.9.9 *:"));
    EXPECT_THAT(test.keys("l2 group=239.1.1.2"), ElementsAre("10 239.1.1.2 *:"));
    EXPECT_THAT(test.keys("l2 group=ff02::1"), ElementsAre("10 ff02::1 *:"));
}

TEST(L2Tables, CountAndLogMissedDeletes) {
    l2_service test;
    test.update({{.ports = {{7}, {8}}}});
    test.update({{.type = 22, .vlan = 11}, {.type = 22, .ports = {{7}, {9}}}});
    EXPECT_THAT(test.keys(), ElementsAre("10 239.1.1.1 *: 8"));
    EXPECT_EQ(test.client_of(test.from).missed_deletes, 2u);
    EXPECT_EQ(test.traces.at(1),
              "client 1 (pid 4711): delete of (*, 239.1.1.1) in VLAN 11: no such entry or port");
    EXPECT_EQ(test.traces.at(2),
              "client 1 (pid 4711): delete of (*, 239.1.1.1) in VLAN 10: no such port");
    EXPECT_TRUE(test.errors.empty());
    test.update(std::vector<test_mbd>(20, {.type = 22, .vlan = 12}));
    EXPECT_EQ(test.traces.back(),
              "client 1 (pid 4711): 12 more deletes of absent layer-2 entries in the same message");
    EXPECT_EQ(test.client_of(test.from).missed_deletes, 22u);
}

TEST(L2Tables, TakeAMessageWholeOrNotAtAll) {
    l2_service test;
    test.update({{.ports = {{1}}}, {.vlan = 4095}});
    EXPECT_TRUE(test.entries().empty());
    EXPECT_THAT(
        test.errors,
        ElementsAre("client 1 (pid 4711): layer-2 update (opcode 75821): offset 144: VLAN id 4095 "
                    "is not 1 to 4094: refused"));
    EXPECT_EQ(test.client_of(test.from).refused, 1u);
}

// Whatever comes before the record that is refused, the delete of what is there and of what is not
// included.
TEST(L2Tables, TakeNoRecordOfAMessageWhoseLastOneIsRefused) {
    l2_service test;
    test.send(
        test.from, l2_head(),
        joined({l2_header(1, 2), mbd_record(21), mbd_record({.vlan = 11, .ports = {{1}, {2}}})}));
    ASSERT_TRUE(test.errors.empty());
    const std::string before = test.text();
    const std::size_t traces_before = test.traces.size();
    const bytes bad = mbd_record({.vlan = 4095});
    const bytes firsts[] = {mbd_record({.vlan = 12, .ports = {{1}}}),
                            mbd_record({.vlan = 11, .ports = {{3}}}),
                            flood_record(12),
                            flood_record(15),
                            pairs_record(8),
                            pairs_record(9),
                            bare_pairs_record(10),
                            bare_pairs_record(11),
                            lookup_mode_record(),
                            mbd_record(22),
                            mbd_record({.type = 22, .vlan = 11}),
                            mbd_record({.type = 22, .vlan = 11, .ports = {{2}}}),
                            mbd_record({.type = 22, .vlan = 13})};
    message all_of_them;
    all_of_them.add(l2_header(1, 14));
    for (const bytes &first : firsts) {
        test.send(test.from, l2_head(), joined({l2_header(1, 2), first, bad}));
        EXPECT_EQ(test.text(), before) << "type " << std::to_integer<int>(first[0]);
        all_of_them.add(first);
    }
    test.send(test.from, l2_head(), all_of_them.add(bad));
    EXPECT_EQ(test.text(), before);
    EXPECT_EQ(test.errors.size(), 14u);
    EXPECT_THAT(test.errors, Each(EndsWith("VLAN id 4095 is not 1 to 4094: refused")));
    EXPECT_EQ(test.client_of(test.from).refused, 14u);
    EXPECT_EQ(test.client_of(test.from).missed_deletes, 0u);
    EXPECT_EQ(test.traces.size(), traces_before);
}

TEST(L2Tables, TakeNothingOfAMessageWhereverItIsCut) {
    l2_service test;
    const std::string before = test.text();
    const bytes whole = joined({l2_header(1, 6), mbd_record(21), flood_record(12), pairs_record(8),
                                bare_pairs_record(10), lookup_mode_record(), mbd_record(22)});
    for (std::size_t size = 0; size < whole.size(); ++size) {
        test.send(test.from, l2_head(), cut(whole, size));
        ASSERT_EQ(test.errors.size(), size + 1);
        EXPECT_EQ(test.text(), before) << size;
    }
    EXPECT_EQ(test.client_of(test.from).refused, whole.size());
    test.send(test.from, l2_head(), whole);
    EXPECT_EQ(test.errors.size(), whole.size());
    EXPECT_NE(test.text(), before);
}

TEST(L2Tables, TakeMessagesOfPeersWithoutAnId) {
    l2_service test;
    sim::session queue_only{.pid = 99};
    test.send(queue_only, l2_head(), mbd_message(0, {{.ports = {{1}}}}));
    EXPECT_EQ(test.entries().at(0).at("client"), 0);
    EXPECT_EQ(test.entries().at(0).at("pid"), 99);
    test.send(queue_only, l2_head(), mbd_message(0, {{.type = 22, .vlan = 12}}));
    EXPECT_EQ(
        test.traces.back(),
        "unregistered client (pid 99): delete of (*, 239.1.1.1) in VLAN 12: no such entry or port");
    EXPECT_TRUE(test.errors.empty());
    test.send(test.from, l2_head(), mbd_message(0, {{.vlan = 20, .ports = {{1}}}}));
    EXPECT_EQ(test.entries().at(1).at("client"), 1) << "registered, but not yet acknowledged";
}

TEST(L2Tables, RefuseMessagesWithAnotherClientsId) {
    l2_service test;
    sim::session queue_only{.pid = 99};
    test.send(queue_only, l2_head(), mbd_message(1, {{.ports = {{1}}}}));
    test.send(test.from, l2_head(), mbd_message(2, {{.ports = {{1}}}}));
    EXPECT_TRUE(test.entries().empty());
    EXPECT_THAT(
        test.errors,
        ElementsAre("unregistered client (pid 99): layer-2 update (opcode 75821): offset 0: client "
                    "id is 1, but this connection is not registered: refused",
                    "client 1 (pid 4711): layer-2 update (opcode 75821): offset 0: client id is 2, "
                    "this connection's is 1: refused"));
}

TEST(L2Tables, RefuseAMessageWithTheWrongHead) {
    l2_service test;
    test.send(test.from, request_head(213, 75821, 0), mbd_message(1, {{}}));
    test.send(test.from, request_head(214, 75821, 1), mbd_message(1, {{}}));
    EXPECT_TRUE(test.entries().empty());
    EXPECT_THAT(test.errors, ElementsAre("client 1 (pid 4711): layer-2 update (opcode 75821): "
                                         "frame head offset 32: send-options "
                                         "word 1 is 0, it must be 1: refused",
                                         "client 1 (pid 4711): layer-2 update (opcode 75821): "
                                         "frame head offset 16: SAP is 214, it "
                                         "must be 213: refused"));
}
