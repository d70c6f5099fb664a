// The fault modes, as a client meets them.
#include "tests/support/simulator.h"
#include "tests/support/wait.h"
#include "tests/switch/l2_bytes.h"
#include "tests/switch/raw_peer.h"
#include "tests/switch/test_service.h"

#include <chrono>
#include <csignal>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::AllOf;
using testing::Contains;
using testing::HasSubstr;
using testing::Not;

namespace {

using ack = std::pair<int, int>;
using clock_type = std::chrono::steady_clock;
using std::chrono::milliseconds;

class Faults : public simulator {};

} // namespace

TEST_F(Faults, RejectRegistrations) {
    switch_process running(run_dir, {"--reject-registration"});
    raw_peer peer(run_dir);
    for (int i = 0; i < 2; ++i) {
        peer.send(register_head(), register_payload(500));
        EXPECT_EQ(peer.receive_ack(), ack(0, 0));
    }
    const nlohmann::json clients = peer.ask("clients").at("clients");
    ASSERT_EQ(clients.size(), 2u);
    EXPECT_EQ(clients[0].at("state"), "rejected");
    EXPECT_EQ(clients[0].at("id"), 0);
}

TEST_F(Faults, AcknowledgeLate) {
    switch_process running(run_dir, {"--ack", "late:300"});
    raw_peer peer(run_dir);
    const auto start = clock_type::now();
    peer.send(register_head(), register_payload(500));
    EXPECT_EQ(peer.ask("clients").at("clients").at(0).at("state"), "registered");
    EXPECT_EQ(peer.receive_ack(), ack(1, 1));
    EXPECT_GE(clock_type::now() - start, milliseconds(300));
}

TEST_F(Faults, SurviveThatThePeerLeavesBeforeItsLateAcknowledgment) {
    switch_process running(run_dir, {"--ack", "late:50"});
    {
        raw_peer gone(run_dir);
        gone.send(register_head(), register_payload(500));
    }
    raw_peer peer(run_dir);
    EXPECT_NE(peer.register_client(), 0) << "which is more than 50 milliseconds later";
}

TEST_F(Faults, AcknowledgeTwice) {
    switch_process running(run_dir, {"--ack", "twice"});
    raw_peer peer(run_dir);
    peer.send(register_head(), register_payload(500));
    EXPECT_EQ(peer.receive_ack(), ack(1, 1));
    EXPECT_EQ(peer.receive_ack(), ack(1, 1));
    EXPECT_EQ(peer.ask("clients").at("clients").size(), 1u);
}

TEST_F(Faults, NeverAcknowledge) {
    switch_process running(run_dir, {"--ack", "never"});
    raw_peer peer(run_dir);
    peer.send(register_head(), register_payload(500));
    // The answer would come after the acknowledgment.
    EXPECT_EQ(peer.ask("clients").at("clients").at(0).at("state"), "registered");
}

TEST_F(Faults, HandOutAnId) {
    for (const int id : {0, 77, 255}) {
        switch_process running(run_dir, {"--ack-id", std::to_string(id)});
        raw_peer first(run_dir);
        raw_peer second(run_dir);
        for (raw_peer *peer : {&first, &second}) {
            peer->send(register_head(), register_payload(500));
            EXPECT_EQ(peer->receive_ack(), ack(id, 1));
        }
        running.signal(SIGTERM);
        EXPECT_EQ(running.wait(), 0);
    }
}

TEST_F(Faults, BeSlowBeforeEachRequest) {
    switch_process running(run_dir, {"--slow", "100"});
    raw_peer peer(run_dir);
    const auto start = clock_type::now();
    peer.send(register_head(), register_payload(500));
    peer.send(notice_head(), notice_payload(1, 1, 2, 3));
    peer.send(route_head(), route_payload(1, {{}, {.table = 8}}));
    EXPECT_EQ(peer.receive_ack(), ack(1, 1));
    EXPECT_GE(clock_type::now() - start, milliseconds(100));
    EXPECT_EQ(peer.ask("routes").at("routes").size(), 2u);
    EXPECT_GE(clock_type::now() - start, milliseconds(300));
}

TEST_F(Faults, BeSlowAndShowTablesAllTheSame) {
    switch_process running(run_dir, {"--slow", "3600000"});
    raw_peer slow(run_dir);
    slow.send(register_head(), register_payload(500));
    raw_peer other(run_dir);
    for (int i = 0; i < 20; ++i) {
        EXPECT_TRUE(other.ask("clients").at("clients").empty());
    }
    running.signal(SIGTERM);
    EXPECT_EQ(running.wait(), 0) << "a pause does not delay the end";
}

TEST_F(Faults, BeSlowAndStillHandleWhatAPeerSentBeforeItLeft) {
    switch_process running(run_dir, {"--slow", "20"});
    {
        raw_peer gone(run_dir);
        gone.send(register_head(), register_payload(500));
        for (std::uint32_t table = 1; table <= 5; ++table) {
            gone.send(route_head(), route_payload(1, {{.table = table}}));
        }
    }
    raw_peer other(run_dir);
    EXPECT_TRUE(wait_until([&] { return other.first_client().at("state") == "lost"; }));
    EXPECT_EQ(other.ask("routes").at("routes").size(), 5u);
}

