#include "feed/installed.h"
#include "tests/feed/input_text.h"

#include <gtest/gtest.h>

namespace feed {
namespace {

constexpr char one_route[] =
    R"({"table":253,"source":"10.0.0.9","source_len":32,"group":"239.1.1.2","group_len":31,
    "opcode":1,"flags":["local_group","download"],"flags_word":"0x8000000000000188","epoch":7,
    "rpf_if":4,"df_ordinal":6,"client":1,"oifs":[{"if_index":1744896256,"kind":0},
    {"if_index":1744896512,"kind":12}],"mti":[[1,2,3,4]],"glt":[{},{}]})";
constexpr char one_group[] =
    R"({"vlan":10,"group":"239.1.1.1","kind":"ipv4","source":"10.0.0.9","bridge":5,
    "permanent":true,"client":1,"ports":[{"if_index":9,"flags":4},{"if_index":7,"flags":0}]})";
constexpr char one_flood_set[] =
    R"({"vlan":10,"line_cards":[1,2],"line_card_mask":6,"client":1,"pid":7,"interfaces":[
    {"if_index":1744961792,"name":"Eth2/1"},{"if_index":1744898304,"name":"Eth1/9"}]})";
constexpr char one_ltl[] =
    R"({"index":16384,"vlan":10,"tag":7,"interfaces":[{"if_index":9},{"if_index":8}]})";

state read_text(const std::string &shown, const std::string &text, std::string *said = nullptr) {
    const sim::file_descriptor file = file_with(text);
    state read;
    read_installed(
        {"out.json", "`vellsim show`", file.get()}, shown,
        [said](const std::string &what) {
            ASSERT_NE(said, nullptr) << what;
            *said += what + "\n";
        },
        read);
    return read;
}

// As vellsim prints a table.
std::string table_text(const std::string &shown, const std::string &rows,
                       const std::string &matched = "0", const std::string &narrowed = "null") {
    const std::string list = shown == "l2" ? R"({"l2":{"entries":[)" + rows + R"(],"flood":[]})"
                                           : "{\"" + shown + "\":[" + rows + "]";
    return list + R"(,"matched":)" + matched + R"(,"narrowed":)" + narrowed + "}";
}

state read_rows(const std::string &shown, const std::string &rows) {
    return read_text(shown, table_text(shown, rows));
}

std::string error_in(const std::string &shown, const std::string &text) {
    return error_of([&] { read_text(shown, text); });
}

// The error of a row in which the text `from` is replaced by `to`.
std::string changed_error(const std::string &shown, std::string row, const std::string &from,
                          const std::string &to) {
    row.replace(row.find(from), from.size(), to);
    return error_in(shown, table_text(shown, row));
}

TEST(InstalledRoutes, AreReadWithoutWhatOnlySaysHowTheyWereSent) {
    const state read = read_rows("routes", one_route);
    ASSERT_EQ(read.routes.size(), 1u);
    const auto &[key, row] = *read.routes.begin();
    EXPECT_EQ(key, (route_key{253, 0x0a000009, 32, 0xef010102, 31}));
    EXPECT_EQ(row.rpf_if, 4u);
    EXPECT_EQ(row.flags, 0x8000000000000008u);
    EXPECT_EQ(row.oifs, (std::vector<std::uint32_t>{1744896256, 1744896512}));
    EXPECT_EQ(row.other, "df_ordinal 6, oif Eth1/2 of kind 12, 1 MTI, 2 GLT");
}

TEST(InstalledRoutes, HaveNothingElseWhenVellfeedHasSentThem) {
    const state read = read_rows("routes", R"({"table":253,"source":"0.0.0.0","source_len":0,
        "group":"239.1.1.2","group_len":32,"flags_word":"0x980","rpf_if":4,"df_ordinal":0,
        "oifs":[{"if_index":5,"kind":0},{"if_index":4,"kind":0}],"mti":[],"glt":[]})");
    ASSERT_EQ(read.routes.size(), 1u);
    EXPECT_EQ(read.routes.begin()->second, (route{4, route_flag_wildcard, {5, 4}, ""}));
}

