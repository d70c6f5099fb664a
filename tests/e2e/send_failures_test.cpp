// A send that the switch does not let through: vellfeed says why, how far it got, and what to do.
#include "tests/e2e/end_to_end.h"
#include "tests/support/wait.h"

#include <csignal>
#include <cstdio>
#include <gmock/gmock.h>

namespace {

using testing::HasSubstr;
using testing::MatchesRegex;

constexpr int many_routes = 20000;

class SendFailure : public end_to_end {
protected:
    static std::string send_error(const std::string &name, std::vector<std::string> options = {}) {
        options.insert(options.begin(), {"send", sample(name), "--quiet"});
        return error(options);
    }

    // Of some 20 messages.
    std::string long_snapshot() {
        std::string rows = "[";
        for (int i = 0; i < many_routes; ++i) {
            rows += i == 0 ? "\n" : ",\n";
            rows += R"({"src":"10.0.)" + std::to_string(i / 250) + "." +
                    std::to_string(i % 250 + 1) +
                    R"(","dst":"239.1.1.1","iif":"eth1-1","multipath":[{"oif":"eth1-2"},)"
                    R"({"oif":"eth1-3"}],"state":"resolved"})";
        }
        return snapshot("long", "routes.json", rows + "]");
    }
};

TEST_F(SendFailure, WithoutASwitchTheErrorSaysHowToStartOne) {
    const std::string no_switch = "no switch answers in " + run_dir +
                                  "; start one with `vellsim run`, or name its run directory with "
                                  "--run-dir";
    EXPECT_EQ(send_error("campus"), no_switch);
    EXPECT_EQ(error({"remove", sample("campus"), "--quiet"}), no_switch);
    EXPECT_EQ(error({"repair", sample("campus"), "--quiet"}), no_switch);
    EXPECT_EQ(error({"send", "--from", sample("day/1"), sample("day/2"), "--quiet"}), no_switch);
}

TEST_F(SendFailure, ARejectedRegistrationIsAnError) {
    start_switch({"--reject-registration"});
    EXPECT_EQ(send_error("day/1"),
              "the switch refused the registration; `vellsim show log` says why");
    EXPECT_EQ(installed(), plain_tables());
}

TEST_F(SendFailure, AClientIdThatIsNoneIsAnError) {
    start_switch({"--ack-id", "0"});
    EXPECT_EQ(send_error("day/1"),
              "the switch accepted the registration with client id 0, which is not an id");
    EXPECT_EQ(installed(), plain_tables());
}

TEST_F(SendFailure, ARegistrationThatIsNotAnsweredIsAnErrorInTime) {
    for (const char *mode : {"never", "cut"}) {
        start_switch({"--ack", mode});
        EXPECT_EQ(send_error("day/1", {"--timeout", "100"}),
                  "no answer to the registration within 100 ms; if the switch is only slow, wait "
                  "longer with --timeout")
            << mode;
        EXPECT_EQ(installed(), plain_tables());
    }
}

TEST_F(SendFailure, AnAnswerToTheRegistrationThatMakesNoSenseIsAnError) {
    start_switch({"--ack", "garbled"});
    EXPECT_EQ(send_error("day/1"), "the switch's answer to the registration cannot be read");
    EXPECT_EQ(installed(), plain_tables());
}

TEST_F(SendFailure, AnAnswerThatNeverComesIsAnErrorThoughItWasDone) {
    start_switch({"--ltl-answer", "never"});
    EXPECT_EQ(
        send_error("flood-1", {"--timeout", "100"}),
        "no answer to the flood update within 100 ms (to wait longer: --timeout); it may have "
        "been carried out all the same");
    EXPECT_EQ(installed(), recorded("flood-1"));
    EXPECT_EQ(show("clients").at(0)["state"], "deregistered");
    EXPECT_THAT(send_error("snooping-1", {"--timeout", "100"}),
                MatchesRegex("no answer to the request for the LTL of VLAN 10 with tag 0x[0-9a-f]+ "
                             "within 100 ms \\(to wait longer: --timeout\\); it may have been "
                             "carried out all the same"));
    start_switch({"--answer", "never"});
    EXPECT_EQ(send_error("campus", {"--timeout", "100"}),
              "no answer to the statistics request that confirms what was sent within 100 ms (to "
              "wait longer: --timeout); it may have been carried out all the same");
    EXPECT_EQ(installed(), recorded("campus"));
}

TEST_F(SendFailure, LateRepeatedAndForeignAnswersAreNone) {
    for (const char *mode : {"late:100", "twice", "foreign"}) {
        start_switch({"--ack", mode, "--answer", mode, "--ltl-answer", mode});
        fed({"send", sample("day/1"), sample("day/2")});
        EXPECT_EQ(installed(), recorded("day/2")) << mode;
        fed({"remove", sample("day/2")});
        EXPECT_EQ(installed(), plain_tables()) << mode;
    }
}