TEST_F(Faults, BeSlowWithoutSpinning) {
    switch_process running(run_dir, {"--slow", "3600000"});
    {
        raw_peer gone(run_dir);
        gone.send(register_head(), register_payload(500));
    }
    raw_peer other(run_dir);
    other.ask("clients");
    EXPECT_TRUE(running.is_idle());
}

TEST_F(Faults, BeLateWithoutSpinning) {
    switch_process running(run_dir, {"--ack", "late:1"});
    raw_peer peer(run_dir);
    EXPECT_EQ(peer.register_client(), 1);
    EXPECT_TRUE(running.is_idle());
}

TEST_F(Faults, DieAfterSoManyRequests) {
    switch_process running(run_dir, {"--die-after", "3"});
    raw_peer peer(run_dir);
    EXPECT_EQ(peer.register_client(), 1);
    EXPECT_EQ(peer.ask("clients").at("clients").size(), 1u) << "what show asks does not count";
    peer.send(notice_head(), notice_payload(9, 1, 2, 3)); // refused, and counts
    EXPECT_EQ(peer.ask("clients").at("clients").size(), 1u);
    raw_peer second(run_dir);
    second.send(register_head(), register_payload(500));
    EXPECT_EQ(second.receive_ack(), ack(2, 1)) << "the last request is answered";
    EXPECT_EQ(running.wait(), 3);
    EXPECT_TRUE(peer.wait_for_close());
    EXPECT_TRUE(std::filesystem::is_socket(run_dir + "/vell.sock"));
    EXPECT_EQ(service_log(run_dir, 102).back(), "exits: --die-after");
    switch_process next(run_dir);
    expect_service(run_dir);
}

TEST_F(Faults, AreInTheLog) {
    {
        switch_process running(run_dir,
                               {"--ltl-pool", "5", "--ltl-refuse-vlan", "10", "--ltl-refuse-vlan",
                                "20", "--reject-registration", "--ack", "late:70"});
    }
    EXPECT_THAT(service_log(run_dir, 104),
                Contains("fault modes: --reject-registration --ack late:70 --ltl-refuse-vlan 10 "
                         "--ltl-refuse-vlan 20 --ltl-pool 5"));
}

TEST_F(Faults, AreNotInTheLogOfASwitchThatHasNone) {
    { switch_process running(run_dir); }
    EXPECT_THAT(service_log(run_dir, 104), Not(Contains(HasSubstr("fault modes"))));
    EXPECT_FALSE(service_log(run_dir, 104).empty());
}

TEST_F(Faults, HaveTheirOptionsChecked) {
    const auto complaint = [this](const std::vector<std::string> &options) {
        std::vector<std::string> arguments = {"run", "--run-dir", run_dir};
        arguments.insert(arguments.end(), options.begin(), options.end());
        const command_result refused = vellsim(arguments);
        EXPECT_EQ(refused.exit_code, 2);
        return refused.err.substr(0, refused.err.find('\n'));
    };
    for (const std::string mode : {"", "always", "late", "late:", "late:-1", "late:3600001",
                                   "late:99999999999", "late:1s"}) {
        EXPECT_EQ(
            complaint({"--ack", mode}),
            fmt::format("vellsim: --ack: {} is not late:MS (0 to 3600000 milliseconds), twice, "
                        "never, garbled, cut, foreign or once",
                        mode));
    }
    EXPECT_EQ(complaint({"--ack-id", "256"}),
              "vellsim: --ack-id: 256 is not a number from 0 to 255");
    EXPECT_EQ(complaint({"--slow", "-1"}), "vellsim: --slow: -1 is not a number from 0 to 3600000");
    EXPECT_EQ(complaint({"--die-after", "0"}),
              "vellsim: --die-after: 0 is not a number from 1 to 4294967295");
    EXPECT_EQ(complaint({"--ltl-refuse-vlan", "4095"}),
              "vellsim: --ltl-refuse-vlan: 4095 is not a number from 1 to 4094");
    EXPECT_EQ(complaint({"--refuse-group", "239.1"}),
              "vellsim: --refuse-group: 239.1 is not an IPv4, IPv6 or MAC address");
    EXPECT_FALSE(std::filesystem::exists(run_dir));
}

TEST_F(Faults, TakeDecimalNumbersWithLeadingZeros) {
    switch_process running(run_dir, {"--ack-id", "010"});
    raw_peer peer(run_dir);
    EXPECT_EQ(peer.register_client(), 10);
}

