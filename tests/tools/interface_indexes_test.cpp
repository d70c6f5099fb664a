#include "interface_indexes.h"
#include "tests/tools/error_of.h"
#include "tests/tools/mdb_text.h"
#include "tests/tools/table_text.h"

#include <gtest/gtest.h>
#include <sstream>

namespace feed {
namespace {

constexpr char two_entries[] = R"([
    {"src":"10.0.0.1","dst":"239.1.1.1","iif":"up0","multipath":[{"oif":"a"},{"oif":"b"}]},
    {"src":"10.0.0.2","dst":"239.1.1.1","iif":"b","multipath":[{"oif":"c"},{"oif":"up0"}]}])";

using numbered = std::vector<std::pair<std::string, std::uint32_t>>;

TEST(InterfaceIndexes, ComeFromTheRecordedLinks) {
    const auto links = recorded_links("links.json", {{"up0", 4}, {"a", 5}, {"b", 6}, {"c", 9}});
    const interface_indexes indexes(table_of(two_entries), links, false);
    EXPECT_EQ(indexes.of("up0"), 4u);
    EXPECT_EQ(indexes.of("a"), 5u);
    EXPECT_EQ(indexes.of("b"), 6u);
    EXPECT_EQ(indexes.of("c"), 9u);
    EXPECT_EQ(indexes.numbered(), numbered{});
}

TEST(InterfaceIndexes, ComeFromThisMachine) {
    // Every machine has a loopback interface, and every network namespace gives it index 1.
    const mroute_table table = table_of(R"([{"src":"10.0.0.1","dst":"239.1.1.1","iif":"lo"}])");
    EXPECT_EQ(interface_indexes(table, this_machine(), false).of("lo"), 1u);
}

TEST(InterfaceIndexes, AnUnknownNameIsRefusedWithItsPlaceAndTheWaysOut) {
    const auto links = recorded_links("links.json", {{"up0", 4}, {"a", 5}, {"b", 6}});
    const std::string advice =
        ", so the two recordings do not belong together; give the links that were recorded with "
        "this table, or have unknown names numbered with --number-interfaces";
    EXPECT_EQ(error_of([&] { interface_indexes(table_of(two_entries), links, false); }),
              "table.json: entry 2 of 2 (/1/multipath/0/oif): links.json has no interface \"c\"" +
                  advice);
    EXPECT_EQ(error_of([&] {
                  interface_indexes(table_of(two_entries), recorded_links("none.json", {}), false);
              }),
              "table.json: entry 1 of 2 (/0/iif): none.json has no interface \"up0\"" + advice);
    EXPECT_EQ(error_of([&] { interface_indexes(table_of(two_entries), this_machine(), false); }),
              "table.json: entry 1 of 2 (/0/iif): this machine has no interface \"up0\"; give the "
              "recorded links with "
              "--links FILE, or have unknown names numbered with --number-interfaces");
}

TEST(InterfaceIndexes, NumberUnknownNamesInOrderOfAppearance) {
    const interface_indexes indexes(table_of(two_entries), recorded_links("none.json", {}), true);
    const numbered expected = {{"up0", 1}, {"a", 2}, {"b", 3}, {"c", 4}};
    EXPECT_EQ(indexes.numbered(), expected);
    EXPECT_EQ(indexes.of("b"), 3u);
}

TEST(InterfaceIndexes, NumbersKeepClearOfKnownIndexes) {
    // b comes behind the names that are numbered, and its index is taken all the same.
    const interface_indexes indexes(table_of(two_entries), recorded_links("links.json", {{"b", 2}}),
                                    true);
    const numbered expected = {{"up0", 1}, {"a", 3}, {"c", 4}};
    EXPECT_EQ(indexes.numbered(), expected);
    EXPECT_EQ(indexes.of("b"), 2u);
}

TEST(InterfaceIndexes, TheNameOfAnInterfaceThatIsGoneHoldsItsIndex) {
    const mroute_table table = table_of(R"([{"src":"10.0.0.1","dst":"239.1.1.1","iif":"if12",
        "multipath":[{"oif":"if2147483647"},{"oif":"if3"}]}])");
    const interface_indexes indexes(table, recorded_links("links.json", {{"if3", 77}}), false);
    EXPECT_EQ(indexes.of("if12"), 12u);
    EXPECT_EQ(indexes.of("if2147483647"), 2147483647u);
    EXPECT_EQ(indexes.of("if3"), 77u); // a known name is a name
}

TEST(InterfaceIndexes, NotEveryNameLikeItHoldsAnIndex) {
    for (const std::string name : {"if", "if0", "if-1", "if12x", "if2147483648", "ifb0", "If12"}) {
        const mroute_table table =
            table_of(R"([{"src":"10.0.0.1","dst":"239.1.1.1","iif":")" + name + "\"}]");
        const std::string error =
            error_of([&] { interface_indexes(table, recorded_links("links.json", {}), false); });
        EXPECT_NE(error.find("has no interface \"" + name + '"'), std::string::npos) << error;
    }
}

TEST(InterfaceIndexes, EntriesThatAreNotFedNeedNone) {
    const mroute_table table = table_of(R"([
        {"src":"10.0.0.1","dst":"239.1.1.1","iif":"unresolved","state":"unresolved"},
        {"src":"10.0.0.1","dst":"239.1.1.2","iif":"unresolved","multipath":[{"oif":"x"}],"state":"resolved"}])");
    EXPECT_EQ(interface_indexes(table, recorded_links("links.json", {}), true).numbered(),
              numbered{});
}

TEST(InterfaceIndexes, OfASnoopingDatabaseAreThePortsButNotTheBridges) {
    const mdb_table table =
        mdb_of(R"({"index":2,"dev":"br10","port":"br10","grp":"239.1.1.1","state":"temp"},
                                      {"index":2,"dev":"br10","port":"b","grp":"239.1.1.1","state":"temp"},
                                      {"index":2,"dev":"br10","port":"a","grp":"239.1.1.1","state":"temp"},
                                      {"index":2,"dev":"br10","port":"b","grp":"239.1.1.2","state":"temp"})");
    const auto uses = interface_uses(table);
    ASSERT_EQ(uses.size(), 2u);
    EXPECT_EQ(uses[0].name, "b");
    EXPECT_EQ(uses[0].place, "mdb.json: entry 2 of 4 (/0/mdb/1/port)");
    EXPECT_EQ(uses[1].name, "a");
}

TEST(InterfaceIndexes, NumbersKeepClearOfWhatIsTaken) {
    const std::vector<interface_use> uses = {{"x", ""}, {"y", ""}, {"x", ""}};
    const interface_indexes indexes(uses, recorded_links("none.json", {}), true, {1, 3});
    EXPECT_EQ(indexes.numbered(), (numbered{{"x", 2}, {"y", 4}}));
    std::ostringstream out;
    print_numbered(indexes, out);
    EXPECT_EQ(out.str(), "interface x is number 2\ninterface y is number 4\n");
}

TEST(InterfaceIndexes, ASourceHasItsOwnRemedy) {
    interface_source source = recorded_links("older.json", {});
    source.remedy = "; give others";
    EXPECT_EQ(error_of([&] {
                  interface_indexes(std::vector<interface_use>{{"x", "here"}}, source, false);
              }),
              "here: older.json has no interface \"x\"; give others");
}

} // namespace
} // namespace feed