TEST(InstalledRoutes, ThatAreWrongAreRefusedWithTheirPlace) {
    const std::string place = "out.json: entry 1 (/routes/0";
    EXPECT_EQ(error_in("routes", R"({"routes":[1]})"),
              place + "): expected a route, an object, found the number 1");
    EXPECT_EQ(changed_error("routes", one_route, "253", "4294967296"),
              place + "/table): expected a number from 0 to 4294967295, found the number "
                      "4294967296");
    EXPECT_EQ(changed_error("routes", one_route, "10.0.0.9", "10.0.0"),
              place + "/source): expected an IPv4 address, found the string \"10.0.0\"");
    EXPECT_EQ(changed_error("routes", one_route, "239.1.1.2", "ff0e::1"),
              place + "/group): expected an IPv4 address, found the string \"ff0e::1\"");
    EXPECT_EQ(changed_error("routes", one_route, R"("group_len":31)", R"("group_len":33)"),
              place + "/group_len): expected a number from 0 to 32, found the number 33");
    for (const std::string word : {"88", "0x", "0xg", "0x12345678901234567"}) {
        EXPECT_EQ(changed_error("routes", one_route, "0x8000000000000188", word),
                  place +
                      "/flags_word): expected the flag word, a string like \"0x80\", found "
                      "the string \"" +
                      word + '"');
    }
    EXPECT_EQ(changed_error("routes", one_route, R"("kind":12)", R"("kind":"reg")"),
              place + "/oifs/1/kind): expected a number, found the string \"reg\"");
    EXPECT_EQ(changed_error("routes", one_route, "[[1,2,3,4]]", "{}"),
              place + "/mti): expected an array of encapsulations, found an object");
    EXPECT_EQ(error_in("routes", table_text("routes", std::string(one_route) + "," + one_route)),
              "out.json: entry 2 (/routes/1): (10.0.0.9, 239.1.1.2/31) in table 253 appears "
              "twice");
}

TEST(InstalledGroups, AreReadWithSortedPorts) {
    const state read = read_rows("l2", one_group);
    ASSERT_EQ(read.groups.size(), 1u);
    EXPECT_EQ(key_text(read.groups.begin()->first), "(10.0.0.9, 239.1.1.1) in VLAN 10");
    EXPECT_EQ(read.groups.begin()->second, (group{5, true, {{7, 0}, {9, 4}}}));
}

TEST(InstalledGroups, MayBeOfAnyFamilyAndAnySource) {
    const state read = read_rows(
        "l2",
        R"({"vlan":1,"group":"01:1b:19:00:00:00","source":null,"bridge":5,"permanent":false,"ports":[]},
           {"vlan":1,"group":"ff0e::1","source":"2001:db8::1","bridge":5,"permanent":false,"ports":[]},
           {"vlan":1,"group":"ff0e::1","source":null,"bridge":5,"permanent":false,"ports":[]})");
    ASSERT_EQ(read.groups.size(), 3u);
    std::vector<std::string> keys;
    for (const auto &[key, row] : read.groups) {
        keys.push_back(key_text(key));
        EXPECT_FALSE(row.permanent);
    }
    EXPECT_EQ(keys, (std::vector<std::string>{"(*, 01:1b:19:00:00:00) in VLAN 1",
                                              "(*, ff0e::1) in VLAN 1",
                                              "(2001:db8::1, ff0e::1) in VLAN 1"}));
}

TEST(InstalledGroups, ThatAreWrongAreRefusedWithTheirPlace) {
    const std::string place = "out.json: entry 1 (/l2/entries/0";
    EXPECT_EQ(changed_error("l2", one_group, "10,", "4095,"),
              place + "/vlan): expected a number from 1 to 4094, found the number 4095");
    EXPECT_EQ(changed_error("l2", one_group, "239.1.1.1", "all"),
              place + "/group): expected an IPv4, IPv6 or MAC address, found the string \"all\"");
    EXPECT_EQ(changed_error("l2", one_group, "10.0.0.9", "ff0e::1"),
              place + "/source): expected an address of the group's family, found the string "
                      "\"ff0e::1\"");
    EXPECT_EQ(changed_error("l2", one_group, R"("10.0.0.9")", "0"),
              place + "/source): expected an IPv4, IPv6 or MAC address, found the number 0");
    EXPECT_EQ(changed_error("l2", one_group, "true", "1"),
              place + "/permanent): expected true or false, found the number 1");
    EXPECT_EQ(changed_error("l2", one_group, R"("flags":0)", R"("flags":-1)"),
              place + "/ports/1/flags): expected a number, found the number -1");
    EXPECT_EQ(error_in("l2", table_text("l2", std::string(one_group) + "," + one_group)),
              "out.json: entry 2 (/l2/entries/1): (10.0.0.9, 239.1.1.1) in VLAN 10 appears twice");
}

