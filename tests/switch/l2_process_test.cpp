// Layer 2, statistics and overlay over real connections, and what no client should send there.
#include "tests/support/simulator.h"
#include "tests/switch/l2_bytes.h"
#include "tests/switch/raw_peer.h"
#include "tests/switch/test_service.h"

#include <csignal>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <iterator>
#include <random>
#include <utility>

using testing::HasSubstr;
using testing::StartsWith;

namespace {

class Layer2 : public simulator {
protected:
    command_result command(std::vector<std::string> arguments) const {
        arguments.insert(arguments.end(), {"--run-dir", run_dir});
        return vellsim(arguments);
    }
    std::string output(const std::vector<std::string> &arguments) const {
        const command_result result = command(arguments);
        EXPECT_EQ(result.exit_code, 0) << result.err;
        return result.out;
    }
    std::string error(const std::vector<std::string> &arguments) const {
        const command_result result = command(arguments);
        EXPECT_NE(result.exit_code, 0);
        EXPECT_EQ(result.out, "");
        return result.err;
    }
};

} // namespace

TEST_F(Layer2, IsShownNarrowedAsText) {
    switch_process running(run_dir);
    raw_peer peer(run_dir);
    const unsigned id = peer.register_client();
    peer.send(l2_head(),
              mbd_message(id, {{.ports = {{7}, {8, 4}}},
                               {.vlan = 11, .ports = {{9}}},
                               {.kind = 2, .group = {1, 0, 0x5e, 1, 1, 0xab}, .ports = {{1}}}}));
    EXPECT_EQ(peer.ask("l2").at("l2").at("entries").size(), 3u);
    EXPECT_EQ(output({"show", "l2", "--vlan", "10", "--group", "239.1.1.1"}),
              "VLAN 10 (*, 239.1.1.1)  bridge 0x00000005, learned, client 1\n"
              "    ports (2): 0x00000007, 0x00000008 (svi)\n"
              "\n"
              "1 entry, 0 flood lists\n");
    EXPECT_THAT(output({"show", "l2", "--group", "01:00:5E:01:01:AB"}),
                StartsWith("VLAN 10 (*, 01:00:5e:01:01:ab)"));
    EXPECT_THAT(error({"show", "l2", "--group", "239.1"}),
                StartsWith("vellsim: --group: 239.1 is not an IPv4, IPv6 or MAC address\n"));
    EXPECT_THAT(error({"show", "routes", "--group", "ff02::1"}),
                StartsWith("vellsim: --group: ff02::1 is not an IPv4 address such as 239.1.1.2\n"));
    EXPECT_THAT(error({"show", "routes", "--vlan", "10"}),
                StartsWith("vellsim: `vellsim show routes` has no option --vlan\n"));
    EXPECT_THAT(output({"show", "overlay"}), StartsWith("Overlay feature: enabled\n"));
}

TEST_F(Layer2, CountsTrafficAndAnswersRequests) {
    switch_process running(run_dir, {"--answer", "twice"});
    raw_peer peer(run_dir);
    peer.register_client();
    EXPECT_EQ(output({"count", "--source", "10.0.0.9", "--group", "239.1.1.2", "--packets", "3",
                      "--bytes", "300"}),
              "(10.0.0.9, 239.1.1.2) in table 253: 3 packets, 300 bytes, 0 RPF failures\n"
              "No such route is installed; requests that name it will find its counters.\n");
    peer.send(request_head(214, 75798, 0),
              message().u32(253).u8(32).u8(32).u16(0).u32(0x0a000009).u32(0xef010102));
    for (int i = 0; i < 2; ++i) {
        const std::optional<sim::frame> answer = peer.receive();
        ASSERT_TRUE(answer);
        EXPECT_EQ(answer->head.opcode, 75798u);
        ASSERT_EQ(answer->payload.size(), 72u);
        EXPECT_EQ(answer->payload[0], 0);
        EXPECT_EQ(answer->payload[44], 1);
        EXPECT_EQ(answer->payload[48], 3);
    }
    EXPECT_THAT(output({"show", "stats"}), HasSubstr("(10.0.0.9, 239.1.1.2) in table 253\n"));
    EXPECT_THAT(output({"show", "stats", "--json"}),
                HasSubstr(R"("packets":0,"bytes":0,"wrong_if":0,"requests":1)"));
    EXPECT_EQ(error({"count", "--source", "10.0.0.9", "--group", "10.1.1.2", "--packets", "1"}),
              "vellsim: count: group: 10.1.1.2 is not multicast\n");
    EXPECT_THAT(error({"run", "--answer", "often"}),
                StartsWith("vellsim: --answer: often is not late:MS (0 to 3600000 milliseconds), "
                           "twice, never, garbled, cut, foreign or once\n"));
}

