#include "ltl_ports.h"
#include "switch_port.h"
#include "tests/tools/error_of.h"
#include "tests/tools/mdb_text.h"

#include <fstream>
#include <gmock/gmock.h>
#include <unistd.h>

namespace feed {
namespace {

using testing::EndsWith;

class LtlPortsOfGroup : public testing::Test {
protected:
    LtlPortsOfGroup() {
        ports.mdb_path = write("mdb", mdb_text(entries));
        ports.links_path = links = write("links", R"([{"ifindex":17,"ifname":"lan1"}])");
        ports.group = "239.1.1.1";
    }
    ~LtlPortsOfGroup() override {
        unlink(ports.mdb_path.c_str());
        unlink(links.c_str());
    }

    static std::string write(const std::string &name, const std::string &text) {
        std::string path =
            testing::TempDir() + "ltl_ports_test." + std::to_string(getpid()) + "." + name;
        std::ofstream(path) << text;
        return path;
    }

    std::string names(std::uint32_t vlan = 10) const { return switch_names(ports.load(vlan)); }
    std::string error(std::uint32_t vlan = 10) const {
        return error_of([&] { ports.load(vlan); });
    }

    static constexpr char entries[] = R"(
        {"index":2,"dev":"br10","port":"lan1","grp":"239.1.1.1","state":"temp"},
        {"index":2,"dev":"br10","port":"eth3-7","grp":"239.1.1.1","state":"temp"},
        {"index":2,"dev":"br10","port":"po1","grp":"239.1.1.1","state":"temp","dummy":1},
        {"index":2,"dev":"br10","port":"po1","grp":"239.1.1.1","state":"temp"},
        {"index":2,"dev":"br10","port":"br10","grp":"239.1.1.1","state":"temp"},
        {"index":2,"dev":"br10","port":"eth1-1","grp":"239.1.1.1","state":"temp","flags":["blocked"]},
        {"index":2,"dev":"br10","port":"eth1-2","grp":"239.1.1.1","src":"10.0.0.9","state":"temp"},
        {"index":2,"dev":"br10","port":"eth1-3","grp":"239.1.1.1","state":"temp","vid":11},
        {"index":2,"dev":"br10","port":"eth1-4","grp":"239.1.1.2","state":"temp"},
        {"index":2,"dev":"br10","port":"eth1-1","grp":"239.1.1.3","state":"temp","flags":["blocked"]},
        {"index":2,"dev":"br10","port":"eth2-1","grp":"01:1b:19:00:00:00","state":"permanent"},
        {"index":3,"dev":"lan","port":"eth1-5","grp":"239.1.1.1","state":"temp"})";

