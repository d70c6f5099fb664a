// `show l2`, as text and as JSON.
#include "tests/switch/l2_bytes.h"
#include "tests/switch/test_service.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <regex>

using json = nlohmann::json;

namespace {

struct l2_service : test_service {
    sim::session from = registered_session();
    sim::session queue_only{.pid = 99};

    void update(const std::vector<test_mbd> &records) {
        send(from, l2_head(), mbd_message(1, records));
    }
    // With T for every time.
    std::string text(std::string_view asked = "l2") const {
        static const std::regex time("[0-9-]{10}T[0-9:.]{15}Z");
        return std::regex_replace(text_of(vell, asked), time, "T");
    }
    json shown(std::string_view asked = "l2") const { return json::parse(answer_of(vell, asked)); }
};

constexpr std::uint32_t eth3_7 = 0x68030700;
constexpr std::uint32_t vlan10 = 0x1400000a;

} // namespace

TEST(ShowL2, SaysThatThereIsNothing) {
    EXPECT_EQ(l2_service().text(), "0 entries, 0 flood lists\n");
    EXPECT_EQ(l2_service().shown(),
              json::parse(R"({"l2":{"entries":[],"flood":[],"flood_matched":0,"pairs":[],
                  "lookup_modes":[],"lookup_mode_word":0,"batches":[],"other_markers":[],
                  "download_complete":[]},"matched":0,"narrowed":null})"));
}

TEST(ShowL2, PrintsEverySection) {
    l2_service test;
    const std::vector<int> all_nodes = {0xff, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};
    const std::vector<int> link_local = {0xfe, 0x80, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};
    test.send(test.from, marker_head(), message().u32(1));
    test.update({{.bridge = vlan10, .ports = {{7}, {eth3_7, 4}, {0x1800000c, 5}}}});
    test.send(test.from, marker_head(), message().u32(2));
    test.send(test.queue_only, marker_head(), message().u32(1));
    test.send(test.queue_only, l2_head(),
              mbd_message(0, {{.vlan = 11,
                               .bridge = 6,
                               .flags = 1,
                               .kind = 8,
                               .group = all_nodes,
                               .source = link_local}}));
    test.send(test.from, l2_head(),
              joined({l2_header(1, 4), flood_record(12), pairs_record(8), bare_pairs_record(10),
                      lookup_mode_record()}));
    test.send(test.from, marker_head(), message().u32(7));
    test.send(test.from, download_head(), message().u32(0));
    EXPECT_THAT(test.errors, testing::IsEmpty());
    EXPECT_EQ(test.text(), "VLAN 10 (*, 239.1.1.1)  bridge Vlan10, learned, client 1\n"
                           "    ports (3): 0x00000007, Po12 (flags 0x5), Eth3/7 (svi)\n"
                           "VLAN 11 (fe80::1, ff02::1)  bridge 0x00000006, permanent, pid 99\n"
                           "    ports: none\n"
                           "\n"
                           "VLAN 300 flood list  type 12, client 1\n"
                           "    OIFs (3): - (flags 0x61), fe80::7273:7475 (svi), "
                           "0x80818283 (flags 0x7677)\n"
                           "\n"
                           "Record of type 8, client 1\n"
                           "    words: 286397204, 353769240\n"
                           "    pairs (2): 555885348/623257384, 690629420/758001456\n"
                           "Record of type 10, client 1\n"
                           "    pairs (1): 825373492/892745528\n"
                           "\n"
                           "Lookup modes: VLAN 10 mode 2577046428, VLAN 11 mode 2509674392\n"
                           "\n"
                           "Batch of client 1: 1 message, 1 record\n"
                           "    begun T, ended T\n"
                           "Batch of pid 99: 1 message, 1 record, open\n"
                           "    begun T, ended -\n"
                           "\n"
                           "Marker 7 of client 1, T\n"
                           "\n"
                           "Download complete from client 1 (pid 4711): 1 time\n"
                           "\n"
                           "2 entries, 1 flood list\n");
}

TEST(ShowL2, NamesInterfacesInJson) {
    l2_service test;
    test.update({{.bridge = vlan10, .ports = {{eth3_7, 4}}}});
    const json entry = test.shown().at("l2").at("entries").at(0);
    EXPECT_EQ(entry.at("bridge"), vlan10);
    EXPECT_EQ(entry.at("bridge_name"), "Vlan10");
    EXPECT_EQ(entry.at("ports"),
              json::parse(R"([{"if_index":1745028864,"name":"Eth3/7","flags":4}])"));
}