TEST_F(Faults, AreChangedWhileItRuns) {
    switch_process running(run_dir, {"--ack-id", "7"});
    const auto fault = [this](std::vector<std::string> options) {
        options.insert(options.begin(), {"fault", "--run-dir", run_dir});
        const command_result result = vellsim(options);
        EXPECT_EQ(result.exit_code, 0) << result.err;
        return result.out;
    };
    EXPECT_EQ(fault({}), "fault modes: --ack-id 7\n");
    EXPECT_EQ(fault({"--reject-registration", "--refuse-vlan", "3", "--refuse-vlan", "2"}),
              "fault modes: --reject-registration --refuse-vlan 2 --refuse-vlan 3 --ack-id 7\n");
    raw_peer peer(run_dir);
    peer.send(register_head(), register_payload(500));
    EXPECT_EQ(peer.receive_ack(), ack(0, 0));
    EXPECT_EQ(fault({"--clear", "--ack", "twice"}), "fault modes: --ack twice\n");
    peer.send(register_head(), register_payload(500));
    EXPECT_EQ(peer.receive_ack(), ack(1, 1));
    EXPECT_EQ(peer.receive_ack(), ack(1, 1));
    EXPECT_EQ(fault({"--ack", "once"}), "fault modes: none\n");
    EXPECT_THAT(service_log(run_dir, 104),
                AllOf(Contains("fault modes: --ack-id 7"), Contains("fault modes: --ack twice"),
                      Contains("fault modes: none")));
}

TEST_F(Faults, ReplyWithWhatIsNotTheAnswer) {
    switch_process running(run_dir, {"--ack", "garbled"});
    const auto replies_to_registration = [this](const std::string &mode) {
        vellsim({"fault", "--run-dir", run_dir, "--ack", mode});
        raw_peer peer(run_dir);
        peer.send(register_head(), register_payload(500));
        return *peer.receive();
    };
    EXPECT_THAT(replies_to_registration("garbled").payload, testing::ElementsAre(0xfe, 0xfe));
    EXPECT_THAT(replies_to_registration("cut").payload, testing::SizeIs(1));
    EXPECT_EQ(replies_to_registration("foreign").head.opcode, 76796u);
    vellsim({"fault", "--run-dir", run_dir, "--ack", "foreign"});
    raw_peer peer(run_dir);
    peer.send(register_head(), register_payload(500));
    EXPECT_EQ(peer.receive()->head.opcode, 76796u);
    EXPECT_EQ(peer.receive_ack().second, 1) << "the answer comes after it";
}

TEST_F(Faults, DropAConnectionAndGoOn) {
    switch_process running(run_dir, {"--drop-after", "2"});
    raw_peer first(run_dir);
    EXPECT_EQ(first.register_client(), 1);
    raw_peer second(run_dir);
    second.send(register_head(), register_payload(500));
    EXPECT_TRUE(second.wait_for_close());
    EXPECT_THAT(service_log(run_dir, 102), Contains(HasSubstr("connection dropped: --drop-after")));
    EXPECT_EQ(first.ask("clients").at("clients").at(1).at("state"), "lost");
    expect_service(run_dir);
}

TEST_F(Faults, DropWhatAConnectionSentAfterTheLastRequest) {
    switch_process running(run_dir, {"--drop-after", "2"});
    raw_peer client(run_dir);
    message pipelined;
    pipelined.add(frame_bytes(register_head(), register_payload(500)));
    for (std::uint32_t table = 1; table <= 5; ++table) {
        pipelined.add(frame_bytes(route_head(), route_payload(1, {{.table = table}})));
    }
    client.send_raw(pipelined);
    EXPECT_TRUE(client.wait_for_close());
    EXPECT_EQ(raw_peer(run_dir).ask("routes").at("routes").size(), 1u);
}

TEST_F(Faults, RefuseChosenVlansAndGroups) {
    test_service test({.refused_vlans = {12},
                       .refused_groups = {*sim::parse_l2_address("239.1.1.2"),
                                          *sim::parse_l2_address("239.1.1.3")}});
    sim::session from = test.registered_session();
    test.send(from, route_head(), route_payload(1, {{.group = 0xef010101}, {.group = 0xef010102}}));
    EXPECT_TRUE(test.vell.routes.empty()) << "the whole message is refused";
    EXPECT_THAT(test.errors.back(), HasSubstr("group 239.1.1.2 is refused by --refuse-group"));
    test.send(from, l2_head(), mbd_message(1, {{.vlan = 12, .ports = {{1}}}}));
    EXPECT_THAT(test.errors.back(), HasSubstr("VLAN 12 is refused by --refuse-vlan"));
    test.send(from, l2_head(), mbd_message(1, {{.group = {239, 1, 1, 3}, .ports = {{1}}}}));
    EXPECT_THAT(test.errors.back(), HasSubstr("group 239.1.1.3 is refused by --refuse-group"));
    EXPECT_TRUE(test.vell.l2.entries.empty());
    test.vell.faults = {};
    test.send(from, route_head(), route_payload(1, {{.group = 0xef010102}}));
    test.send(from, l2_head(), mbd_message(1, {{.vlan = 12, .ports = {{1}}}}));
    EXPECT_EQ(test.vell.routes.size() + test.vell.l2.entries.size(), 2u);
}
