// The example client of the LTL manager, with a manager that does as asked and with one that does
// not.
#include "tests/e2e/end_to_end.h"

#include <gmock/gmock.h>

namespace {

using nlohmann::json;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

class LtlClient : public end_to_end {
protected:
    static command_result run_client() { return run_program({LTL_CLIENT_PATH}); }

    void expect_done() {
        const auto run = run_client();
        EXPECT_EQ(run.exit_code, 0) << run.out;
        EXPECT_EQ(run.err, "");
        expect_flood_sets();
        EXPECT_EQ(show("ltl").size(), 0u) << "what was allocated was given back";
    }

    static void expect_failed(const command_result &run, const std::string &why) {
        EXPECT_EQ(run.exit_code, 1) << run.out;
        EXPECT_THAT(run.err,
                    AllOf(HasSubstr("ltl_client: " + why), HasSubstr("vellsim show log says why")));
    }

    json flood_set(int vlan) {
        for (const auto &row : show("flood"))
            if (row["vlan"] == vlan)
                return row;
        return nullptr;
    }

    void expect_flood_sets() {
        EXPECT_EQ(show("flood").size(), 2u);
        expect_vlan_10();
        expect_vlan_20();
    }
    // Its own interface is not in it.
    void expect_vlan_10() {
        const json set = flood_set(10);
        ASSERT_FALSE(set.is_null());
        EXPECT_EQ(set["interfaces"], json::parse(R"([{"if_index":402653185,"name":"Po1"},
                                                     {"if_index":1745028864,"name":"Eth3/7"}])"));
        EXPECT_EQ(set["line_cards"], json::parse("[3]"));
    }
    void expect_vlan_20() {
        const json set = flood_set(20);
        ASSERT_FALSE(set.is_null());
        EXPECT_EQ(set["interfaces"], json::parse(R"([{"if_index":1745092864,"name":"Eth4/1"}])"));
        EXPECT_EQ(set["line_cards"], json::parse("[4]"));
    }
};

TEST_F(LtlClient, SaysWhatItDoesInALineEach) {
    start_switch();
    EXPECT_EQ(run_client().out, "registered\n"
                                "flood update: VLAN 10: done\n"
                                "flood update: VLAN 20: done\n"
                                "LTL allocation: done, LTL 0x4000 has 3 ports\n"
                                "LTL modification: done, LTL 0x4000 has 2 ports\n"
                                "LTL release: done, LTL 0x4000 has 0 ports\n"
                                "deregistered\n");
    expect_flood_sets();
    EXPECT_EQ(show("ltl").size(), 0u);
    const json client = show("clients").at(0);
    EXPECT_EQ(client["state"], "deregistered");
    EXPECT_EQ(client["refused"], 0);
}

class LtlClientAnswers : public LtlClient,
                         public testing::WithParamInterface<std::vector<std::string>> {};

TEST_P(LtlClientAnswers, MayBeLateOrTwice) {
    start_switch(GetParam());
    expect_done();
}

INSTANTIATE_TEST_SUITE_P(Modes, LtlClientAnswers,
                         testing::Values(std::vector<std::string>{"--ltl-answer", "twice"},
                                         std::vector<std::string>{"--ltl-answer", "late:300"},
                                         std::vector<std::string>{"--ack", "twice", "--ltl-answer",
                                                                  "twice"}));

TEST_F(LtlClient, PassesOverTheSecondAnswerToEachRequest) {
    start_switch({"--ltl-answer", "twice"});
    EXPECT_THAT(
        run_client().out,
        AllOf(
            HasSubstr("LTL allocation: skipped a message of opcode 90004, which is not an answer "
                      "to it\n"),
            HasSubstr("LTL modification: skipped a message of opcode 90001, which is not an answer "
                      "to it\n"),
            HasSubstr(
                "LTL release: skipped a message of opcode 90002, which is not an answer to it\n")));
}

TEST_F(LtlClient, ARefusedVlanIsToldAndTheOtherIsHeld) {
    start_switch({"--ltl-refuse-vlan", "10"});
    const auto run = run_client();
    expect_failed(run, "flood update: not every VLAN's change was made");
    EXPECT_THAT(run.out, AllOf(HasSubstr("VLAN 10: refused\n"), HasSubstr("VLAN 20: done\n"),
                               HasSubstr("deregistered"), Not(HasSubstr("LTL"))));
    EXPECT_THAT(service_log(run_dir, 102), testing::Contains(HasSubstr("refused by fault mode")));
    EXPECT_TRUE(flood_set(10).is_null());
    expect_vlan_20();
}

TEST_F(LtlClient, ASecondRunIsRefusedSinceTheInterfacesAreThere) {
    start_switch();
    expect_done();
    expect_failed(run_client(), "flood update: not every VLAN's change was made");
    EXPECT_THAT(service_log(run_dir, 102),
                testing::Contains(HasSubstr("an added interface is present already")));
    expect_flood_sets();
}

TEST_F(LtlClient, AnExhaustedPoolIsTold) {
    start_switch({"--ltl-pool", "0"});
    const auto run = run_client();
    EXPECT_EQ(run.exit_code, 1);
    EXPECT_EQ(run.err, "ltl_client: LTL allocation: the pool is exhausted\n");
    EXPECT_THAT(run.out, HasSubstr("deregistered"));
    EXPECT_THAT(service_log(run_dir, 102), testing::Contains(HasSubstr("the pool is exhausted")));
    expect_flood_sets();
}

TEST_F(LtlClient, DoesNotWaitForEverForAnAnswerToWhatMayHaveBeenDone) {
    start_switch({"--ltl-answer", "never"});
    const auto run = run_client();
    EXPECT_EQ(run.exit_code, 1);
    EXPECT_EQ(run.err, "ltl_client: flood update: no answer came in time; it may have been carried "
                       "out all the same\n");
    EXPECT_EQ(run.out, "registered\nderegistered\n");
    expect_flood_sets();
}

TEST_F(LtlClient, ARefusedRegistrationIsTold) {
    start_switch({"--reject-registration"});
    expect_failed(run_client(), "the service gave no client id");
}

TEST_F(LtlClient, WithoutASwitchSaysWhatToDo) {
    const auto run = run_client();
    EXPECT_EQ(run.exit_code, 1);
    EXPECT_THAT(run.err, HasSubstr("vellsim run"));
}

TEST_F(LtlClient, ASwitchThatDiesBeforeItAnswersIsTold) {
    // After the registration and the flood update.
    start_switch({"--ltl-answer", "late:60000", "--die-after", "2"});
    const auto run = run_client();
    EXPECT_EQ(run.exit_code, 1);
    EXPECT_THAT(run.err, HasSubstr("flood update: the simulator went away before it answered"));
}

} // namespace
