#include "feed/interfaces.h"
#include "tests/feed/snapshot_text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sstream>

namespace feed {
namespace {

constexpr char one_route[] = R"([{"src":"10.0.0.1","dst":"239.1.1.1","iif":"a"}])";

// Stands in for `ip` and `bridge`: each prints the text for its arguments, as "ip mroute".
class stand_in_machine {
public:
    stand_in_machine() {
        programs_.put("ip", "case \"$2\" in\nmroute) " + script_ + "routes ;;\n*) " + script_ +
                                "links ;;\nesac\n");
        programs_.put("bridge", "case \"$*\" in\n*mdb*) " + script_ + "mdb ;;\n*-d\\ link*) " +
                                    script_ + "ports ;;\n*) " + script_ + "vlans ;;\nesac\n");
        for (const char *list : {"links", "ports", "vlans", "routes"}) {
            put(list, "echo '[]'");
        }
        put("mdb", R"(echo '[{"mdb":[],"router":{}}]')");
    }

    void put(const std::string &table, const std::string &script) const {
        std::ofstream(folder_ / table) << "echo \"$0 $*\" >>" << (folder_ / "calls") << "\n"
                                       << script << "\n";
    }

    // One script that often, and then the other.
    void put_first(const std::string &table, int times, const std::string &first,
                   const std::string &then) const {
        put(table, fmt::format("n=$(cat {0} 2>/dev/null || echo 0)\necho $((n+1)) >{0}\n"
                               "if [ $n -lt {1} ]; then {2}; else {3}; fi",
                               folder_ / (table + ".count"), times, first, then));
    }

    // A dump of routes that is interrupted that often, and then complete.
    void interrupt_routes(int times, int exit_code) const {
        put_first("routes", times,
                  fmt::format("echo '[{{\"src\":'; echo 'Dump was interrupted and may be "
                              "inconsistent.' >&2; exit {}",
                              exit_code),
                  fmt::format("echo '{}'", one_route));
    }

