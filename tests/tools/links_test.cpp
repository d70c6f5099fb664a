#include "links.h"
#include "tests/tools/error_of.h"

#include <gtest/gtest.h>

namespace feed {
namespace {

std::string links_error(const std::string &text) {
    return error_of([&] { parse_links({"links.json", text}); });
}

TEST(Links, GivesTheIndexOfEveryName) {
    const auto links = parse_links({"links.json", R"([{"ifindex":1,"ifname":"lo","flags":["UP"]},
                                                     {"ifindex":2147483647,"ifname":"eth0"}])"});
    const std::map<std::string, std::uint32_t> expected = {{"eth0", 2147483647}, {"lo", 1}};
    EXPECT_EQ(links, expected);
}

TEST(Links, AnythingElseIsRefusedWithItsPlace) {
    EXPECT_EQ(links_error("{}"), "links.json: expected an array of interfaces, the output of `ip "
                                 "-j link show`, found an object");
    EXPECT_EQ(
        links_error("[7]"),
        "links.json: entry 1 of 1 (/0): expected an interface, an object, found the number 7");
    EXPECT_EQ(links_error(R"([{"src":"10.0.0.1","dst":"239.1.1.1"}])"),
              "links.json: entry 1 of 1 (/0): expected a member \"ifname\" (the interface's name), "
              "found only \"dst\", "
              "\"src\"");
    EXPECT_EQ(links_error(R"([{"ifname":"lo"}])"),
              "links.json: entry 1 of 1 (/0): expected a member \"ifindex\" (the interface's "
              "index), found only "
              "\"ifname\"");
    EXPECT_EQ(
        links_error(R"([{"ifname":4,"ifindex":4}])"),
        "links.json: entry 1 of 1 (/0/ifname): expected the interface's name, found the number 4");
    EXPECT_EQ(links_error(R"([{"ifname":"lo","ifindex":0}])"),
              "links.json: entry 1 of 1 (/0/ifindex): expected an interface index from 1 to "
              "2147483647, found the number "
              "0");
    EXPECT_EQ(links_error(R"([{"ifname":"lo","ifindex":1},{"ifname":"lo","ifindex":2}])"),
              "links.json: entry 2 of 2 (/1/ifname): the interface \"lo\" stands twice");
    EXPECT_EQ(links_error(""),
              "links.json: is empty, not even an empty JSON value; did `ip -j link show` fail?");
}

} // namespace
} // namespace feed