TEST(ShowL2, IsNarrowedByVlanAndGroup) {
    l2_service test;
    test.update({{.group = {239, 1, 1, 2}}, {.vlan = 300}, {.vlan = 300, .group = {239, 1, 1, 2}}});
    test.send(test.from, l2_head(),
              joined({l2_header(1, 3), flood_record(12), pairs_record(8), lookup_mode_record()}));
    test.send(test.from, marker_head(), message().u32(7));
    EXPECT_EQ(test.text("l2 vlan=300"),
              "VLAN 300 (*, 239.1.1.1)  bridge 0x00000005, learned, client 1\n"
              "    ports: none\n"
              "VLAN 300 (*, 239.1.1.2)  bridge 0x00000005, learned, client 1\n"
              "    ports: none\n"
              "\n"
              "VLAN 300 flood list  type 12, client 1\n"
              "    OIFs (3): - (flags 0x61), fe80::7273:7475 (svi), "
              "0x80818283 (flags 0x7677)\n"
              "\n"
              "2 entries, 1 flood list\n");
    EXPECT_EQ(test.text("l2 vlan=300 group=239.1.1.2"),
              "VLAN 300 (*, 239.1.1.2)  bridge 0x00000005, learned, client 1\n"
              "    ports: none\n"
              "\n"
              "1 entry, 0 flood lists\n");
    EXPECT_EQ(test.text("l2 vlan=11"),
              "Lookup modes: VLAN 11 mode 2509674392\n\n0 entries, 0 flood lists\n");
    EXPECT_EQ(test.shown("l2 vlan=11").at("narrowed"), json::parse(R"({"vlan":11})"));
}

TEST(ShowL2, IsShownUpToALimit) {
    l2_service test;
    test.update({{}, {.vlan = 11}, {.vlan = 12}});
    test.send(test.from, l2_head(), joined({l2_header(1, 1), flood_record(12)}));
    EXPECT_EQ(test.text("l2 limit=1"),
              "VLAN 10 (*, 239.1.1.1)  bridge 0x00000005, learned, client 1\n"
              "    ports: none\n"
              "\n"
              "VLAN 300 flood list  type 12, client 1\n"
              "    OIFs (3): - (flags 0x61), fe80::7273:7475 (svi), "
              "0x80818283 (flags 0x7677)\n"
              "\n"
              "1 of 3 entries, 1 flood list\n");
    const json limited = test.shown("l2 limit=2");
    EXPECT_EQ(limited.at("l2").at("entries").size(), 2u);
    EXPECT_EQ(limited.at("matched"), 3);
    EXPECT_EQ(limited.at("l2").at("flood_matched"), 1);
}

// A list of OIFs is a vector, the ports of an entry are a map: both are resumed where they were
// left.
TEST(ShowL2, PrintsLongListsPieceByPiece) {
    constexpr std::uint32_t count = 5000;
    l2_service test;
    std::vector<test_port> ports;
    for (std::uint32_t i = 0; i < count; ++i) {
        ports.push_back({i});
    }
    test.update({{.ports = ports}});
    message list;
    list.u8(12).fill(7, 0).u32(80 + 32 * count).fill(12, 0).add(network_u32(10)).fill(2, 0);
    list.add(network_u32(4)).fill(16, 0).add(network_u32(4)).fill(16, 0).add(network_u32(count));
    for (std::uint32_t i = 0; i < count; ++i) {
        list.add(network_u32(2)).fill(12, 0).add(network_u32(i)).fill(12, 0);
    }
    test.send(test.from, l2_head(), joined({l2_header(1, 1), list.fill(6, 0)}));
    ASSERT_TRUE(test.errors.empty());
    expect_small_pieces(test.vell, "l2");
    const json l2 = test.shown().at("l2");
    for (const json *items :
         {&l2.at("entries").at(0).at("ports"), &l2.at("flood").at(0).at("oifs")}) {
        ASSERT_EQ(items->size(), count);
        for (std::uint32_t i = 0; i < count; ++i) {
            ASSERT_EQ(items->at(i).at("if_index"), i);
        }
    }
}
