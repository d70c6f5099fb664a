// The example client that sends flood sets, with a manager that does as asked and with one that
// does not.
#include "tests/e2e/end_to_end.h"

#include <gmock/gmock.h>

namespace {

using nlohmann::json;
using testing::Contains;
using testing::HasSubstr;

class FloodClient : public end_to_end {
protected:
    static json flood_set(int vlan) {
        for (const auto &row : show("flood")) {
            if (row["vlan"] == vlan) {
                return row;
            }
        }
        return nullptr;
    }

    static void expect_flood_sets() {
        EXPECT_EQ(show("flood").size(), 2u);
        expect_vlan_10();
        expect_vlan_20();
    }
    // After its change.
    static void expect_vlan_10() {
        const json set = flood_set(10);
        ASSERT_FALSE(set.is_null());
        EXPECT_EQ(set["interfaces"], json::parse(R"([{"if_index":1745028864,"name":"Eth3/7"},
                                                     {"if_index":1745029120,"name":"Eth3/8"}])"));
        EXPECT_EQ(set["line_cards"], json::parse("[3]"));
    }
    static void expect_vlan_20() {
        const json set = flood_set(20);
        ASSERT_FALSE(set.is_null());
        EXPECT_EQ(set["interfaces"], json::parse(R"([{"if_index":1745092864,"name":"Eth4/1"}])"));
        EXPECT_EQ(set["line_cards"], json::parse("[4]"));
    }

    static void expect_refused(const command_result &run, const std::string &log) {
        EXPECT_EQ(run.exit_code, 1);
        EXPECT_EQ(run.err, "flood_client: not every VLAN's change was made; vellsim show log says "
                           "why\n");
        EXPECT_EQ(show("clients").at(0)["state"], "deregistered");
        EXPECT_THAT(show_log(), Contains(HasSubstr(log)));
    }

private:
    static std::vector<std::string> show_log() {
        std::vector<std::string> texts;
        for (const auto &line : show("log")) {
            texts.push_back(line["text"]);
        }
        return texts;
    }
};

TEST_F(FloodClient, LeavesTheChangedFloodSets) {
    start_switch();
    const auto run = example("flood_client");
    EXPECT_EQ(run.exit_code, 0);
    EXPECT_EQ(run.err, "");
    EXPECT_EQ(run.out, "VLAN 10: done, it has 2 ports\n"
                       "VLAN 20: done, it has 1 ports\n"
                       "VLAN 10: done, it has 2 ports\n"
                       "VLAN 20: done, it has 1 ports\n");
    expect_flood_sets();
    EXPECT_EQ(show("clients").at(0)["refused"], 0);
}

class FloodClientAnswers : public FloodClient,
                           public testing::WithParamInterface<std::vector<std::string>> {};

TEST_P(FloodClientAnswers, MayBeLateOrTwice) {
    start_switch(GetParam());
    const auto run = example("flood_client");
    EXPECT_EQ(run.exit_code, 0) << run.err;
    expect_flood_sets();
}

INSTANTIATE_TEST_SUITE_P(Modes, FloodClientAnswers,
                         testing::Values(std::vector<std::string>{"--ltl-answer", "twice"},
                                         std::vector<std::string>{"--ltl-answer", "late:300"},
                                         std::vector<std::string>{"--ack", "twice", "--ltl-answer",
                                                                  "twice"}));

TEST_F(FloodClient, SaysThatAVlanWasRefusedAndLeavesTheOther) {
    start_switch({"--ltl-refuse-vlan", "10"});
    const auto run = example("flood_client");
    EXPECT_EQ(run.out, "VLAN 10: refused, it has 0 ports\n"
                       "VLAN 20: done, it has 1 ports\n"
                       "VLAN 10: refused, it has 0 ports\n"
                       "VLAN 20: done, it has 1 ports\n");
    expect_refused(run, "refused by fault mode");
    EXPECT_TRUE(flood_set(10).is_null());
    expect_vlan_20();
}

TEST_F(FloodClient, IsRefusedASecondTimeSinceTheInterfacesArePresent) {
    start_switch();
    EXPECT_EQ(example("flood_client").exit_code, 0);
    expect_refused(example("flood_client"), "an added interface is present already");
    expect_flood_sets();
}

TEST_F(FloodClient, DoesNotWaitForEverForAnAnswer) {
    start_switch({"--ltl-answer", "never"});
    const auto run = example("flood_client");
    EXPECT_EQ(run.exit_code, 1);
    EXPECT_EQ(run.err, "flood_client: the flood update was not answered; it may have been carried "
                       "out all the same\n");
    EXPECT_EQ(show("flood").size(), 2u) << "it was carried out";
}

} // namespace