    std::string calls() const {
        std::ifstream file(folder_ / "calls");
        std::string names;
        for (std::string line; std::getline(file, line);) {
            names += (names.empty() ? "" : ", ") + line.substr(line.rfind('/') + 1);
        }
        return names;
    }

private:
    scratch_directory folder_;
    std::string script_ = ". " + folder_.path() + "/";
    stand_in_programs programs_;
};

std::string text_of(const std::string &path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

plan read_machine(const table_choice &only = all_tables) {
    plan_options options;
    options.only = only;
    return read_plan({}, options);
}

TEST(Snapshot, IsADirectoryOfWhichAnyFileMayBeMissing) {
    EXPECT_TRUE(snapshot_text({{"routes.json", "[]"}}).read().said.routes);
    const plan made = snapshot_text({{"mdb.json", "[]"}, {"ports.json", "[]"}}).read();
    EXPECT_FALSE(made.said.routes);
    EXPECT_TRUE(made.said.groups && made.said.floods && made.said.ltls);
    plan_options options;
    options.only = {true, false, false, false};
    const plan without = snapshot_text({{"mdb.json", "[]"}, {"ports.json", "[]"}}).read(options);
    EXPECT_FALSE(without.said.groups || without.said.floods || without.said.ltls);
}

TEST(Snapshot, ADirectoryThatIsNotOneIsRefused) {
    EXPECT_EQ(error_of([] { read_plan({"/no/such"}, {}); }),
              "/no/such: cannot be opened: No such file or directory");
    const snapshot_text empty({});
    EXPECT_EQ(error_of([&] { empty.read(); }),
              empty.path() + ": is not a snapshot: expected a directory with routes.json, "
                             "links.json, mdb.json, ports.json or vlans.json");
    const snapshot_text wrong({{"routes.json", "[]"}});
    EXPECT_EQ(error_of([&] { read_plan({wrong.path() + "/routes.json"}, {}); }),
              wrong.path() + "/routes.json: is not a snapshot: expected a directory with "
                             "routes.json, links.json, mdb.json, ports.json or vlans.json");
}

TEST(Snapshot, AFileThatCannotBeReadIsRefused) {
    const snapshot_text files({});
    ASSERT_TRUE(std::filesystem::create_directory(files.path() + "/routes.json"));
    EXPECT_EQ(files.error(), "routes.json: cannot be read: Is a directory");
}

TEST(Snapshot, TheKernelsIndexesComeFromLinksPortsAndDatabases) {
    const plan made =
        snapshot_text(
            {{"routes.json", R"([{"src":"10.0.0.1","dst":"239.1.1.1","iif":"br10",
                                  "multipath":[{"oif":"p"},{"oif":"l"}]}])"},
             {"links.json", links_text({{"l", 3}, {"p", 5}})},
             {"ports.json", ports_text({port_text("br10", "p", 5)})},
             {"mdb.json",
              mdb_text(R"({"index":7,"dev":"br10","port":"p","grp":"239.1.1.1","state":"temp"})")}})
            .read();
    const route &row = made.wanted.routes.begin()->second;
    EXPECT_EQ(row.rpf_if, kernel_type + 7);
    EXPECT_EQ(row.oifs, (std::vector<std::uint32_t>{kernel_type + 5, kernel_type + 3}));
    EXPECT_EQ(made.wanted.groups.begin()->second.bridge, kernel_type + 7);
    EXPECT_TRUE(made.made_numbers.empty());
}

TEST(Snapshot, InterfacesHaveTheSameNumbersWhicheverTableIsLookedAt) {
    const snapshot_text files(
        {{"routes.json", R"([{"src":"10.0.0.1","dst":"239.1.1.1","iif":"p"}])"},
         {"ports.json", ports_text({port_text("br10", "p", 5)})}});
    plan_options options;
    options.only = {true, false, false, false};
    EXPECT_EQ(files.read(options).wanted.routes, files.read().wanted.routes);
}

TEST(Snapshot, FilesThatContradictEachOtherAreRefused) {
    const std::string entry =
        R"({"index":2,"dev":"br10","port":"p","grp":"239.1.1.1","state":"temp"})";
    EXPECT_EQ(
        snapshot_text({{"mdb.json", mdb_text(entry)}, {"links.json", links_text({{"br10", 3}})}})
            .error(),
        "mdb.json: entry 1 (/0/mdb/0/index): the interface \"br10\" has the index 2 here and 3 "
        "in links.json: entry 1 (/0/ifindex); record both at one time");
    EXPECT_EQ(snapshot_text({{"ports.json", ports_text({port_text("br10", "p", 5)})},
                             {"links.json", links_text({{"lo", 1}, {"p", 6}})}})
                  .error(),
              "ports.json: entry 1 (/0/ifindex): the interface \"p\" has the index 5 here and 6 in "
              "links.json: entry 2 (/1/ifindex); record both at one time");
    EXPECT_EQ(
        snapshot_text(
            {{"mdb.json",
              mdb_text(entry + "," + R"({"index":3,"dev":"br10","port":"p","grp":"239.1.1.2"})")}})
            .error(),
        "mdb.json: entry 2 (/0/mdb/1/index): the interface \"br10\" has the index 3 here and 2 "
        "in mdb.json: entry 1 (/0/mdb/0/index); record both at one time");
}

TEST(Snapshot, WrongLinksAreRefused) {
    const auto error = [](const std::string &text) {
        return snapshot_text({{"links.json", text}}).error();
    };
    EXPECT_EQ(error("{}"), "links.json: expected an array of interfaces, the output of `ip -j link "
                           "show`, found an object");
    EXPECT_EQ(error("[7]"),
              "links.json: entry 1 (/0): expected an interface, an object, found the number 7");
    EXPECT_EQ(
        error(R"([{"src":"10.0.0.1","dst":"239.1.1.1"}])"),
        "links.json: entry 1 (/0): expected a member \"ifname\" (the interface's name), found "
        "only \"dst\", \"src\"");
    EXPECT_EQ(error(R"([{"ifname":"lo"}])"),
              "links.json: entry 1 (/0): expected a member \"ifindex\" (the interface's index), "
              "found only \"ifname\"");
    EXPECT_EQ(error(R"([{"ifname":4,"ifindex":4}])"),
              "links.json: entry 1 (/0/ifname): expected the interface's name, found the number 4");
    EXPECT_EQ(error(links_text({{"lo", 0}})),
              "links.json: entry 1 (/0/ifindex): expected an interface index from 1 to 2147483647, "
              "found the number 0");
    EXPECT_EQ(error(links_text({{"lo", 1}, {"lo", 1}})),
              "links.json: entry 2 (/1/ifname): \"lo\" is already in entry 1");
    EXPECT_EQ(error(""),
              "links.json: is empty, not even an empty JSON value; did `ip -j link show` fail?");
}

TEST(Snapshot, ABridgeThatIsNamedAndNotThereIsRefused) {
    const snapshot_text files({{"links.json", links_text({{"lan", 3}})},
                               {"mdb.json", mdb_text("", R"({"br10":[]})")},
                               {"ports.json", ports_text({port_text("br20", "p", 5)})}});
    plan_options options;
    for (const char *bridge : {"lan", "br10", "br20"}) {
        options.bridges = {bridge};
        options.vlans = {{bridge, 9}};
        EXPECT_EQ(files.error(options), "(no error)");
    }
    options.bridges = {"br\x1b"};
    EXPECT_EQ(error_of([&] { files.read(options); }),
              "--bridge \"br\\x1b\": no such bridge is in " + files.path());
    options.bridges = {};
    options.vlans = {{"br9", 9}};
    EXPECT_EQ(error_of([&] { files.read(options); }),
              "--vlan \"br9\": no such bridge is in " + files.path());
    // It plays no part for routes.
    options.only = {true, false, false, false};
    EXPECT_EQ(files.error(options), "(no error)");
}

TEST(Snapshot, NotesSayWhatWasLeftOutAndWhichNumbersWereMade) {
    plan made;
    EXPECT_TRUE(notes(made).empty());
    made.without = {1, 2, 3, 4, 5, 6, 7, 8};
    made.made_numbers = {{"lan\x1b", 0x060c292c}};
    EXPECT_THAT(
        notes(made),
        testing::ElementsAre(
            "left out 1 unresolved route: the routing daemon has not decided",
            "left out 2 routes: the incoming interface is gone",
            "left out 3 TTL thresholds: not carried by a route record",
            "left out 4 router ports: not carried by a layer-2 entry",
            "left out 5 members of groups: blocked, or filtered by source",
            "left out 6 ports of groups or flood sets: not in forwarding state",
            "left out 7 VLAN interfaces: a flood set has ports only",
            "left out 8 entries and ports: not of the bridges of --bridge",
            "interface lan\\x1b has no index in the snapshot: it is if34351404, a number made from "
            "its name"));
}

TEST(Machine, IsReadWithTheKernelsOwnTools) {
    const stand_in_machine machine;
    machine.put("routes", fmt::format("echo '{}'", one_route));
    machine.put("links", "echo '" + links_text({{"a", 4}, {"lan", 5}}) + "'");
    const plan made = read_machine();
    EXPECT_EQ(made.wanted.routes.begin()->second.rpf_if, kernel_type + 4);
    EXPECT_TRUE(made.said.routes && made.said.groups && made.said.floods && made.said.ltls);
    EXPECT_EQ(machine.calls(), "ip -j link show, bridge -j -d mdb show, bridge -j -d link show, "
                               "bridge -j vlan show, ip -j mroute show table all");
}

TEST(Machine, OnlyWhatIsChosenIsRead) {
    const stand_in_machine machine;
    machine.put("mdb", "exit 1");
    machine.put("ports", "exit 1");
    EXPECT_TRUE(read_machine({true, false, false, false}).said.routes);
    EXPECT_EQ(machine.calls(), "ip -j link show, ip -j mroute show table all");
}

TEST(Machine, VlansOfPortsAreReadWhenTheyAreNeeded) {
    const stand_in_machine machine;
    machine.put("ports", "echo '" + ports_text({port_text("lan", "eth1-1", 5)}) + "'");
    machine.put("vlans", R"(echo '[{"ifname":"eth1-1","vlans":[{"vlan":12}]}]')");
    EXPECT_EQ(read_machine({false, false, true, false}).wanted.floods.count({12}), 1u);
    EXPECT_EQ(machine.calls(), "ip -j link show, bridge -j -d link show, bridge -j vlan show");
}

TEST(Machine, AToolThatFailsIsNamedWithWhatItSaid) {
    const stand_in_machine machine;
    // Half a table, whose syntax error is not the point.
    machine.put("routes", "echo '[{'; printf 'no \\033[2Jpermission\\n' >&2; exit 2");
    EXPECT_EQ(error_of([] { read_machine(); }),
              "`ip -j mroute show table all` failed with exit code 2: no \\x1b[2Jpermission");
    machine.put("routes", "echo '[]'; exit 1");
    EXPECT_EQ(error_of([] { read_machine(); }),
              "`ip -j mroute show table all` failed with exit code 1");
    machine.put("routes", "echo '[7]'");
    EXPECT_EQ(error_of([] { read_machine(); }),
              "`ip -j mroute show table all`: entry 1 (/0): expected a multicast route, an object, "
              "found the number 7");
    // One that would print for ever was only stopped from it.
    machine.put("routes", "echo '[7'; exec cat /dev/zero");
    EXPECT_EQ(error_of([] { read_machine(); }),
              "`ip -j mroute show table all`: entry 1 (/0): expected a multicast route, an object, "
              "found the number 7");
}

TEST(Machine, AnInterruptedDumpIsReadAgain) {
    for (const int exit_code : {0, 1}) {
        const stand_in_machine machine;
        machine.interrupt_routes(4, exit_code);
        EXPECT_EQ(read_machine({true, false, false, false}).wanted.routes.size(), 1u);
    }
}

TEST(Machine, ADumpThatIsAlwaysInterruptedIsGivenUp) {
    for (const int exit_code : {0, 1}) {
        const stand_in_machine machine;
        machine.interrupt_routes(5, exit_code);
        EXPECT_EQ(
            error_of([] {
                read_machine({true, false, false, false});
            }),
            "`ip -j mroute show table all`: the table changed while it was read, 5 times in a "
            "row; try again when less changes");
    }
}

TEST(Machine, ThatChangesBetweenTwoTablesIsReadAgain) {
    const stand_in_machine machine;
    machine.put("ports", "echo '" + ports_text({port_text("br10", "p", 5)}) + "'");
    machine.put_first("links", 4, "echo '" + links_text({{"p", 6}}) + "'",
                      "echo '" + links_text({{"p", 5}}) + "'");
    EXPECT_EQ(read_machine().wanted.floods.count({10}), 1u);
    machine.put("links", "echo '" + links_text({{"p", 6}}) + "'");
    EXPECT_EQ(error_of([] { read_machine(); }),
              "`bridge -j -d link show`: entry 1 (/0/ifindex): the interface \"p\" has the index 5 "
              "here and 6 in `ip -j link show`: entry 1 (/0/ifindex); record both at one time");
}

TEST(RecordSnapshot, WritesWhatTheToolsPrint) {
    const stand_in_machine machine;
    machine.interrupt_routes(1, 0);
    machine.put("links", "echo '" + links_text({{"a", 4}}) + "'");
    const scratch_directory folder;
    const std::string directory = folder / "new";
    record_snapshot(directory);
    EXPECT_EQ(text_of(directory + "/routes.json"), one_route + std::string("\n"));
    EXPECT_EQ(text_of(directory + "/links.json"), links_text({{"a", 4}}) + "\n");
    EXPECT_EQ(text_of(directory + "/mdb.json"), "[{\"mdb\":[],\"router\":{}}]\n");
    EXPECT_EQ(text_of(directory + "/ports.json"), "[]\n");
    EXPECT_EQ(text_of(directory + "/vlans.json"), "[]\n");
    EXPECT_EQ(read_plan({directory}, {}).wanted.routes.size(), 1u);
}

TEST(RecordSnapshot, ReplacesAllFilesOrNone) {
    const stand_in_machine machine;
    const snapshot_text files({{"links.json", "before"}});
    machine.put("routes", "exit 1");
    EXPECT_EQ(error_of([&] { record_snapshot(files.path()); }),
              "`ip -j mroute show table all` failed with exit code 1");
    EXPECT_EQ(text_of(files.path() + "/links.json"), "before");
    EXPECT_FALSE(std::filesystem::exists(files.path() + "/links.json.new"));
    machine.interrupt_routes(9, 0);
    EXPECT_EQ(
        error_of([&] { record_snapshot(files.path()); }),
        "`ip -j mroute show table all`: the table changed while it was read, 5 times in a row; "
        "try again when less changes");
    EXPECT_FALSE(std::filesystem::exists(files.path() + "/links.json.new"));
    machine.put("routes", "echo '[]'");
    record_snapshot(files.path());
    EXPECT_EQ(text_of(files.path() + "/links.json"), "[]\n");
}

TEST(RecordSnapshot, ADirectoryThatCannotBeMadeIsRefused) {
    EXPECT_EQ(error_of([] { record_snapshot("/no/such/directory"); }),
              "/no/such/directory: cannot be made: No such file or directory");
    const snapshot_text files({{"file", ""}});
    EXPECT_EQ(error_of([&] { record_snapshot(files.path() + "/file"); }),
              files.path() + "/file/links.json.new: cannot be written: Not a directory");
}

} // namespace
} // namespace feed
