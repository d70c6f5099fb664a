// Every recorded snapshot, sent with vellfeed: what the switch has afterwards is what the kernel printed,
// row by row.
#include "tests/e2e/end_to_end.h"

#include <map>
#include <sstream>

namespace {

using nlohmann::json;

struct sent_sample {
    std::string name;
    std::string sent;               // what vellfeed says of it
    std::vector<std::string> notes; // what the switch has no place for
    std::string compared;           // when all of it is installed

    friend void PrintTo(const sent_sample &one, std::ostream *out) { *out << one.name; }
};

// In the order of vellfeed's output.
const std::string tables_in_order[] = {"floods", "groups", "ltls", "routes"};

std::map<std::string, std::size_t> sizes(const plain_tables &tables) {
    return {{"floods", tables.floods.size()},
            {"groups", tables.groups.size()},
            {"ltls", tables.ltls.size()},
            {"routes", tables.routes.size()}};
}

class SentSample : public end_to_end, public testing::WithParamInterface<sent_sample> {
protected:
    const std::string directory_of_it = sample(GetParam().name);
    const plain_tables expected = recorded(GetParam().name);

    std::string line(const std::string &what) const { return directory_of_it + ": " + what + "\n"; }
    std::string notes() const {
        std::string text;
        for (const std::string &note : GetParam().notes) {
            text += "vellfeed: " + directory_of_it + ": left out " + note + "\n";
        }
        return text;
    }
};

TEST_P(SentSample, ArrivesAsItWasRecorded) {
    start_switch();
    const command_result result = vellfeed({"send", directory_of_it});
    EXPECT_EQ(result.exit_code, 0);
    EXPECT_EQ(result.err, notes());
    EXPECT_EQ(result.out, line(GetParam().sent));
    EXPECT_EQ(installed(), expected);
    EXPECT_NE(expected, plain_tables());
    const json clients = show("clients");
    ASSERT_EQ(clients.size(), 1u);
    EXPECT_EQ(clients[0]["state"], "deregistered");
    EXPECT_EQ(clients[0]["uuid"], 500);
    EXPECT_EQ(clients[0]["refused"], 0);
    EXPECT_EQ(clients[0]["route_records"], expected.routes.size());
}

// Twelve hundred routes or four hundred groups go out in a few messages.
TEST_P(SentSample, GoesOutInFewMessages) {
    start_switch();
    fed({"send", directory_of_it});
    const json requests = show("clients").at(0)["requests"];
    EXPECT_GE(requests.size(), 3u);
    for (const json &request : requests) {
        if (request["request"] == "route update" || request["request"] == "layer-2 update") {
            EXPECT_LE(request["messages"].get<std::size_t>(),
                      1 + request["records"].get<std::size_t>() / 200)
                << request;
        }
    }
    const json batches = show("l2")["batches"];
    EXPECT_EQ(batches.size(), expected.groups.empty() ? 0u : 1u);
    for (const json &batch : batches) {
        EXPECT_EQ(batch["records"], expected.groups.size());
        EXPECT_FALSE(batch["ended"].is_null());
    }
}

TEST_P(SentSample, IsInstalledForCompareAndRepair) {
    start_switch();
    fed({"send", directory_of_it});
    const command_result compared = vellfeed({"compare", directory_of_it});
    EXPECT_EQ(compared.exit_code, 0);
    EXPECT_EQ(compared.out, GetParam().compared);
    EXPECT_EQ(compared.err, notes());
    EXPECT_EQ(fed({"repair", directory_of_it}), line("nothing to send"));
    EXPECT_EQ(installed(), expected);
}

TEST_P(SentSample, IsAsItWasWhenItIsSentAgain) {
    start_switch();
    fed({"send", directory_of_it});
    EXPECT_EQ(fed({"send", directory_of_it, "--from", directory_of_it}), line("nothing to send"));
    EXPECT_EQ(installed(), expected);
    // A manager that has a flood set does not take it for a first one.
    EXPECT_EQ(vellfeed({"send", directory_of_it}).exit_code, expected.floods.empty() ? 0 : 1);
    EXPECT_EQ(installed(), expected);
}

TEST_P(SentSample, IsRepairedOnASwitchThatHasNothing) {
    start_switch();
    const command_result compared = vellfeed({"compare", directory_of_it, "--json"});
    EXPECT_EQ(compared.exit_code, 1);
    const json difference = json::parse(compared.out);
    for (const auto &[table, rows] : sizes(expected)) {
        if (difference.contains(table)) {
            EXPECT_EQ(difference[table].size(), rows);
            EXPECT_EQ(
                difference["counts"][table],
                json({{"wanted", rows}, {"missing", rows}, {"unexpected", 0}, {"differing", 0}}));
        } else {
            EXPECT_EQ(rows, 0u) << table;
        }
    }
    EXPECT_EQ(fed({"repair", directory_of_it}), line(GetParam().sent));
    EXPECT_EQ(installed(), expected);
}

TEST_P(SentSample, LeavesNothingWhenItIsRemoved) {
    start_switch();
    fed({"send", directory_of_it});
    std::string said = GetParam().sent;
    for (std::size_t at = 0; (at = said.find("added", at)) != std::string::npos;) {
        said.replace(at, 5, "removed");
    }
    EXPECT_EQ(fed({"remove", directory_of_it}), line(said));
    EXPECT_EQ(installed(), plain_tables());
    EXPECT_EQ(show("clients").at(1)["refused"], 0);
    EXPECT_EQ(show("clients").at(1)["missed_deletes"], 0);
}

TEST_P(SentSample, IsOnlyPrintedInADryRun) {
    start_switch();
    const command_result dry = vellfeed({"send", directory_of_it, "--dry-run"});
    EXPECT_EQ(dry.exit_code, 0);
    std::size_t missing = 0;
    std::size_t counts = 0;
    std::istringstream lines(dry.out);
    for (std::string one; std::getline(lines, one);) {
        missing += one.ends_with(": missing") ? 1 : 0;
        counts += one.ends_with(" missing") && one.find(" installed, ") != one.npos ? 1 : 0;
    }
    std::size_t rows = 0;
    std::size_t with_rows = 0;
    for (const auto &[table, size] : sizes(expected)) {
        rows += size;
        with_rows += size > 0 ? 1 : 0;
    }
    EXPECT_EQ(missing, rows) << dry.out;
    EXPECT_EQ(counts, with_rows) << dry.out;
    EXPECT_EQ(show("clients").size(), 0u);
    EXPECT_EQ(installed(), plain_tables());
}

TEST_P(SentSample, IsSentInSilenceOrReportedAsJson) {
    start_switch();
    const command_result quiet = vellfeed({"send", directory_of_it, "--quiet"});
    EXPECT_EQ(quiet.exit_code, 0);
    EXPECT_EQ(quiet.out + quiet.err, "");
    EXPECT_EQ(installed(), expected);
    const json removed = json::parse(fed({"remove", directory_of_it, "--json"}));
    EXPECT_EQ(removed["snapshot"], directory_of_it);
    const json sent = json::parse(fed({"send", directory_of_it, "--json"}));
    for (const auto &[table, rows] : sizes(expected)) {
        EXPECT_EQ(removed[table],
                  json({{"added", 0}, {"changed", 0}, {"removed", rows}, {"refused", 0}}));
        EXPECT_EQ(sent[table],
                  json({{"added", rows}, {"changed", 0}, {"removed", 0}, {"refused", 0}}));
    }
}

TEST_P(SentSample, MayBeSentTableByTable) {
    start_switch();
    for (const std::string &table : tables_in_order) {
        EXPECT_EQ(vellfeed({"send", directory_of_it, "--only", table}).exit_code, 0);
        auto now = sizes(installed());
        EXPECT_EQ(now[table], sizes(expected)[table]);
    }
    EXPECT_EQ(installed(), expected);
}

const std::string ttl = "not carried by a route record";
const std::string routers = " router ports: not carried by a layer-2 entry";
const std::string blocked = ": blocked, or filtered by source";
const std::string stopped = " ports of groups or flood sets: not in forwarding state";
const std::string vlan_interfaces = "2 VLAN interfaces: a flood set has ports only";
const std::vector<std::string> day_notes = {"1 TTL threshold: " + ttl,
                                            "1 router port: not carried by a layer-2 entry"};

std::vector<std::string> with(std::vector<std::string> notes,
                              const std::vector<std::string> &more) {
    notes.insert(notes.end(), more.begin(), more.end());
    return notes;
}

INSTANTIATE_TEST_SUITE_P(
    OfAKernel, SentSample,
    testing::Values(
        sent_sample{"campus",
                    "routes 29 added",
                    {"3 unresolved routes: the routing daemon has not decided",
                     "1 route: the incoming interface is gone", "8 TTL thresholds: " + ttl},
                    "routes: all 29 are installed\n"},
        sent_sample{"metro", "routes 1200 added", {}, "routes: all 1200 are installed\n"},
        sent_sample{"tables",
                    "routes 6 added",
                    {"1 TTL threshold: " + ttl},
                    "routes: all 6 are installed\n"},
        sent_sample{"snooping-1",
                    "groups 34 added; ltls 32 added",
                    {"3" + routers, "4 members of groups" + blocked},
                    "groups: all 34 are installed\nLTLs: all 32 are installed\n"},
        sent_sample{"snooping-2",
                    "groups 30 added; ltls 28 added",
                    {"3" + routers, "3 members of groups" + blocked},
                    "groups: all 30 are installed\nLTLs: all 28 are installed\n"},
        sent_sample{"stadium",
                    "groups 400 added; ltls 400 added",
                    {},
                    "groups: all 400 are installed\nLTLs: all 400 are installed\n"},
        sent_sample{
            "flood-1", "floods 7 added", {vlan_interfaces}, "flood sets: all 7 are installed\n"},
        sent_sample{
            "flood-2", "floods 6 added", {vlan_interfaces}, "flood sets: all 6 are installed\n"},
        sent_sample{"day/1", "floods 2 added; groups 12 added; ltls 10 added; routes 8 added",
                    with(day_notes, {"1 member of a group" + blocked, "4" + stopped}),
                    "flood sets: all 2 are installed\ngroups: all 12 are installed\n"
                    "LTLs: all 10 are installed\nroutes: all 8 are installed\n"},
        sent_sample{"day/2", "floods 3 added; groups 12 added; ltls 11 added; routes 9 added",
                    with(day_notes, {"1 member of a group" + blocked, "2" + stopped}),
                    "flood sets: all 3 are installed\ngroups: all 12 are installed\n"
                    "LTLs: all 11 are installed\nroutes: all 9 are installed\n"},
        sent_sample{"day/3", "floods 2 added; groups 8 added; ltls 8 added; routes 2 added",
                    with(day_notes, {"3" + stopped}),
                    "flood sets: all 2 are installed\ngroups: all 8 are installed\n"
                    "LTLs: all 8 are installed\nroutes: all 2 are installed\n"}),
    [](const auto &one) {
        std::string name = one.param.name;
        std::erase_if(name, [](char letter) { return letter == '-' || letter == '/'; });
        return name;
    });

} // namespace
