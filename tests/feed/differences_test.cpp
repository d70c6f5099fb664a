#include "feed/command_line.h"
#include "feed/differences.h"

#include <gtest/gtest.h>
#include <sstream>

namespace feed {
namespace {

constexpr std::uint32_t eth1_1 = 0x68010100;
constexpr std::uint32_t eth1_2 = 0x68010200;
constexpr std::uint32_t vlan10 = 0x1400000a;

const route_key key = {253, 0x0a000009, 32, 0xef010102, 32};
const route_key other_key = {253, 0, 0, 0xef010103, 32};
constexpr char name[] = "(10.0.0.9, 239.1.1.2) in table 253: ";

route usual_route() {
    return {eth1_1, route_flag_local_group, {eth1_1, eth1_2}, ""};
}

std::string printed(const state &installed, const state &wanted,
                    const table_choice &only = {.routes = true},
                    sim::output_form form = sim::output_form::text) {
    std::ostringstream out;
    print_differences(installed, wanted, only, form, out);
    return out.str();
}

// The lines for an installed route that `change` has made different from the wanted one.
template <typename Change>
std::string difference(Change &&change) {
    state wanted;
    wanted.routes[key] = usual_route();
    state installed = wanted;
    change(installed.routes[key]);
    return printed(installed, wanted);
}

const std::string one_differs = "routes: 0 of 1 are installed, 1 differs\n";

TEST(PrintDifferences, HasALineForEachFieldOfARoute) {
    EXPECT_EQ(difference([](route &row) { row.rpf_if = eth1_2; }),
              name + ("rpf_if: installed Eth1/2, wanted Eth1/1\n" + one_differs));
    EXPECT_EQ(difference([](route &row) { row.oifs = {eth1_1}; }),
              name + ("oifs: installed Eth1/1, wanted Eth1/1 Eth1/2\n" + one_differs));
    EXPECT_EQ(difference([](route &row) { row.oifs = {}; }),
              name + ("oifs: installed none, wanted Eth1/1 Eth1/2\n" + one_differs));
    EXPECT_EQ(difference([](route &row) { std::swap(row.oifs[0], row.oifs[1]); }),
              name + ("oifs: installed Eth1/2 Eth1/1, wanted Eth1/1 Eth1/2\n" + one_differs));
    EXPECT_EQ(difference([](route &row) { row.other = "df_ordinal 2"; }),
              name + ("other: installed df_ordinal 2, wanted none\n" + one_differs));
    EXPECT_EQ(difference([](route &row) {
                  row.rpf_if = 7;
                  row.flags = 0;
              }),
              name + std::string("rpf_if: installed 0x00000007, wanted Eth1/1\n") + name +
                  "flags: installed none, wanted local_group\n" + one_differs);
}

TEST(PrintDifferences, NamesEveryFlagThatIsSentAndShowsTheOthersAsAWord) {
    EXPECT_EQ(difference([](route &row) { row.flags = 0x80c; }),
              name + ("flags: installed drop_route local_group wildcard_route, wanted "
                      "local_group\n" +
                      one_differs));
    EXPECT_EQ(difference([](route &row) { row.flags = 0x8000000000000009; }),
              name + ("flags: installed local_group 0x8000000000000001, wanted local_group\n" +
                      one_differs));
}

TEST(PrintDifferences, HasALineForWhatIsMissingAndWhatIsUnexpected) {
    state wanted;
    wanted.routes[key] = usual_route();
    state installed;
    installed.routes[other_key] = usual_route();
    EXPECT_EQ(printed(installed, wanted),
              "(*, 239.1.1.3) in table 253: unexpected\n"
              "(10.0.0.9, 239.1.1.2) in table 253: missing\n"
              "routes: 0 of 1 are installed, 1 is missing; 1 unexpected\n");
}

TEST(PrintDifferences, CountsRowsInTheClosingLine) {
    const auto closing_line = [](int same, int differing, int missing, int unexpected) {
        state wanted;
        state installed;
        std::uint32_t source = 0;
        const auto add = [&source](state &to, int rows, std::uint32_t rpf_if, state *also) {
            for (int i = 0; i < rows; ++i) {
                to.routes[{253, ++source, 32, 0xef010102, 32}] = {rpf_if, 0, {}, ""};
                if (also != nullptr) {
                    also->routes[{253, source, 32, 0xef010102, 32}] = {eth1_1, 0, {}, ""};
                }
            }
        };
        add(wanted, same, eth1_1, &installed);
        add(wanted, differing, eth1_2, &installed);
        add(wanted, missing, eth1_1, nullptr);
        add(installed, unexpected, eth1_1, nullptr);
        std::ostringstream out;
        const difference_counts counts =
            print_differences(installed, wanted, {.routes = true}, sim::output_form::text, out);
        EXPECT_EQ(counts.wanted, static_cast<std::size_t>(same + differing + missing));
        EXPECT_EQ(counts.differing, static_cast<std::size_t>(differing));
        EXPECT_EQ(counts.missing, static_cast<std::size_t>(missing));
        EXPECT_EQ(counts.unexpected, static_cast<std::size_t>(unexpected));
        EXPECT_EQ(counts.equal(), differing + missing + unexpected == 0);
        const std::string text = out.str();
        return text.substr(text.rfind('\n', text.size() - 2) + 1);
    };
    EXPECT_EQ(closing_line(29, 0, 0, 0), "routes: all 29 are installed\n");
    EXPECT_EQ(closing_line(29, 0, 0, 3), "routes: all 29 are installed; 3 unexpected\n");
    EXPECT_EQ(closing_line(27, 1, 1, 2),
              "routes: 27 of 29 are installed, 1 differs, 1 is missing; 2 unexpected\n");
    EXPECT_EQ(closing_line(1, 2, 3, 0), "routes: 1 of 6 is installed, 2 differ, 3 are missing\n");
    EXPECT_EQ(closing_line(1, 0, 0, 0), "routes: 1 of 1 is installed\n");
    EXPECT_EQ(closing_line(0, 0, 0, 0), "routes: none wanted, none installed\n");
    EXPECT_EQ(closing_line(0, 0, 0, 1), "routes: none wanted; 1 unexpected\n");
}

state other_tables() {
    state made;
    made.floods[{10}] = {{eth1_1, eth1_2}, 0x80000002};
    made.groups[{10, *sim::parse_l2_address("239.1.1.2"), sim::parse_l2_address("10.0.0.9")}] = {
        vlan10, true, {{vlan10, 4}, {eth1_1, 0}}};
    made.ltls[{10, 7}] = {{eth1_1}, 0x4000};
    return made;
}

TEST(PrintDifferences, CoversEveryTableThatIsChosen) {
    const state wanted = other_tables();
    state installed = other_tables();
    installed.floods.begin()->second = {{eth1_1}, 1};
    installed.groups.begin()->second = {eth1_1, false, {{eth1_1, 1}}};
    installed.ltls.begin()->second = {{}, 0x4001};
    const std::string floods = "VLAN 10: line_cards: installed 0, wanted 1 31\n"
                               "VLAN 10: interfaces: installed Eth1/1, wanted Eth1/1 Eth1/2\n"
                               "flood sets: 0 of 1 are installed, 1 differs\n";
    const std::string groups =
        "(10.0.0.9, 239.1.1.2) in VLAN 10: bridge: installed Eth1/1, wanted Vlan10\n"
        "(10.0.0.9, 239.1.1.2) in VLAN 10: state: installed learned, wanted permanent\n"
        "(10.0.0.9, 239.1.1.2) in VLAN 10: ports: installed Eth1/1 (flags 0x1), wanted Vlan10 "
        "(svi) Eth1/1\n"
        "groups: 0 of 1 are installed, 1 differs\n";
    const std::string ltls = "LTL of VLAN 10 with tag 0x7: interfaces: installed none, wanted "
                             "Eth1/1\n"
                             "LTLs: 0 of 1 are installed, 1 differs\n";
    EXPECT_EQ(printed(installed, wanted, all_tables),
              floods + groups + ltls + "routes: none wanted, none installed\n");
    EXPECT_EQ(printed(installed, wanted, {.groups = true}), groups);
    EXPECT_EQ(printed(installed, wanted, {.floods = true, .ltls = true}), floods + ltls);
}

// An index is what the manager answered, and says nothing about whether the LTL is right.
TEST(PrintDifferences, AnLtlWithAnotherIndexIsTheSame) {
    state installed = other_tables();
    installed.ltls.begin()->second.index = 0x4321;
    EXPECT_EQ(printed(installed, other_tables(), {.ltls = true}), "LTLs: 1 of 1 is installed\n");
}

TEST(PrintDifferences, HasTheSameInJson) {
    state wanted = other_tables();
    wanted.routes[key] = usual_route();
    state installed = other_tables();
    installed.routes[key] = {eth1_1, route_flag_local_group, {eth1_1}, "1 MTI"};
    installed.routes[other_key] = usual_route();
    installed.floods.clear();
    installed.groups.begin()->second.permanent = false;
    installed.ltls[{10, 8}] = {};
    installed.groups[{11, *sim::parse_l2_address("ff0e::1"), {}}] = {};
    EXPECT_EQ(printed(installed, wanted, all_tables, sim::output_form::json),
              R"({"floods":[{"vlan":10,"difference":"missing"}],)"
              R"("groups":[{"vlan":10,"group":"239.1.1.2","source":"10.0.0.9",)"
              R"("difference":"differs","fields":{"state":{"installed":"learned",)"
              R"("wanted":"permanent"}}},)"
              "\n"
              R"({"vlan":11,"group":"ff0e::1","source":null,"difference":"unexpected"}],)"
              R"("ltls":[{"vlan":10,"tag":8,"difference":"unexpected"}],)"
              R"("routes":[{"table":253,"source":"0.0.0.0","source_len":0,"group":"239.1.1.3",)"
              R"("group_len":32,"difference":"unexpected"},)"
              "\n"
              R"({"table":253,"source":"10.0.0.9","source_len":32,"group":"239.1.1.2",)"
              R"("group_len":32,"difference":"differs","fields":{"oifs":{"installed":["Eth1/1"],)"
              R"("wanted":["Eth1/1","Eth1/2"]},"other":{"installed":"1 MTI","wanted":""}}}],)"
              R"("counts":{"floods":{"wanted":1,"missing":1,"unexpected":0,"differing":0},)"
              R"("groups":{"wanted":1,"missing":0,"unexpected":1,"differing":1},)"
              R"("ltls":{"wanted":1,"missing":0,"unexpected":1,"differing":0},)"
              R"("routes":{"wanted":1,"missing":0,"unexpected":1,"differing":1}}})"
              "\n");
    EXPECT_EQ(printed({}, {}, {.ltls = true}, sim::output_form::json),
              R"({"ltls":[],"counts":{"ltls":{"wanted":0,"missing":0,"unexpected":0,)"
              R"("differing":0}}})"
              "\n");
}

} // namespace
} // namespace feed
