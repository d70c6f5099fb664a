// `vellfeed follow` of a recorded day: whatever happens to the switch meanwhile, it has the night at last.
#include "tests/e2e/end_to_end.h"
#include "tests/support/wait.h"

#include <chrono>
#include <csignal>
#include <gmock/gmock.h>
#include <map>
#include <sstream>

namespace {

using nlohmann::json;
using testing::HasSubstr;
using namespace std::chrono_literals;

class FollowReplay : public end_to_end {
protected:
    static std::vector<std::string> follow(const std::vector<std::string> &options = {}) {
        std::vector<std::string> arguments = {"follow", "--replay", sample("day/1"),
                                              sample("day/2"), sample("day/3")};
        arguments.insert(arguments.end(), options.begin(), options.end());
        return arguments;
    }

    // A client that has deregistered, and a switch that has what the last snapshot says.
    static void expect_night() {
        EXPECT_EQ(installed(), recorded("day/3"));
        // A slow switch handles the last request after its client is gone.
        EXPECT_TRUE(wait_until([] { return show("clients").back()["state"] == "deregistered"; }));
    }

    static void expect_said(const background_vellfeed &follower, const std::string &text) {
        EXPECT_TRUE(wait_until([&] { return follower.said().find(text) != std::string::npos; }))
            << follower.said();
    }
};

TEST_F(FollowReplay, SendsEachDifferenceAndEndsWithTheLastSnapshot) {
    start_switch();
    const command_result result = vellfeed(follow({"--every", "1000", "--once-in-step"}));
    EXPECT_EQ(result.exit_code, 0);
    expect_night();
    EXPECT_EQ(result.out,
              "in step: floods 2 added; groups 12 added; ltls 10 added; routes 8 added\n"
              "in step: floods 1 added, 2 changed; groups 1 added, 5 changed, 1 removed; "
              "ltls 2 added, 4 changed, 1 removed; routes 2 added, 1 changed, 1 removed\n"
              "in step: floods 1 removed; groups 3 changed, 4 removed; "
              "ltls 3 changed, 3 removed; routes 7 removed\n");
    EXPECT_EQ(result.err,
              "vellfeed: left out 1 TTL threshold: not carried by a route record\n"
              "vellfeed: left out 1 router port: not carried by a layer-2 entry\n"
              "vellfeed: left out 1 member of a group: blocked, or filtered by source\n"
              "vellfeed: left out 4 ports of groups or flood sets: not in forwarding state\n"
              "vellfeed: left out 2 ports of groups or flood sets: not in forwarding state\n"
              "vellfeed: left out 3 ports of groups or flood sets: not in forwarding state\n");
    EXPECT_EQ(show("clients").size(), 1u);
}

TEST_F(FollowReplay, FasterThanItCanBeSentEndsWithTheLastSnapshot) {
    start_switch({"--slow", "20"});
    EXPECT_EQ(fed(follow({"--every", "0", "--once-in-step", "--quiet"})), "");
    expect_night();
}

TEST_F(FollowReplay, ReportsWhatItSentAsJson) {
    start_switch();
    std::istringstream lines(fed(follow({"--every", "50", "--once-in-step", "--json"})));
    std::map<std::string, int> rows;
    for (std::string line; std::getline(lines, line);) {
        const json report = json::parse(line);
        EXPECT_EQ(report.size(), 4u) << line;
        for (const auto &[table, counts] : report.items()) {
            EXPECT_EQ(counts.size(), 4u) << line;
            rows[table] += counts["added"].get<int>() - counts["removed"].get<int>();
        }
    }
    EXPECT_EQ(rows, (std::map<std::string, int>{
                        {"floods", 2}, {"groups", 8}, {"ltls", 8}, {"routes", 2}}));
}

TEST_F(FollowReplay, FindsWhatAnEarlierOneSent) {
    start_switch();
    fed(follow({"--every", "50", "--once-in-step"}));
    const command_result again =
        vellfeed({"follow", "--replay", sample("day/3"), "--once-in-step", "--quiet"});
    EXPECT_EQ(again.exit_code, 0);
    EXPECT_EQ(again.out + again.err, "");
    expect_night();
    ASSERT_EQ(show("clients").size(), 2u);
    const json requests = show("clients").back()["requests"];
    EXPECT_EQ(requests.size(), 2u) << requests; // it registers and deregisters
    for (const json &request : requests) {
        EXPECT_EQ(request["records"], 0) << "nothing is sent twice: " << request;
    }
}

TEST_F(FollowReplay, StartsBeforeTheSwitchDoes) {
    background_vellfeed follower(follow({"--every", "50", "--once-in-step"}));
    expect_said(follower, "vellfeed: no switch answers in " + run_dir +
                              "; start one with `vellsim run`, or name its run directory with "
                              "--run-dir; trying again\n");
    start_switch();
    EXPECT_EQ(follower.wait(), 0);
    EXPECT_THAT(follower.said(), HasSubstr("vellfeed: registered again\n"));
    expect_night();
}

TEST_F(FollowReplay, AKilledSwitchHasItAllWhenItIsBack) {
    start_switch();
    background_vellfeed follower(follow({"--every", "1500", "--once-in-step"}));
    EXPECT_THAT(follower.next_line(), HasSubstr("in step: floods 2 added"));
    kill_switch();
    expect_said(follower, "trying again\n");
    start_switch();
    EXPECT_EQ(follower.wait(), 0) << follower.said();
    EXPECT_THAT(follower.said(), HasSubstr("vellfeed: registered again\n"));
    expect_night();
}

TEST_F(FollowReplay, ADroppedConnectionLosesNothing) {
    for (const char *request : {"2", "5", "9", "14"}) {
        start_switch({"--drop-after", request});
        background_vellfeed follower(follow({"--every", "50", "--once-in-step"}));
        EXPECT_EQ(follower.wait(), 0) << follower.said();
        EXPECT_THAT(follower.said(), HasSubstr("vellfeed: registered again\n"));
        expect_night();
    }
}

TEST_F(FollowReplay, LateRepeatedAndForeignAnswersDoNoHarm) {
    for (const char *mode : {"late:200", "twice", "foreign"}) {
        start_switch({"--ack", mode, "--answer", mode, "--ltl-answer", mode});
        fed(follow({"--every", "50", "--once-in-step"}));
        expect_night();
    }
}

TEST_F(FollowReplay, AnswersThatAreLaterThanTheirTimeStillCount) {
    start_switch({"--ltl-answer", "late:300"});
    background_vellfeed follower(follow({"--every", "50", "--once-in-step", "--timeout", "100"}));
    EXPECT_EQ(follower.wait(), 0) << follower.said();
    EXPECT_THAT(follower.said(),
                HasSubstr("vellfeed: no answer to the flood update within 100 ms\n"));
    expect_night();
    EXPECT_EQ(show("ltl").size(), recorded("day/3").ltls.size()) << "none is allocated for nobody";
}

TEST_F(FollowReplay, ARefusedVlanIsTriedAgainUntilItIsTaken) {
    start_switch({"--ltl-refuse-vlan", "10"});
    background_vellfeed follower(follow({"--every", "50", "--once-in-step"}));
    expect_said(follower, "vellfeed: VLAN 10: the LTL manager refused the flood set: refused by "
                          "fault mode (status 1)\n");
    expect_said(follower, " the LTL manager refused the allocation: refused by fault mode (status "
                          "1)\n");
    EXPECT_TRUE(wait_until([] { return show("routes").size() == 2; })) << "the rest goes on";
    plain_tables without = recorded("day/3");
    const auto is_refused = [](const std::string &row) { return row.starts_with("VLAN 10:"); };
    std::erase_if(without.floods, is_refused);
    std::erase_if(without.ltls, is_refused);
    EXPECT_TRUE(wait_until([&] { return installed() == without; }));
    expect_fault({"--clear"});
    EXPECT_EQ(follower.wait(), 0) << follower.said();
    expect_night();
}

TEST_F(FollowReplay, GoesOnInSilenceUntilItIsStopped) {
    for (const int signal : {SIGTERM, SIGINT}) {
        start_switch();
        background_vellfeed follower(follow({"--every", "50", "--quiet"}));
        EXPECT_TRUE(wait_until([] { return installed() == recorded("day/3"); }));
        EXPECT_TRUE(follower.is_idle());
        EXPECT_EQ(show("clients").at(0)["state"], "registered");
        follower.signal(signal);
        EXPECT_EQ(follower.wait(), 0) << follower.said();
        expect_night();
    }
}

TEST_F(FollowReplay, ABridgeThatGoesAwayLeavesNothing) {
    start_switch();
    fed({"send", sample("day/1"), "--only", "floods", "--bridge", "br20"});
    const plain_tables others = installed();
    const std::string there =
        snapshot("there", "ports.json",
                 R"([{"ifindex":17,"ifname":"eth1-1","master":"br10","mcast_flood":true}])");
    const std::string gone = snapshot("gone", "ports.json", "[]");
    fed({"follow", "--replay", there, gone, "--every", "50", "--once-in-step", "--bridge", "br10"});
    EXPECT_EQ(installed(), others);
    EXPECT_THAT(error({"follow", "--replay", gone, "--bridge", "br10"}),
                HasSubstr("--bridge \"br10\": no such bridge is in "));
}

// It asks what the switch has when a table is first spoken of.
TEST_F(FollowReplay, EndsAtOnceThoughTheSwitchHangs) {
    start_switch();
    const std::string routes = snapshot("routes", "routes.json", "[]");
    background_vellfeed follower(
        {"follow", "--replay", routes, sample("day/1"), "--every", "1000", "--quiet"});
    EXPECT_TRUE(wait_until([] { return show("clients").size() == 1; }));
    the_switch().signal(SIGSTOP);
    EXPECT_TRUE(wait_until([&] { return follower.has_child(); }));
    const auto before = std::chrono::steady_clock::now();
    follower.signal(SIGTERM);
    EXPECT_EQ(follower.wait(), 0) << follower.said();
    EXPECT_LT(std::chrono::steady_clock::now() - before, 5s);
    the_switch().signal(SIGCONT);
    EXPECT_TRUE(wait_until([] { return show("clients").back()["state"] == "deregistered"; }));
}

TEST_F(FollowReplay, ASnapshotThatCannotBeReadEndsIt) {
    start_switch();
    const command_result result =
        vellfeed({"follow", "--replay", directory / "nowhere", "--once-in-step"});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_EQ(result.err, "vellfeed: " + (directory / "nowhere") +
                              ": cannot be opened: No such file or directory\n");
    EXPECT_EQ(installed(), plain_tables());
}

} // namespace