    ltl_ports ports;
    std::string links;
};

TEST(LtlPorts, ByNameAreTakenInTheirOrder) {
    ltl_ports ports;
    ports.names = {"Eth3/7", "Po1", "Vlan10", "if12", "Po1"};
    EXPECT_EQ(switch_names(ports.load(0)), "Eth3/7 Po1 Vlan10 if12 Po1");
    ports.names = {"Eth3/7/2", "eth3-8", "po2", "vlan11"};
    EXPECT_EQ(switch_names(ports.load(0)), "Eth3/7/2 Eth3/8 Po2 Vlan11");
    for (const char *wrong :
         {"Eth3-7", "eth3/7", "Eth256/1", "Po65536", "Vlan4095", "if0", "lan1", ""}) {
        ports.names = {wrong};
        EXPECT_THROW(ports.load(0), usage_error) << wrong;
    }
}

TEST_F(LtlPortsOfGroup, AreThoseThatTheKernelSendsTo) {
    EXPECT_EQ(names(), "if17 Vlan10 Po1 Eth3/7");
    ports.source = "10.0.0.9";
    EXPECT_EQ(names(), "Eth1/2");
}

TEST_F(LtlPortsOfGroup, AreOfTheVlan) {
    EXPECT_EQ(names(11), "Eth1/3");
    EXPECT_THAT(error(12), EndsWith(".mdb: there is no (*, 239.1.1.1) in VLAN 12"));
    ports.bridge = "lan";
    EXPECT_EQ(names(12), "Eth1/5");
}

TEST_F(LtlPortsOfGroup, MayBeNone) {
    ports.group = "239.1.1.3";
    EXPECT_EQ(names(), "none");
}

TEST_F(LtlPortsOfGroup, MayBeOfAGroupWithoutAnIpAddress) {
    ports.group = "01:1b:19:00:00:00";
    EXPECT_EQ(names(), "Eth2/1");
}

TEST_F(LtlPortsOfGroup, NeedTheLinksOnlyWhereANameSaysNothing) {
    ports.links_path = write("links", R"([{"ifindex":18,"ifname":"lan2"}])");
    EXPECT_THAT(error(), testing::HasSubstr(".mdb: entry 1 of 12 (/0/mdb/0/port): "));
    EXPECT_THAT(error(), testing::HasSubstr("has no interface \"lan1\""));
    ports.links_path = "/nowhere";
    EXPECT_EQ(names(11), "Eth1/3");
}

TEST_F(LtlPortsOfGroup, OfAnIndexThatIsTooLargeAreRefused) {
    ports.links_path = write("links", R"([{"ifindex":67108864,"ifname":"lan1"}])");
    EXPECT_THAT(
        error(),
        EndsWith("(/0/mdb/0/port): the index 67108864 of the port \"lan1\" is too large for an "
                 "interface that the switch knows by it alone"));
}

TEST_F(LtlPortsOfGroup, OfTwoBridgesAreRefused) {
    ports.mdb_path = write("mdb", mdb_text(R"(
        {"index":2,"dev":"br0","port":"eth3-7","grp":"239.1.1.1","state":"temp","vid":10},
        {"index":3,"dev":"br1","port":"eth4-1","grp":"239.1.1.1","state":"temp","vid":10})"));
    EXPECT_THAT(
        error(),
        EndsWith("(/0/mdb/1/dev): (*, 239.1.1.1) in VLAN 10 is on the bridge \"br1\" here and on "
                 "\"br0\" in entry 1 of 2; an entry has one bridge"));
    ports.bridge = "br1";
    EXPECT_EQ(names(), "Eth4/1");
}

TEST_F(LtlPortsOfGroup, WantTheirOwnLinks) {
    ports.links_path =
        write("links", R"([{"ifindex":17,"ifname":"lan1"},{"ifindex":55,"ifname":"br10"}])");
    EXPECT_THAT(error(), testing::HasSubstr("the bridge \"br10\" has the index 2 here, and "));
    EXPECT_THAT(error(), EndsWith(" says 55: they do not belong together"));
}

TEST_F(LtlPortsOfGroup, OfOneIndexAreRefused) {
    ports.mdb_path = write("mdb", mdb_text(R"(
        {"index":2,"dev":"br10","port":"lan1","grp":"239.1.1.1","state":"temp"},
        {"index":2,"dev":"br10","port":"if17","grp":"239.1.1.1","state":"temp"})"));
    EXPECT_THAT(
        error(),
        EndsWith(
            "(/0/mdb/1/port): the port \"if17\" of (*, 239.1.1.1) in VLAN 10 has the index if17, "
            "and so has \"lan1\" in entry 1 of 2"));
}

TEST_F(LtlPortsOfGroup, AreNotNumbered) {
    ports.links_path = write("links", "[]");
    EXPECT_THAT(error(), EndsWith("give the links that were recorded with this table"));
    ports.links_path.clear();
    EXPECT_THAT(
        error(),
        EndsWith(
            "this machine has no interface \"lan1\"; give the recorded links with --links FILE"));
}

TEST_F(LtlPortsOfGroup, WantAnAddress) {
    ports.source = "ff0e::1";
    EXPECT_THROW(ports.load(10), usage_error);
    ports.source = "host";
    EXPECT_THROW(ports.load(10), usage_error);
    ports.source.clear();
    ports.group = "239.1.1";
    EXPECT_THROW(ports.load(10), usage_error);
}

} // namespace
} // namespace feed
