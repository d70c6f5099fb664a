// The LTL manager over real connections, its fault modes and what is shown of it.
#include "tests/support/simulator.h"
#include "tests/support/wait.h"
#include "tests/switch/ltl_bytes.h"
#include "tests/switch/raw_peer.h"

#include <chrono>
#include <csignal>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <random>
#include <span>
#include <unistd.h>

using testing::EndsWith;
using testing::HasSubstr;

namespace {

class LtlProcess : public simulator {
protected:
    command_result command(std::vector<std::string> arguments) const {
        arguments.insert(arguments.end(), {"--run-dir", run_dir});
        return vellsim(arguments);
    }
    // The words of the next answer.
    static test_words receive(raw_peer &peer, std::uint32_t opcode) {
        const std::optional<sim::frame> answer = peer.receive();
        if (!answer || answer->head.sap != 230 || answer->head.opcode != opcode) {
            ADD_FAILURE() << "no answer";
            return {};
        }
        const auto raw = std::as_bytes(std::span(answer->payload));
        return words_of(bytes(raw.begin(), raw.end()));
    }
    static test_words ask(raw_peer &peer, std::uint32_t opcode, const bytes &payload) {
        peer.send(ltl_head(opcode), payload);
        return receive(peer, opcode);
    }
};

} // namespace

TEST_F(LtlProcess, AnswersAndShowsItsTables) {
    switch_process running(run_dir);
    raw_peer peer(run_dir);
    EXPECT_EQ(peer.register_client(), 1);
    EXPECT_EQ(ask(peer, allocation, ltl_payload(10, 7, {0x68030700})),
              (test_words{13, 0, 0x99, 1, 7, 0x4000, 1, 0}));
    EXPECT_EQ(ask(peer, modification, ltl_payload(0x4000, 7, {0x68030701, 0x14000014})),
              (test_words{14, 0, 0x99, 1, 0x4000, 7, 2, 0}));
    EXPECT_EQ(ask(peer, flood_update, flood_payload({{10, 8, {0x68030700, 1}}, {11, 0}})),
              (test_words{16, 0, 0x99, 2, 10, 1, 0, 0, 11, 0, 0, 0}));
    EXPECT_EQ(command({"show", "ltl"}).out, "LTL 0x4000  VLAN 10, tag 7, client 1\n"
                                            "    interfaces (2): Vlan20, Eth3/7/1\n"
                                            "1 LTL; 1 of 1024 in use\n");
    EXPECT_EQ(command({"show", "flood", "--vlan", "10"}).out, "VLAN 10  client 1\n"
                                                              "    line cards (0x00000008): 3\n"
                                                              "    interfaces (1): Eth3/7\n"
                                                              "1 flood set\n");
    EXPECT_THAT(command({"show", "flood", "--json"}).out,
                HasSubstr(R"({"if_index":1745028864,"name":"Eth3/7"})"));
    EXPECT_EQ(command({"show", "ltl", "--json", "--vlan", "11"}).out,
              R"({"ltl":[],"pool":{"first":16384,"in_use":1,"size":1024},"matched":0,)"
              R"("narrowed":{"vlan":11}})"
              "\n");
    EXPECT_EQ(ask(peer, release, release_payload(0x4000, 7)),
              (test_words{15, 0, 0x99, 1, 0x4000, 7, 0, 0}));
    EXPECT_EQ(command({"show", "ltl"}).out, "0 LTLs; 0 of 1024 in use\n");
}

TEST_F(LtlProcess, ShowsAsManyRowsAsAskedFor) {
    switch_process running(run_dir);
    raw_peer peer(run_dir);
    ask(peer, flood_update, flood_payload({{10, 0}, {11, 0}, {12, 0}, {13, 0}, {14, 0}}));
    for (std::uint32_t vlan = 10; vlan < 13; ++vlan) {
        ask(peer, allocation, ltl_payload(vlan, 7, {}));
    }
    EXPECT_THAT(command({"show", "flood", "--limit", "2"}).out, EndsWith("\n2 of 5 flood sets\n"));
    EXPECT_THAT(command({"show", "flood", "--limit", "2", "--vlan", "13"}).out,
                EndsWith("\n1 flood set\n"));
    EXPECT_THAT(command({"show", "flood", "--limit", "2", "--json"}).out,
                HasSubstr(R"(],"matched":5,"narrowed":null})"));
    EXPECT_THAT(command({"show", "ltl", "--limit", "1"}).out,
                EndsWith("\n1 of 3 LTLs; 3 of 1024 in use\n"));
    EXPECT_THAT(command({"show", "stats", "--limit", "1"}).out, EndsWith("\n0 routes\n"));
}

TEST_F(LtlProcess, KeepsFloodSetsWhenTheirClientGoes) {
    switch_process running(run_dir);
    {
        raw_peer gone(run_dir);
        gone.register_client();
        EXPECT_EQ(ask(gone, flood_update, flood_payload({{10, 8, {0x68030700, 1}}})).at(7), 0u);
    }
    raw_peer peer(run_dir);
    ASSERT_TRUE(wait_until([&] { return peer.first_client().at("state") == "lost"; }));
    const auto kept = peer.ask("flood").at("flood");
    ASSERT_EQ(kept.size(), 1u);
    EXPECT_EQ(kept[0].at("client"), 1);
    EXPECT_EQ(kept[0].at("interfaces").at(0).at("name"), "Eth3/7");
}