TEST_F(SendFailure, ARefusedVlanIsNamedAndTheOthersAreInstalled) {
    start_switch({"--ltl-refuse-vlan", "20"});
    const command_result result = vellfeed({"send", sample("day/2"), "--quiet"});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_THAT(result.err, HasSubstr("vellfeed: VLAN 20: the LTL manager refused the flood set: "
                                      "refused by fault mode (status 1)\n"));
    EXPECT_THAT(result.err,
                HasSubstr("vellfeed: LTL of VLAN 20 with tag 0xa581cd36: the LTL manager "
                          "refused the allocation: refused by fault mode (status 1)\n"));
    plain_tables without = recorded("day/2");
    const auto is_refused = [](const std::string &row) { return row.starts_with("VLAN 20:"); };
    std::erase_if(without.floods, is_refused);
    const std::size_t refused_ltls = std::erase_if(without.ltls, is_refused);
    EXPECT_EQ(installed(), without);
    expect_fault({"--clear"});
    EXPECT_EQ(fed({"repair", sample("day/2")}), sample("day/2") + ": floods 1 added; ltls " +
                                                    std::to_string(refused_ltls) + " added\n");
    EXPECT_EQ(installed(), recorded("day/2"));
}

TEST_F(SendFailure, AnExhaustedPoolIsNamedAndTheRestIsInstalled) {
    start_switch({"--ltl-pool", "5"});
    const command_result result = vellfeed({"send", sample("day/1")});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_EQ(result.out, sample("day/1") + ": floods 2 added; groups 12 added; ltls 5 added, 5 "
                                            "refused; routes 8 added\n");
    EXPECT_THAT(result.err, HasSubstr(": the LTL manager refused the allocation: the pool is "
                                      "exhausted (status 3)\n"));
    EXPECT_EQ(show("ltl").size(), 5u);
    EXPECT_EQ(installed().routes, recorded("day/1").routes);
    EXPECT_EQ(vellfeed({"compare", sample("day/1"), "--quiet"}).exit_code, 1);
    expect_fault({"--ltl-pool", "100"});
    fed({"repair", sample("day/1")});
    EXPECT_EQ(installed(), recorded("day/1"));
}

TEST_F(SendFailure, FloodSetsThatTheManagerHasAlreadyAreLeftAlone) {
    start_switch();
    fed({"send", sample("flood-1")});
    const command_result result = vellfeed({"send", sample("flood-2")});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_THAT(result.out, HasSubstr(" refused\n"));
    EXPECT_THAT(result.err,
                HasSubstr("vellfeed: VLAN 10: the LTL manager refused the flood set: an "
                          "added interface is present already (status 5); it has other "
                          "interfaces than vellfeed knows of: `vellfeed repair`\n"));
    fed({"repair", sample("flood-2")});
    EXPECT_EQ(installed(), recorded("flood-2"));
}

TEST_F(SendFailure, AReportThatCannotBeWrittenIsAnErrorThoughItWasDone) {
    start_switch();
    const command_result result =
        run_program({"/bin/sh", "-c", VELLFEED_PATH " send " SAMPLES_PATH "/metro >/dev/full"});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_EQ(result.err, "vellfeed: it was done, but standard output could not be written\n");
    EXPECT_EQ(installed(), recorded("metro"));
}

TEST_F(SendFailure, ASwitchThatDiesInMidSendIsAnErrorThatSaysHowFarItGot) {
    start_switch({"--die-after", "4"});
    const std::string said = error({"send", long_snapshot(), "--quiet"});
    int sent = 0;
    int end = 0;
    std::sscanf(said.c_str(),
                "the route message could not be sent: the switch went away; %d of 20000 changes of "
                "routes were sent before%n",
                &sent, &end);
    EXPECT_EQ(static_cast<std::size_t>(end), said.size()) << said;
    EXPECT_GT(sent, 2000) << "the registration was the first request";
    EXPECT_LT(sent, many_routes);
    EXPECT_EQ(the_switch().wait(), 3);
}

TEST_F(SendFailure, ASwitchThatDiesInsteadOfAnsweringIsAnError) {
    start_switch({"--ltl-answer", "never", "--die-after", "2"});
    EXPECT_EQ(send_error("flood-1"),
              "the switch closed the connection; `vellsim show log` may say why");
    EXPECT_EQ(the_switch().wait(), 3);
}

TEST_F(SendFailure, AnInterruptInMidSendSaysWhatWentOut) {
    start_switch({"--slow", "500"});
    background_vellfeed sending({"send", long_snapshot(), "--quiet"});
    EXPECT_TRUE(wait_until([] { return !show("routes").empty(); }));
    sending.signal(SIGINT);
    EXPECT_EQ(sending.wait(), 1);
    const std::string said = said_in(sending.said());
    int sent = 0;
    int end = 0;
    std::sscanf(said.c_str(), "interrupted; %d of 20000 changes of routes were sent before%n",
                &sent, &end);
    EXPECT_EQ(static_cast<std::size_t>(end), said.size()) << said;
    EXPECT_LT(sent, many_routes);
    expect_fault({"--clear"});
    EXPECT_TRUE(wait_until([] { return show("clients").at(0)["state"] == "deregistered"; }));
    EXPECT_EQ(show("routes").size(), static_cast<std::size_t>(sent));
}

TEST_F(SendFailure, AnInterruptWhileAnAnswerIsMissingSaysSo) {
    start_switch({"--ltl-answer", "never"});
    background_vellfeed sending({"send", sample("flood-1"), "--quiet"});
    EXPECT_TRUE(wait_until([] { return !show("flood").empty(); }));
    sending.signal(SIGTERM);
    EXPECT_EQ(sending.wait(), 1);
    EXPECT_EQ(said_in(sending.said()), "interrupted while answers of the switch were missing");
    EXPECT_TRUE(wait_until([] { return show("clients").at(0)["state"] == "deregistered"; }));
}

} // namespace
