// Input and options that are wrong: vellfeed says what was found and where, and not a message is sent.
#include "tests/e2e/end_to_end.h"

#include <functional>
#include <gmock/gmock.h>

namespace {

using testing::HasSubstr;

class WrongInput : public end_to_end {};

TEST_F(WrongInput, SendsNothing) {
    start_switch();
    const auto wrong = [this](const std::string &file, const std::string &text) {
        return snapshot(std::to_string(std::hash<std::string>()(file + text)), file, text);
    };
    const std::string good =
        R"({"src":"10.0.0.9","dst":"239.1.1.1","iif":"eth1-1","multipath":[],"state":"resolved"})";
    const std::string member =
        R"({"index":2,"dev":"br10","port":"lan1","grp":"239.1.1.1","state":"temp","flags":[]})";
    const struct {
        std::string file;
        std::string input;
        std::string error;
    } rows[] = {
        {"routes.json", "",
         ": is empty, not even an empty JSON value; did `ip -j mroute show table all` fail?"},
        {"routes.json", "not a table",
         ":1:2: syntax error while parsing value - invalid literal; last read: 'no'; is this the "
         "output of `ip -j mroute show table all`?"},
        {"routes.json", "{}",
         ": expected an array of multicast routes, the output of `ip -j mroute show table all`, "
         "found "
         "an object"},
        {"routes.json", "[1]",
         ": entry 1 (/0): expected a multicast route, an object, found the number 1"},
        {"routes.json", "[" + good + ",{}]",
         ": entry 2 (/1): expected a member \"src\" (the source, an IPv4 address), found an empty "
         "object"},
        {"routes.json", "[" + good,
         ":1:87: syntax error while parsing array - unexpected end of input; expected ']'"},
        {"mdb.json", R"([{"ifindex":1,"ifname":"lo"}])",
         ": /0: expected a member \"mdb\" (an array of entries), found only \"ifindex\", "
         "\"ifname\""},
        {"mdb.json", R"([{"mdb":[)" + member + R"(],"router":{}},{"mdb":[{}]}])",
         ": entry 2 (/1/mdb/0): expected a member \"dev\" (the bridge's name), found an empty "
         "object"},
        {"ports.json", R"([{"ifindex":17,"ifname":"eth1-1","master":"br10"}])",
         ": entry 1 (/0): expected a member \"mcast_flood\" (true or false; `bridge` prints it "
         "with "
         "-d only), found only \"ifindex\", \"ifname\", \"master\""},
        {"ports.json", R"([{"ifindex":17,"ifname":"eth1-1","master":"lan","mcast_flood":true}])",
         ": entry 1 (/0/master): the bridge \"lan\" has no VLAN in its name, as br10 has; name the "
         "VLAN with --vlan lan=N, or take other bridges alone with --bridge NAME"},
        {"ports.json",
         R"([{"ifindex":67108864,"ifname":"lan1","master":"br10","mcast_flood":true}])",
         ": entry 1 (/0/ifname): the interface \"lan1\" has the index 67108864; the switch numbers "
         "indexes up to 33554431"},
    };
    for (const auto &row : rows) {
        const std::string path = wrong(row.file, row.input);
        const std::string expected = path + "/" + row.file + row.error;
        EXPECT_EQ(error({"send", "--quiet", path}), expected);
        EXPECT_EQ(error({"send", "--quiet", sample("day/1"), path}), expected)
            << "nor the one before";
        EXPECT_EQ(error({"send", "--quiet", "--from", path, sample("day/1")}), expected);
        EXPECT_EQ(error({"remove", "--quiet", path}), expected);
        EXPECT_EQ(error({"repair", "--quiet", path}), expected);
    }
    EXPECT_EQ(error({"send", directory / "nowhere"}),
              (directory / "nowhere") + ": cannot be opened: No such file or directory");
    EXPECT_EQ(error({"send", snapshot("other", "other.json", "[]")}),
              (directory / "other") + ": is not a snapshot: expected a directory with routes.json, "
                                      "links.json, mdb.json, ports.json or vlans.json");
    std::filesystem::create_directories(directory / "folder/routes.json");
    EXPECT_EQ(error({"send", directory / "folder"}),
              (directory / "folder") + "/routes.json: cannot be read: Is a directory");
    EXPECT_EQ(error({"send", sample("day/1"), "--quiet", "--bridge", "br11"}),
              "--bridge \"br11\": no such bridge is in " + sample("day/1"));
    EXPECT_EQ(show("clients").size(), 0u) << "not even a registration was sent";
    EXPECT_EQ(installed(), plain_tables());
}

TEST_F(WrongInput, ABridgeWhoseNameDoesNotSayItsVlanIsSentWithIt) {
    start_switch();
    const std::string one =
        snapshot("one", "ports.json",
                 R"([{"ifindex":17,"ifname":"eth1-1","master":"lan","mcast_flood":true},
            {"ifindex":18,"ifname":"eth1-2","master":"wan","mcast_flood":true}])");
    fed({"send", one, "--vlan", "lan=7", "--bridge", "lan"});
    EXPECT_EQ(installed().floods,
              (std::set<std::string>{"VLAN 7: [Eth1/1=0x68010100] on line cards [1]"}));
}

TEST_F(WrongInput, WrongUsageHasItsOwnExitCode) {
    const std::vector<std::vector<std::string>> lines = {
        {"send"},
        {"send", sample("day/1"), "--only", "route"},
        {"send", sample("day/1"), "--vlan", "lan"},
        {"remove", sample("day/1"), sample("day/2")},
        {"follow", "--every", "10"}};
    for (const auto &line : lines) {
        const command_result result = vellfeed(line);
        EXPECT_EQ(result.exit_code, 2) << result.err;
        EXPECT_EQ(result.out, "");
        EXPECT_THAT(result.err, HasSubstr("\nRun `vellfeed " + line.front() + " --help` for more"));
    }
}

} // namespace
