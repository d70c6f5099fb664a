// The examples of routes, of their counters and of the overlay, and what all examples have in common: they say why they failed.
#include "tests/e2e/end_to_end.h"

#include <gmock/gmock.h>

namespace {

using nlohmann::json;
using testing::AllOf;
using testing::HasSubstr;

class ExampleClients : public end_to_end {
protected:
    // libkyt complains there about references that were not released.
    static void expect_done(const command_result &run) {
        EXPECT_EQ(run.exit_code, 0) << run.out;
        EXPECT_EQ(run.err, "");
    }
};

TEST_F(ExampleClients, TheFirstClientSendsARoute) {
    start_switch();
    expect_done(example("first_client"));
    EXPECT_EQ(show("routes").size(), 1u);
    const json route = route_of("239.1.1.1");
    EXPECT_EQ(route["source"], "10.0.0.9");
    EXPECT_EQ(route["table"], 253);
    EXPECT_EQ(route["rpf_if"], 4);
    EXPECT_EQ(route["oifs"], json::parse(R"([{"if_index":5,"name":"0x00000005","kind":0}])"));
    EXPECT_EQ(show("clients").at(0)["state"], "deregistered");
}

TEST_F(ExampleClients, TheRouteClientSendsThreeRoutesWithTheirListsInOneMessage) {
    start_switch();
    expect_done(example("route_client"));
    EXPECT_EQ(show("routes").size(), 3u);
    const json none = json::array();
    const json mti = json::parse("[[1,2,3,4],[5,6,7,8]]");
    const json glt =
        json::parse(R"([{"words":[9,10,11,12],"data":"0a0b0c","length":3,"last":13}])");
    const auto expect_lists = [](const json &route, std::size_t n_oifs, const json &mti_list,
                                 const json &glt_list) {
        EXPECT_EQ(route["oifs"].size(), n_oifs);
        EXPECT_EQ(route["mti"], mti_list);
        EXPECT_EQ(route["glt"], glt_list);
        EXPECT_EQ(route["flags"], json::parse(R"(["download"])"));
    };
    expect_lists(route_of("239.1.1.1"), 2, none, none);
    expect_lists(route_of("239.1.1.2"), 1, mti, none);
    expect_lists(route_of("239.1.1.3"), 2, mti, glt);
    const json client = show("clients").at(0);
    EXPECT_EQ(client["messages"], 3) << "registration, routes, deregistration";
    EXPECT_EQ(client["refused"], 0);
}

class StatsClient : public ExampleClients {
protected:
    static void count_traffic() {
        const auto counted = vellsim({"count", "--source", "10.0.0.9", "--group", "239.1.1.1",
                                      "--packets", "100", "--bytes", "6400", "--wrong-if", "2"});
        EXPECT_EQ(counted.exit_code, 0) << counted.err;
    }
};

TEST_F(StatsClient, ReadsTheCountersOfTheFirstClientsRouteAndClearsThem) {
    start_switch();
    expect_done(example("first_client"));
    count_traffic();
    const auto first = example("stats_client");
    expect_done(first);
    EXPECT_EQ(first.out, "100 packets, 6400 bytes, 2 RPF failures\n"
                         "cleared after 100 packets\n");
    EXPECT_EQ(example("stats_client").out, "0 packets, 0 bytes, 0 RPF failures\n"
                                           "cleared after 0 packets\n");
}

class StatsClientAnswers : public StatsClient, public testing::WithParamInterface<const char *> {};

TEST_P(StatsClientAnswers, MayBeLateOrTwice) {
    start_switch({"--answer", GetParam()});
    count_traffic();
    const auto run = example("stats_client");
    expect_done(run);
    EXPECT_EQ(run.out, "100 packets, 6400 bytes, 2 RPF failures\n"
                       "cleared after 100 packets\n");
}

INSTANTIATE_TEST_SUITE_P(Modes, StatsClientAnswers,
                         testing::Values("twice", "late:300", "foreign"));

TEST_F(StatsClient, SaysThatTheServiceHasNoSuchRoute) {
    start_switch();
    const auto run = example("stats_client");
    EXPECT_EQ(run.exit_code, 1);
    EXPECT_EQ(run.err, "stats_client: the service has no such route; first_client sends it\n");
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(show("clients").at(0)["state"], "deregistered");
}

TEST_F(StatsClient, SaysThatTheSwitchDiedBeforeItAnswered) {
    start_switch({"--answer", "late:60000", "--die-after", "2"});
    const auto run = example("stats_client");
    EXPECT_EQ(run.exit_code, 1);
    EXPECT_THAT(run.err, HasSubstr("stats_client: the request was not answered\n"));
}

TEST_F(ExampleClients, TheOverlayClientNotifiesWithoutARegistration) {
    start_switch();
    expect_done(example("overlay_client"));
    const json shown = json::parse(vellsim({"show", "overlay", "--json"}).out);
    EXPECT_EQ(shown["feature"], "disabled");
    EXPECT_EQ(shown["vlans_disabled"], json::array({10, 20}));
    ASSERT_EQ(shown["overlay"].size(), 1u);
    EXPECT_EQ(shown["overlay"][0]["type"], 7);
    EXPECT_EQ(shown["overlay"][0]["body"], "010101ef92130000");
}

TEST_F(ExampleClients, TheOverlayClientWithoutASwitchSaysWhatToDo) {
    const auto run = example("overlay_client");
    EXPECT_EQ(run.exit_code, 1);
    EXPECT_THAT(run.err, HasSubstr("overlay_client: the route could not be sent; is the simulator "
                                   "running (vellsim run)?\n"));
}

class RegisteringExample : public ExampleClients, public testing::WithParamInterface<const char *> {
protected:
    static void expect_failed(const std::string &why) {
        const auto run = example(GetParam());
        EXPECT_EQ(run.exit_code, 1);
        EXPECT_EQ(run.out, "");
        EXPECT_THAT(run.err, AllOf(HasSubstr(std::string(GetParam()) + ": "), HasSubstr(why)));
    }
};

TEST_P(RegisteringExample, WithoutASwitchSaysWhatToDo) {
    expect_failed("is the simulator running (vellsim run)?");
}

TEST_P(RegisteringExample, SaysThatTheRegistrationWasRefused) {
    start_switch({"--reject-registration"});
    expect_failed("vellsim show log says why");
}

TEST_P(RegisteringExample, DoesNotTakeAnotherMessageForTheAnswer) {
    start_switch({"--ack", "foreign"});
    expect_failed("vellsim show log says why");
}

INSTANTIATE_TEST_SUITE_P(Clients, RegisteringExample,
                         testing::Values("first_client", "route_client", "stats_client",
                                         "snooping_client", "flood_client", "ltl_client"),
                         [](const auto &client) { return std::string(client.param); });

} // namespace
