// Recorded tables, fed with vellfeed: what the switch holds afterwards is what the kernel printed,
// route by route.
#include "tests/e2e/end_to_end.h"
#include "tests/e2e/recorded.h"

#include <algorithm>
#include <cstdio>
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace {

using nlohmann::json;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

// A route in terms of the recording, whichever side it comes from.
struct plain_route {
    int table = 253;
    std::string source;
    std::string group;
    std::string rpf_interface;
    std::vector<std::string> outgoing;
    std::set<std::string> flags;

    auto operator<=>(const plain_route &) const = default;
    friend void PrintTo(const plain_route &route, std::ostream *out) {
        *out << "table " << route.table << ": (" << route.source << ", " << route.group << ") from "
             << route.rpf_interface << " to " << testing::PrintToString(route.outgoing) << " with "
             << testing::PrintToString(route.flags);
    }
};

// An address of 0 is any address.
std::string prefix(const std::string &address) {
    return address + (address == "0.0.0.0" ? "/0" : "/32");
}

// The routes of "ip -j mroute show". What has no incoming interface yet is not one: the kernel
// still asks its daemon. What has lost it is not one any more.
std::vector<plain_route> recorded(const json &table, const json &links) {
    std::set<std::string> present;
    for (const auto &link : links) {
        present.insert(link["ifname"]);
    }
    std::vector<plain_route> routes;
    for (const auto &entry : table) {
        if (!present.contains(entry["iif"])) {
            continue;
        }
        const std::string number = entry.value("table", "default");
        plain_route route = {number == "default" ? 253 : std::stoi(number),
                             prefix(entry["src"]),
                             prefix(entry["dst"]),
                             entry["iif"],
                             {},
                             {}};
        for (const auto &hop : entry["multipath"]) {
            route.outgoing.push_back(hop["oif"]);
        }
        if (route.outgoing.empty()) {
            route.flags.insert("drop_route");
        }
        if (route.group.starts_with("224.0.0.")) {
            route.flags.insert("local_group");
        }
        if (route.source == "0.0.0.0/0") {
            route.flags.insert("wildcard_route");
        }
        routes.push_back(route);
    }
    std::sort(routes.begin(), routes.end());
    return routes;
}

std::vector<plain_route> held(const json &routes, const json &links) {
    std::map<int, std::string> names;
    for (const auto &link : links) {
        names[link["ifindex"]] = link["ifname"];
    }
    const auto prefix_of = [](const json &entry, const std::string &key) {
        return entry[key].get<std::string>() + "/" + entry[key + "_len"].dump();
    };
    std::vector<plain_route> plain;
    for (const auto &entry : routes) {
        plain_route route = {entry["table"],
                             prefix_of(entry, "source"),
                             prefix_of(entry, "group"),
                             names[entry["rpf_if"]],
                             {},
                             entry["flags"]};
        // The recording says nothing of the download.
        EXPECT_EQ(route.flags.erase("download"), 1u);
        route.flags.erase("download_done");
        for (const auto &oif : entry["oifs"]) {
            route.outgoing.push_back(names[oif["if_index"]]);
        }
        plain.push_back(route);
    }
    std::sort(plain.begin(), plain.end());
    return plain;
}

class Feed : public end_to_end, public testing::WithParamInterface<recording> {
protected:
    std::string table() const { return sample(GetParam().name + "/routes.json"); }
    std::string links() const { return sample(GetParam().name + "/links.json"); }
    json table_json() const { return sample_json(GetParam().name + "/routes.json"); }
    json links_json() const { return sample_json(GetParam().name + "/links.json"); }
    std::vector<plain_route> expected() const { return recorded(table_json(), links_json()); }
    std::vector<plain_route> held_now() const { return held(show("routes"), links_json()); }
};

TEST_P(Feed, EveryRouteArrivesAsRecorded) {
    start_switch();
    const auto fed = vellfeed({"routes", table(), "--links", links()});
    ASSERT_EQ(fed.exit_code, 0) << fed.err;
    EXPECT_EQ(fed.out, GetParam().said);
    EXPECT_EQ(held_now(), expected());
}

TEST_P(Feed, SeveralHundredRoutesGoInAFewMessages) {
    start_switch();
    ASSERT_EQ(vellfeed({"routes", table(), "--links", links()}).exit_code, 0);
    const json client = show("clients").at(0);
    EXPECT_EQ(client["route_records"], expected().size());
    // Registration and deregistration are messages too.
    EXPECT_LE(client["messages"].get<int>(), 2 + 3);
    EXPECT_EQ(client["refused"], 0);
    EXPECT_EQ(client["state"], "deregistered");
}

TEST_P(Feed, ManySmallMessagesSayTheSame) {
    start_switch();
    ASSERT_EQ(vellfeed({"routes", table(), "--links", links(), "--message-bytes", "200"}).exit_code,
              0);
    EXPECT_EQ(held_now(), expected());
    EXPECT_GT(show("clients").at(0)["messages"].get<std::size_t>(), 2 + expected().size() / 4);
}

TEST_P(Feed, FeedingTwiceHoldsEveryRouteOnce) {
    start_switch();
    for (int round = 0; round < 2; ++round) {
        ASSERT_EQ(vellfeed({"routes", table(), "--links", links()}).exit_code, 0);
    }
    EXPECT_EQ(held_now(), expected());
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
    EXPECT_EQ(held_now(), expected());
}

TEST_P(Feed, CompareAgreesAndNamesWhatIsMissing) {
    start_switch();
    ASSERT_EQ(vellfeed({"routes", table(), "--links", links()}).exit_code, 0);
    auto shown = vellsim({"show", "routes", "--json"});
    const auto compare = [this](const std::string &held) {
        return vellfeed({"compare", table(), "--links", links(), "--held", "-"}, held);
    };
    const auto agreed = compare(shown.out);
    EXPECT_EQ(agreed.exit_code, 0);
    EXPECT_EQ(agreed.out, fmt::format("all {} fed routes arrived\n", expected().size()));

    json fewer = json::parse(shown.out);
    const json lost = fewer["routes"].at(2);
    fewer["routes"].erase(2);
    fewer["matched"] = fewer["routes"].size();
    const auto missing = compare(fewer.dump());
    EXPECT_EQ(missing.exit_code, 1);
    EXPECT_THAT(missing.out,
                StartsWith(fmt::format("({}, {}) in table {}: missing: fed from entry ",
                                       lost["source"].get<std::string>(),
                                       lost["group"].get<std::string>(), lost["table"].dump())));
    EXPECT_THAT(missing.out, HasSubstr(fmt::format("of {} fed routes {} arrived, 0 differ, 1 ",
                                                   expected().size(), expected().size() - 1)));
}

TEST_P(Feed, ATableThatCannotBeWrittenIsAnError) {
    start_switch();
    ASSERT_EQ(vellfeed({"routes", table(), "--links", links()}).exit_code, 0);
    const auto lost = run_program({"/bin/sh", "-c", VELLSIM_PATH " show routes --json >/dev/full"});
    EXPECT_EQ(lost.exit_code, 1);
    EXPECT_EQ(lost.err, "vellsim: the output cannot be written: No space left on device\n");
}

INSTANTIATE_TEST_SUITE_P(
    RecordedTables, Feed,
    testing::Values(
        recording{
            "campus",
            "vellfeed: 8 outgoing interfaces with a TTL threshold above 1: a route record has "
            "no place for it\n"
            "vellfeed: sent 29 routes in 1 message, 3 unresolved skipped, 1 skipped whose "
            "incoming interface is gone\n"},
        recording{"metro", "vellfeed: sent 1200 routes in 3 messages\n"},
        recording{"tables",
                  "vellfeed: 1 outgoing interface with a TTL threshold above 1: a route record has "
                  "no place for it\n"
                  "vellfeed: sent 6 routes in 1 message\n"}),
    [](const auto &table) { return table.param.name; });

class FeedRefusals : public end_to_end {
protected:
    static command_result feed(const std::string &table, std::vector<std::string> options = {}) {
        options.insert(options.begin(), {"routes", sample(table + "/routes.json"), "--links",
                                         sample(table + "/links.json")});
        const auto refused = vellfeed(options);
        EXPECT_EQ(refused.exit_code, 1);
        return refused;
    }
};

TEST_F(FeedRefusals, InputThatIsNotATableSendsNothing) {
    start_switch();
    const std::string good =
        R"({"src":"10.0.0.9","dst":"239.1.1.1","iif":"if4","multipath":[],"state":"resolved"})";
    const struct {
        std::string input;
        std::string error;
    } rows[] = {
        {"", ": is empty, not even an empty JSON value; did `ip -j mroute show` fail?"},
        {"not a table", ":1:2: syntax error while parsing value - invalid literal; last read: "
                        "'no'; is this the output of `ip -j mroute show`?"},
        {"{}", ": expected an array of multicast routes, the output of `ip -j mroute show`, found "
               "an object"},
        {"[1]", ": entry 1 of 1 (/0): expected a multicast route, an object, found the number 1"},
        {"[" + good + ",{}]", ": entry 2 of 2 (/1): expected a member \"src\" (the source, an IPv4 "
                              "address), found an empty object"},
        {"[" + good, ":1:83: syntax error while parsing array - unexpected end of input; expected "
                     "']'"}};
    for (const auto &row : rows) {
        const auto refused = vellfeed({"routes", "-"}, row.input);
        EXPECT_EQ(refused.exit_code, 1) << row.input;
        EXPECT_EQ(refused.err, "vellfeed: standard input" + row.error + "\n");
    }
    EXPECT_EQ(show("routes").size(), 0u);
    EXPECT_EQ(show("clients").size(), 0u) << "not even a registration was sent";
}

TEST_F(FeedRefusals, WithoutASwitchTheErrorSaysHowToStartOne) {
    EXPECT_THAT(feed("campus").err,
                EndsWith(fmt::format("vellfeed: no switch answers in {}; start one with `vellsim "
                                     "run`, or point VELLSIM_RUN_DIR at its run directory\n",
                                     run_dir)));
}

TEST_F(FeedRefusals, ARejectedRegistrationIsAnError) {
    start_switch({"--reject-registration"});
    EXPECT_EQ(feed("campus").err,
              "vellfeed: the switch refused the registration; `vellsim show log` says why\n");
    EXPECT_EQ(show("routes").size(), 0u);
}

TEST_F(FeedRefusals, ASwitchThatNeverAnswersIsAnErrorInTime) {
    start_switch({"--ack", "never"});
    EXPECT_EQ(feed("campus", {"--timeout", "100"}).err,
              "vellfeed: the switch did not acknowledge the registration within 100 ms; if it is "
              "only slow, wait longer with --timeout\n");
}

TEST_F(FeedRefusals, ASwitchThatDiesInMidFeedIsAnErrorThatSaysHowFarItGot) {
    start_switch({"--die-after", "4"});
    const auto cut = feed("metro", {"--message-bytes", "200"});
    int failed = 0;
    int messages = 0;
    int routes = 0;
    const std::size_t at = cut.err.find("vellfeed: message ");
    ASSERT_NE(at, std::string::npos) << cut.err;
    ASSERT_EQ(std::sscanf(cut.err.c_str() + at,
                          "vellfeed: message %d could not be sent: the switch went away; %d of "
                          "1200 routes in %d messages went out before\n",
                          &failed, &routes, &messages),
              3)
        << cut.err;
    EXPECT_GE(messages, 3) << "the registration was the first request";
    EXPECT_EQ(failed, messages + 1);
    EXPECT_GE(routes, messages);
    EXPECT_EQ(the_switch().wait(), 3);
}

} // namespace
