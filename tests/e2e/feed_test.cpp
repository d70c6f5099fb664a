// Recorded tables, fed with vellfeed: what the switch holds afterwards is what the kernel printed,
// route by route.
#include "tests/e2e/end_to_end.h"

#include <map>
#include <string>
#include <tuple>
#include <vector>

namespace {

using nlohmann::json;

// A route in terms of the recording, whichever side it comes from.
struct plain_route {
    std::string source;
    std::string group;
    std::string rpf_interface;
    std::vector<std::string> outgoing;

    auto operator<=>(const plain_route &) const = default;
    friend void PrintTo(const plain_route &route, std::ostream *out) {
        *out << "(" << route.source << ", " << route.group << ") from " << route.rpf_interface
             << " to";
        for (const auto &name : route.outgoing)
            *out << " " << name;
    }
};

// The routes of "ip -j mroute show". What has no incoming interface yet is not one: the kernel
// still asks its daemon.
std::vector<plain_route> recorded(const json &table) {
    std::vector<plain_route> routes;
    for (const auto &entry : table) {
        if (entry["iif"] == "unresolved")
            continue;
        plain_route route = {entry["src"], entry["dst"], entry["iif"], {}};
        for (const auto &hop : entry["multipath"])
            route.outgoing.push_back(hop["oif"]);
        routes.push_back(route);
    }
    std::sort(routes.begin(), routes.end());
    return routes;
}

std::vector<plain_route> held(const json &routes, const json &links) {
    std::map<int, std::string> names;
    for (const auto &link : links)
        names[link["ifindex"]] = link["ifname"];
    std::vector<plain_route> plain;
    for (const auto &entry : routes) {
        plain_route route = {entry["source"], entry["group"], names[entry["rpf_if"]], {}};
        for (const auto &oif : entry["oifs"])
            route.outgoing.push_back(names[oif["if_index"]]);
        plain.push_back(route);
    }
    std::sort(plain.begin(), plain.end());
    return plain;
}

class Feed : public end_to_end, public testing::WithParamInterface<std::string> {
protected:
    std::string table() const { return sample(GetParam() + ".mroute.json"); }
    std::string links() const { return sample(GetParam() + ".links.json"); }
    json table_json() const { return sample_json(GetParam() + ".mroute.json"); }
    json links_json() const { return sample_json(GetParam() + ".links.json"); }
};

TEST_P(Feed, EveryRouteArrivesAsRecorded) {
    start_switch();
    const auto fed = vellfeed({"routes", table(), "--links", links()});
    ASSERT_EQ(fed.exit_code, 0) << fed.err;

    const auto expected = recorded(table_json());
    ASSERT_GE(expected.size(), 24u);
    EXPECT_EQ(held(show("routes"), links_json()), expected);
}

TEST_P(Feed, SeveralHundredRoutesGoInAFewMessages) {
    start_switch();
    ASSERT_EQ(vellfeed({"routes", table(), "--links", links()}).exit_code, 0);
    const json client = show("clients").at(0);
    EXPECT_EQ(client["route_records"], recorded(table_json()).size());
    // Registration and deregistration are messages too.
    EXPECT_LE(client["messages"].get<int>(), 2 + 3);
    EXPECT_EQ(client["refused"], 0);
    EXPECT_EQ(client["state"], "deregistered");
}

TEST_P(Feed, ManySmallMessagesSayTheSame) {
    start_switch();
    ASSERT_EQ(vellfeed({"routes", table(), "--links", links(), "--message-bytes", "200"}).exit_code,
              0);
    EXPECT_EQ(held(show("routes"), links_json()), recorded(table_json()));
    EXPECT_GT(show("clients").at(0)["messages"].get<int>(), 10);
}

TEST_P(Feed, FeedingTwiceHoldsEveryRouteOnce) {
    start_switch();
    for (int round = 0; round < 2; ++round)
        ASSERT_EQ(vellfeed({"routes", table(), "--links", links()}).exit_code, 0);
    EXPECT_EQ(held(show("routes"), links_json()), recorded(table_json()));
}

TEST_P(Feed, DeletingWhatWasFedLeavesNothing) {
    start_switch();
    ASSERT_EQ(vellfeed({"routes", table(), "--links", links()}).exit_code, 0);
    ASSERT_EQ(vellfeed({"routes", table(), "--links", links(), "--delete"}).exit_code, 0);
    EXPECT_EQ(show("routes").size(), 0u);
}

TEST_P(Feed, AFeedFromStandardInputIsTheSame) {
    start_switch();
    const std::string text = table_json().dump();
    ASSERT_EQ(vellfeed({"routes", "-", "--links", links()}, text).exit_code, 0);
    EXPECT_EQ(held(show("routes"), links_json()), recorded(table_json()));
}

TEST_P(Feed, CompareAgreesAndNamesWhatIsMissing) {
    start_switch();
    ASSERT_EQ(vellfeed({"routes", table(), "--links", links()}).exit_code, 0);
    auto shown = vellsim({"show", "routes", "--json"});
    const auto agreed =
        vellfeed({"compare", table(), "--links", links(), "--held", "-"}, shown.out);
    EXPECT_EQ(agreed.exit_code, 0) << agreed.out << agreed.err;

    json fewer = json::parse(shown.out);
    const std::string group = fewer["routes"].at(3)["group"];
    fewer["routes"].erase(3);
    const auto missing =
        vellfeed({"compare", table(), "--links", links(), "--held", "-"}, fewer.dump());
    EXPECT_EQ(missing.exit_code, 1);
    EXPECT_NE((missing.out + missing.err).find(group), std::string::npos)
        << missing.out << missing.err;
}

TEST_P(Feed, ATableThatCannotBeWrittenIsAnError) {
    start_switch();
    ASSERT_EQ(vellfeed({"routes", table(), "--links", links()}).exit_code, 0);
    const auto lost = run_program(
        {"/bin/sh", "-c", std::string(VELLSIM_PATH) + " show routes --json >/dev/full"});
    EXPECT_EQ(lost.exit_code, 1);
    EXPECT_NE(lost.err.find("cannot be written"), std::string::npos) << lost.err;
}

INSTANTIATE_TEST_SUITE_P(RecordedTables, Feed, testing::Values("campus", "metro"),
                         [](const auto &table) { return table.param; });

class FeedRefusals : public end_to_end {};

TEST_F(FeedRefusals, InputThatIsNoTableSendsNothing) {
    start_switch();
    const std::string good =
        R"({"src":"10.0.0.9","dst":"239.1.1.1","iif":"if4","multipath":[],"state":"resolved"})";
    const std::vector<std::string> inputs = {"",    "not a table",       "{}",
                                             "[1]", "[" + good + ",{}]", "[" + good};
    for (const auto &input : inputs) {
        const auto refused = vellfeed({"routes", "-"}, input);
        EXPECT_EQ(refused.exit_code, 1) << input;
        EXPECT_FALSE(refused.err.empty()) << input;
    }
    EXPECT_EQ(show("routes").size(), 0u);
    EXPECT_EQ(show("clients").size(), 0u) << "not even a registration was sent";
}

TEST_F(FeedRefusals, WithoutASwitchTheErrorSaysHowToStartOne) {
    const auto alone =
        vellfeed({"routes", sample("campus.mroute.json"), "--links", sample("campus.links.json")});
    EXPECT_EQ(alone.exit_code, 1);
    EXPECT_NE(alone.err.find("vellsim run"), std::string::npos) << alone.err;
}

TEST_F(FeedRefusals, ARejectedRegistrationIsAnError) {
    start_switch({"--reject-registration"});
    const auto rejected =
        vellfeed({"routes", sample("campus.mroute.json"), "--links", sample("campus.links.json")});
    EXPECT_EQ(rejected.exit_code, 1);
    EXPECT_FALSE(rejected.err.empty());
    EXPECT_EQ(show("routes").size(), 0u);
}

TEST_F(FeedRefusals, ASwitchThatNeverAnswersIsAnErrorInTime) {
    start_switch({"--ack", "never"});
    const auto unanswered = vellfeed({"routes", sample("campus.mroute.json"), "--links",
                                      sample("campus.links.json"), "--timeout", "100"});
    EXPECT_EQ(unanswered.exit_code, 1);
    EXPECT_FALSE(unanswered.err.empty());
}

TEST_F(FeedRefusals, ASwitchThatDiesInMidFeedIsAnErrorThatSaysHowFarItGot) {
    start_switch({"--die-after", "4"});
    const auto cut = vellfeed({"routes", sample("metro.mroute.json"), "--links",
                               sample("metro.links.json"), "--message-bytes", "200"});
    EXPECT_EQ(cut.exit_code, 1);
    EXPECT_NE(cut.err.find("sent"), std::string::npos) << cut.err;
    EXPECT_EQ(the_switch().wait(), 3);
}

} // namespace
