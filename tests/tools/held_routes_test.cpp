#include "held_routes.h"
#include "tests/tools/error_of.h"

#include <gtest/gtest.h>

namespace feed {
namespace {

constexpr char one_route[] =
    R"({"table":253,"source":"10.0.0.9","source_len":32,"group":"239.1.1.2","group_len":31,
    "opcode":1,"flags":["local_group","download"],"flags_word":"0x8000000000000088","epoch":7,"rpf_if":4,"df_ordinal":6,
    "client":1,"oifs":[{"if_index":5,"kind":0},{"if_index":6,"kind":12}],"mti":[[1,2,3,4]],"glt":[{},{}]})";

std::vector<held_route> held_of(const std::string &routes) {
    return parse_held_routes({"held.json", R"({"routes":[)" + routes + "]}"});
}

// The error of a route in which the text `from` is replaced by `to`.
std::string changed_error(const std::string &from, const std::string &to) {
    std::string text = one_route;
    text.replace(text.find(from), from.size(), to);
    return error_of([&] { held_of(text); });
}

TEST(HeldRoutes, ReadsEveryField) {
    const auto routes = held_of(one_route);
    ASSERT_EQ(routes.size(), 1u);
    const held_route &route = routes[0];
    EXPECT_EQ(route.key, (route_key{253, 0x0a000009, 32, 0xef010102, 31}));
    EXPECT_EQ(route.opcode, 1u);
    EXPECT_EQ(route.flags, (std::vector<std::string>{"download", "local_group"}));
    EXPECT_EQ(route.flags_word, 0x8000000000000088u);
    EXPECT_EQ(route.epoch, 7u);
    EXPECT_EQ(route.rpf_if, 4u);
    EXPECT_EQ(route.df_ordinal, 6u);
    EXPECT_EQ(route.oifs, (std::vector<held_oif>{{5, 0}, {6, 12}}));
    EXPECT_EQ(route.mti, 1u);
    EXPECT_EQ(route.glt, 2u);
}

TEST(HeldRoutes, APartOfWhatIsHeldIsRefused) {
    const std::string routes = std::string(R"({"routes":[)") + one_route + R"(],"matched":)";
    EXPECT_EQ(parse_held_routes({"held.json", routes + "1}"}).size(), 1u);
    EXPECT_EQ(error_of([&] {
                  parse_held_routes({"held.json", routes + "29}"});
              }),
              "held.json: these are 1 of 29 routes: print them without --limit");
}

TEST(HeldRoutes, ASwitchMayHoldNone) {
    EXPECT_TRUE(held_of("").empty());
}

TEST(HeldRoutes, AnythingElseIsRefusedWithItsPlace) {
    EXPECT_EQ(error_of([] {
                  parse_held_routes({"held.json", "[]"});
              }),
              "held.json: expected an object with \"routes\", the output of `vellsim show routes "
              "--json`, found an array "
              "of 0");
    EXPECT_EQ(error_of([] {
                  parse_held_routes({"held.json", "{}"});
              }),
              "held.json: expected a member \"routes\" (the held routes), found an empty object");
    EXPECT_EQ(error_of([] { held_of("1"); }),
              "held.json: /routes/0: expected a route, an object, found the number 1");
    EXPECT_EQ(error_of([] {
                  parse_held_routes({"held.json", ""});
              }),
              "held.json: is empty, not even an empty JSON value; did `vellsim show routes --json` "
              "fail?");
    EXPECT_EQ(changed_error(R"("table":253,)", ""),
              "held.json: /routes/0: expected a member \"table\" (a number), found only "
              "\"client\", \"df_ordinal\", "
              "\"epoch\", \"flags\", \"flags_word\", \"glt\", \"group\", \"group_len\", ...");
    EXPECT_EQ(changed_error("253", "4294967296"),
              "held.json: /routes/0/table: expected a number from 0 to 4294967295, found the "
              "number 4294967296");
    EXPECT_EQ(changed_error("10.0.0.9", "10.0.0"),
              "held.json: /routes/0/source: expected an IPv4 address, found the string \"10.0.0\"");
    EXPECT_EQ(
        changed_error(R"("group_len":31)", R"("group_len":33)"),
        "held.json: /routes/0/group_len: expected a number from 0 to 32, found the number 33");
    EXPECT_EQ(changed_error(R"("local_group")", "3"),
              "held.json: /routes/0/flags/0: expected the name of a flag, found the number 3");
    for (const std::string word : {"88", "0x", "0xg", "0x12345678901234567"}) {
        EXPECT_EQ(changed_error("0x8000000000000088", word),
                  "held.json: /routes/0/flags_word: expected the flag word, a string like "
                  "\"0x80\", found the string \"" +
                      word + '"');
    }
    EXPECT_EQ(changed_error(R"("kind":12)", R"("kind":"reg")"),
              "held.json: /routes/0/oifs/1/kind: expected a number, found the string \"reg\"");
    EXPECT_EQ(changed_error("[[1,2,3,4]]", "{}"),
              "held.json: /routes/0/mti: expected an array of encapsulations, found an object");
}

TEST(HeldRoutes, ARouteThatStandsTwiceIsRefused) {
    EXPECT_EQ(error_of([] { held_of(std::string(one_route) + "," + one_route); }),
              "held.json: /routes/1: (10.0.0.9, 239.1.1.2/31) in table 253 stands twice");
}

} // namespace
} // namespace feed