TEST_F(LtlProcess, RefusesVlansAndRunsOutOfIndexes) {
    switch_process running(
        run_dir, {"--ltl-refuse-vlan", "10", "--ltl-refuse-vlan", "11", "--ltl-pool", "1"});
    raw_peer peer(run_dir);
    EXPECT_EQ(ask(peer, flood_update, flood_payload({{10, 1}, {11, 1}, {12, 1}})),
              (test_words{16, 1, 0x99, 3, 10, 0, 0, 1, 11, 0, 0, 1, 12, 0, 0, 0}));
    EXPECT_EQ(ask(peer, allocation, ltl_payload(11, 7, {})).at(7), 1u);
    EXPECT_EQ(ask(peer, allocation, ltl_payload(12, 7, {})).at(7), 0u);
    EXPECT_EQ(ask(peer, allocation, ltl_payload(12, 7, {})).at(7), 3u);
    EXPECT_EQ(service_log(run_dir, 102).back(),
              fmt::format("unregistered client (pid {}): LTL allocation for VLAN 12: status 3: the "
                          "pool is exhausted",
                          getpid()));
}

TEST_F(LtlProcess, AnswersTwice) {
    switch_process running(run_dir, {"--ltl-answer", "twice"});
    raw_peer peer(run_dir);
    const test_words first = ask(peer, allocation, ltl_payload(12, 7, {}));
    EXPECT_EQ(first.size(), 8u);
    EXPECT_EQ(receive(peer, allocation), first);
}

TEST_F(LtlProcess, AnswersLate) {
    switch_process running(run_dir, {"--ltl-answer", "late:300"});
    raw_peer peer(run_dir);
    const auto start = std::chrono::steady_clock::now();
    peer.send(ltl_head(flood_update), flood_payload({{12, 1}}));
    EXPECT_EQ(peer.ask("flood").at("flood").size(), 1u) << "done already";
    EXPECT_EQ(receive(peer, flood_update).size(), 8u);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(300));
}

TEST_F(LtlProcess, NeverAnswers) {
    switch_process running(run_dir, {"--ltl-answer", "never"});
    raw_peer peer(run_dir);
    peer.send(ltl_head(flood_update), flood_payload({{12, 1}}));
    // The answer would come before the table.
    EXPECT_EQ(peer.ask("flood").at("flood").size(), 1u);
}

TEST_F(LtlProcess, HasItsOptionsListedAndChecked) {
    const std::string help = vellsim({"run", "--help"}).out;
    for (const char *option : {"--ltl-refuse-vlan VLAN", "--ltl-pool N", "--ltl-answer MODE"}) {
        EXPECT_THAT(help, HasSubstr(option));
    }
    const auto expect_refusal = [](const std::vector<std::string> &arguments,
                                   const std::string &why) {
        const command_result refused = vellsim(arguments);
        EXPECT_EQ(refused.exit_code, 2);
        EXPECT_EQ(refused.err.substr(0, refused.err.find('\n')), "vellsim: " + why);
    };
    expect_refusal(
        {"run", "--ltl-answer", "often"},
        "--ltl-answer: often is not late:MS (0 to 3600000 milliseconds), twice, never, garbled, "
        "cut, foreign or once");
    expect_refusal({"run", "--ltl-refuse-vlan", "0"},
                   "--ltl-refuse-vlan: 0 is not a number from 1 to 4094");
    expect_refusal({"run", "--ltl-refuse-vlan", "5", "--ltl-refuse-vlan", "4095"},
                   "--ltl-refuse-vlan: 4095 is not a number from 1 to 4094");
    expect_refusal({"run", "--ltl-refuse-vlan", "10", "20"}, "`vellsim run` takes no \"20\"");
    expect_refusal({"run", "--ltl-refuse-vlan", "10", "--ltl-refuse-vlan"},
                   "--ltl-refuse-vlan: 1 required VLAN missing");
    expect_refusal({"run", "--ltl-pool", "-1"}, "--ltl-pool: -1 is not a number from 0 to 65536");
    expect_refusal({"run", "--ltl-pool", "65537"},
                   "--ltl-pool: 65537 is not a number from 0 to 65536");
    expect_refusal({"show", "flood", "--vlan", "4095"},
                   "--vlan: 4095 is not a number from 1 to 4094");
    expect_refusal({"show", "ltl", "--group", "239.1.1.1"},
                   "`vellsim show ltl` has no option --group");
}

TEST_F(LtlProcess, SurvivesMessagesThatAreNearlyRight) {
    switch_process running(run_dir, {"--ltl-answer", "never"});
    raw_peer peer(run_dir);
    peer.register_client();
    const std::pair<std::uint32_t, bytes> whole[] = {
        {allocation, ltl_payload(10, 7, {1, 2, 3})},
        {modification, ltl_payload(0x4000, 7, {4, 5})},
        {release, release_payload(0x4001, 7)},
        {flood_update, flood_payload({{10, 1, {1, 1, 2, 2}}, {11, 2, {3, 1}}})},
    };
    std::mt19937 random(9);
    for (int i = 0; i < 2000; ++i) {
        auto [opcode, spoiled] = whole[random() % 4];
        for (std::uint32_t hits = random() % 3; hits > 0; --hits) {
            spoiled[random() % spoiled.size()] = static_cast<std::byte>(random());
        }
        ASSERT_TRUE(peer.send(ltl_head(opcode), spoiled));
    }
    const auto row = peer.ask("clients").at("clients").at(0);
    EXPECT_EQ(row.at("messages"), 2001);
    EXPECT_GT(row.at("refused"), 100);
    EXPECT_LT(row.at("refused"), 1900);
    EXPECT_FALSE(peer.ask("ltl").at("ltl").empty());
    expect_service(run_dir);
    running.signal(SIGTERM);
    EXPECT_EQ(running.wait(), 0);
}