TEST(InstalledFloodSets, AreReadWithSortedInterfaces) {
    const state read = read_rows("flood", one_flood_set);
    ASSERT_EQ(read.floods.size(), 1u);
    EXPECT_EQ(read.floods.begin()->first.vlan, 10u);
    EXPECT_EQ(read.floods.begin()->second, (flood_set{{1744898304, 1744961792}, 6}));
}

TEST(InstalledFloodSets, CountAsNoneWithoutInterfaces) {
    EXPECT_TRUE(
        read_rows("flood", R"({"vlan":40,"line_card_mask":0,"interfaces":[]})").floods.empty());
}

TEST(InstalledFloodSets, ThatAreWrongAreRefusedWithTheirPlace) {
    const std::string place = "out.json: entry 1 (/flood/0";
    EXPECT_EQ(changed_error("flood", one_flood_set, "6,", "-1,"),
              place + "/line_card_mask): expected a number, found the number -1");
    EXPECT_EQ(changed_error("flood", one_flood_set, "1744961792", "\"Eth2/1\""),
              place + "/interfaces/0/if_index): expected a number, found the string \"Eth2/1\"");
    EXPECT_EQ(
        error_in("flood", table_text("flood", std::string(one_flood_set) + "," + one_flood_set)),
        "out.json: entry 2 (/flood/1): VLAN 10 appears twice");
}

TEST(InstalledLtls, AreReadWithTheirIndex) {
    const state read = read_rows("ltl", one_ltl);
    ASSERT_EQ(read.ltls.size(), 1u);
    EXPECT_EQ(read.ltls.begin()->first, (ltl_key{10, 7}));
    EXPECT_EQ(read.ltls.begin()->second.interfaces, (std::vector<std::uint32_t>{8, 9}));
    EXPECT_EQ(read.ltls.begin()->second.index, 0x4000u);
}

TEST(InstalledLtls, OfOneVlanAndTagAreLeftOutButForTheFirst) {
    std::string other = one_ltl;
    other.replace(other.find("16384"), 5, "16390");
    std::string said;
    const state read =
        read_text("ltl", table_text("ltl", std::string(one_ltl) + "," + other), &said);
    ASSERT_EQ(read.ltls.size(), 1u);
    EXPECT_EQ(read.ltls.begin()->second.index, 0x4000u);
    EXPECT_EQ(said, "left out LTL 0x4006: it has the VLAN 10 and the tag 7 of LTL 0x4000\n");
}

TEST(Installed, MayBeNothing) {
    for (const char *shown : {"flood", "l2", "ltl", "routes"}) {
        EXPECT_EQ(read_rows(shown, ""), state()) << shown;
    }
}

TEST(Installed, APartOfATableIsRefused) {
    EXPECT_EQ(error_in("l2", table_text("l2", one_group, "1", R"({"vlan":10})")),
              "out.json: /narrowed: these are some of the layer-2 entries only: print them "
              "without the options that narrow them");
    EXPECT_EQ(error_in("routes", table_text("routes", one_route, "29")),
              "out.json: these are 1 of 29 routes: print them without --limit");
    EXPECT_EQ(error_in("ltl", table_text("ltl", "", "4294967296")),
              "out.json: these are 0 of 4294967296 LTLs: print them without --limit");
}

TEST(Installed, AnythingElseIsRefused) {
    EXPECT_EQ(error_in("routes", "[]"),
              "out.json: expected an object, the output of `vellsim show routes --json`, found an "
              "array of 0");
    EXPECT_EQ(error_in("flood", R"({"ltl":[]})"),
              "out.json: expected a member \"flood\" (the output of `vellsim show flood --json`), "
              "found only \"ltl\"");
    EXPECT_EQ(error_in("l2", R"({"l2":{}})"),
              "out.json: /l2: expected a member \"entries\" (an array of layer-2 entries), found "
              "an empty object");
    EXPECT_EQ(error_in("ltl", R"({"ltl":3})"),
              "out.json: /ltl: expected an array of LTLs, found the number 3");
    EXPECT_EQ(error_in("ltl", R"({"ltl":[]})"),
              "out.json: expected a member \"matched\" (a number), found only \"ltl\"");
    EXPECT_EQ(error_in("ltl", ""),
              "out.json: is empty, not even an empty JSON value; did `vellsim show` fail?");
}

} // namespace
} // namespace feed