TEST_F(Layer2, SurvivesRandomMessages) {
    constexpr std::pair<std::uint32_t, std::uint32_t> requests[] = {
        {213, 75821}, {213, 75804}, {213, 75789}, {213, 75820}, {213, 75818},
        {214, 75785}, {214, 75786}, {214, 75798}, {214, 75799}};
    constexpr std::size_t frames = 8000;
    // Its answers would come before those of `ask`.
    switch_process running(run_dir, {"--answer", "never"});
    raw_peer peer(run_dir);
    const unsigned id = peer.register_client();
    std::mt19937 random(7);
    for (std::size_t i = 0; i < frames; ++i) {
        bytes payload(random() % 300);
        std::ranges::generate(payload, [&random] { return static_cast<std::byte>(random()); });
        const auto &[sap, opcode] = requests[random() % std::size(requests)];
        ASSERT_TRUE(peer.send(request_head(sap, opcode, random() % 2), payload));
    }
    const auto row = peer.ask("clients").at("clients").at(0);
    EXPECT_EQ(row.at("messages"), frames + 1);
    EXPECT_GE(row.at("refused"), frames * 9 / 10);
    EXPECT_EQ(service_log(run_dir, 102).size(), row.at("refused").get<std::size_t>());
    peer.send(l2_head(), mbd_message(id, {{.vlan = 99, .ports = {{7}}}}));
    EXPECT_EQ(peer.ask("l2 vlan=99").at("l2").at("entries").size(), 1u);
    expect_service(run_dir);
}

TEST_F(Layer2, SurvivesNoticesAndStatisticsRequestsThatAreNearlyRight) {
    constexpr std::size_t frames = 8000;
    const bytes ipv6_key = message().u32(253).u8(64).u8(128).fill(32, 0xff).u16(0);
    const bytes ipv4_key = message().u32(253).u8(32).u8(32).u16(0).u32(0x0a000009).u32(0xef010102);
    const bytes right[] = {
        frame_bytes(marker_head(), message().u32(1)),
        frame_bytes(marker_head(), message().u32(2)),
        frame_bytes(download_head(), message().u32(0)),
        frame_bytes(request_head(213, 75820, 0), literal({1, 0, 8, 0, 0, 0, 0, 0})),
        frame_bytes(request_head(213, 75820, 0), literal({3, 0, 8, 0, 0, 0, 0, 0})),
        frame_bytes(request_head(213, 75820, 1), literal({2, 0, 8, 0, 10, 0, 20, 0})),
        frame_bytes(request_head(213, 75818, 1), literal({7, 0, 8, 0, 1, 2, 3, 4})),
        frame_bytes(request_head(214, 75785, 0), message().add(ipv4_key).u32(1)),
        frame_bytes(request_head(214, 75798, 0), ipv4_key),
        frame_bytes(request_head(214, 75786, 0), ipv6_key),
        frame_bytes(request_head(214, 75799, 0), ipv6_key),
    };
    switch_process running(run_dir, {"--answer", "never"});
    raw_peer peer(run_dir);
    const unsigned id = peer.register_client();
    peer.send(route_head(), route_payload(id, {{}}));
    std::mt19937 random(9);
    for (std::size_t i = 0; i < frames; ++i) {
        bytes spoiled = right[random() % std::size(right)];
        for (std::uint32_t hits = random() % 3; hits > 0; --hits) {
            // Magic, kind and length stay right; half of the hits are in the payload.
            const std::size_t from = random() % 2 == 0 ? 12 : 104;
            spoiled[from + random() % (spoiled.size() - from)] = static_cast<std::byte>(random());
        }
        ASSERT_TRUE(peer.send_raw(spoiled));
    }
    const auto row = peer.ask("clients").at("clients").at(0);
    EXPECT_EQ(row.at("messages"), frames + 2);
    EXPECT_GT(row.at("refused"), frames / 8);
    EXPECT_LT(row.at("refused"), frames * 7 / 8);
    EXPECT_EQ(service_log(run_dir, 102).size(), row.at("refused").get<std::size_t>());
    // Those that were left right did what they do.
    const auto l2 = peer.ask("l2").at("l2");
    EXPECT_FALSE(l2.at("batches").empty());
    EXPECT_GT(l2.at("download_complete").at(0).at("count"), 0);
    const auto overlay = peer.ask("overlay");
    EXPECT_NE(overlay.at("feature"), "enabled");
    EXPECT_GE(overlay.at("vlans_disabled").size(), 2u);
    EXPECT_GT(overlay.at("route_updates"), 0);
    EXPECT_GT(peer.ask("stats").at("stats").at(0).at("clears"), 0);
    expect_service(run_dir);
    running.signal(SIGTERM);
    EXPECT_EQ(running.wait(), 0);
}

TEST_F(Layer2, SurvivesMessagesThatAreNearlyRight) {
    switch_process running(run_dir);
    raw_peer peer(run_dir);
    const unsigned id = peer.register_client();
    const bytes whole = joined({l2_header(id, 6), mbd_record(21), flood_record(12), pairs_record(8),
                                bare_pairs_record(10), lookup_mode_record(), mbd_record(22)});
    std::mt19937 random(8);
    for (int i = 0; i < 4000; ++i) {
        bytes spoiled = whole;
        for (std::uint32_t hits = random() % 3; hits > 0; --hits) {
            spoiled[random() % spoiled.size()] = static_cast<std::byte>(random());
        }
        ASSERT_TRUE(peer.send(l2_head(), spoiled));
    }
    const auto row = peer.ask("clients").at("clients").at(0);
    EXPECT_EQ(row.at("messages"), 4001);
    EXPECT_GT(row.at("refused"), 500);
    EXPECT_LT(row.at("refused"), 3500);
    EXPECT_EQ(peer.ask("l2").at("l2").at("flood").empty(), false);
    expect_service(run_dir);
    running.signal(SIGTERM);
    EXPECT_EQ(running.wait(), 0);
}
