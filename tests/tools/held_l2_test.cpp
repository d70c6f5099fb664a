#include "held_l2.h"
#include "tests/tools/error_of.h"

#include <gtest/gtest.h>

namespace feed {
namespace {

constexpr char one_entry[] =
    R"({"vlan":10,"group":"239.1.1.1","kind":"ipv4","source":"10.0.0.9","bridge":5,"permanent":true,"client":1,
        "ports":[{"if_index":9,"flags":4},{"if_index":7,"flags":0}]})";

std::vector<l2_entry> held_of(const std::string &entries) {
    return parse_held_l2({"held.json", R"({"l2":{"entries":[)" + entries + R"(],"markers":[]}})"});
}

// The error of an entry in which the text `from` is replaced by `to`.
std::string changed_error(const std::string &from, const std::string &to) {
    std::string text = one_entry;
    text.replace(text.find(from), from.size(), to);
    return error_of([&] { held_of(text); });
}

TEST(HeldL2, ReadsEveryField) {
    const auto entries = held_of(one_entry);
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(key_text(entries[0].key), "(10.0.0.9, 239.1.1.1) in VLAN 10");
    EXPECT_EQ(entries[0].bridge, 5u);
    EXPECT_TRUE(entries[0].permanent);
    EXPECT_EQ(entries[0].ports, (std::vector<l2_port>{{7, 0}, {9, 4}}));
}

TEST(HeldL2, ReadsEachKindWithAnySource) {
    const auto entries = held_of(
        R"({"vlan":1,"group":"ff0e::1","kind":"ipv6","source":null,"bridge":5,"permanent":false,"ports":[]},
           {"vlan":1,"group":"ff0e::1","kind":"ipv6","source":"2001:db8::1","bridge":5,"permanent":false,"ports":[]},
           {"vlan":1,"group":"01:1b:19:00:00:00","kind":"mac","source":null,"bridge":5,"permanent":false,"ports":[]})");
    ASSERT_EQ(entries.size(), 3u);
    EXPECT_EQ(key_text(entries[0].key), "(*, ff0e::1) in VLAN 1");
    EXPECT_EQ(key_text(entries[1].key), "(2001:db8::1, ff0e::1) in VLAN 1");
    EXPECT_EQ(key_text(entries[2].key), "(*, 01:1b:19:00:00:00) in VLAN 1");
    EXPECT_FALSE(entries[2].permanent);
}

TEST(HeldL2, APartOfWhatIsHeldIsRefused) {
    const auto error_in = [](const std::string &answer) {
        return error_of([&answer] { parse_held_l2({"held.json", answer}); });
    };
    EXPECT_EQ(error_in(R"({"l2":{"entries":[]},"matched":0,"narrowed":{"vlan":10}})"),
              "held.json: these are some of the layer-2 entries only: print them without the "
              "options that narrow them");
    EXPECT_EQ(error_in(R"({"l2":{"entries":[]},"matched":3,"narrowed":null})"),
              "held.json: these are 0 of 3 layer-2 entries: print them without --limit");
}

TEST(HeldL2, ASwitchMayHoldNone) {
    EXPECT_TRUE(held_of("").empty());
}

TEST(HeldL2, AnythingElseIsRefusedWithItsPlace) {
    const auto error = [](const std::string &text) {
        return error_of([&] { parse_held_l2({"held.json", text}); });
    };
    EXPECT_EQ(
        error(""),
        "held.json: is empty, not even an empty JSON value; did `vellsim show l2 --json` fail?");
    EXPECT_EQ(error("[]"), "held.json: expected an object with \"l2\", the output of `vellsim show "
                           "l2 --json`, found an "
                           "array of 0");
    EXPECT_EQ(error(R"({"routes":[]})"),
              "held.json: expected a member \"l2\" (what is held), found only \"routes\"");
    EXPECT_EQ(error(R"({"l2":{}})"), "held.json: /l2: expected a member \"entries\" (an array of "
                                     "layer-2 entries), found an empty object");
    EXPECT_EQ(error(R"({"l2":{"entries":[1]}})"),
              "held.json: /l2/entries/0: expected a layer-2 entry, an object, found the number 1");
}

TEST(HeldL2, WrongFieldsAreRefusedWithTheirPlace) {
    const std::string place = "held.json: /l2/entries/0";
    EXPECT_EQ(changed_error("10,", "\"10\","),
              place + "/vlan: expected a number, found the string \"10\"");
    EXPECT_EQ(changed_error("ipv4", "ip"),
              place + "/kind: expected \"ipv4\", \"ipv6\" or \"mac\", found the string \"ip\"");
    EXPECT_EQ(changed_error("ipv4", "mac"),
              place + "/group: expected an address of kind mac, found the string \"239.1.1.1\"");
    EXPECT_EQ(changed_error("10.0.0.9", "ff0e::1"),
              place + "/source: expected an address of kind ipv4, found the string \"ff0e::1\"");
    EXPECT_EQ(changed_error(R"("10.0.0.9")", "0"),
              place + "/source: expected an address of kind ipv4, found the number 0");
    EXPECT_EQ(changed_error(R"("bridge":5,)", ""),
              place + ": expected a member \"bridge\" (a number), found only \"client\", "
                      "\"group\", \"kind\", "
                      "\"permanent\", \"ports\", \"source\", \"vlan\"");
    EXPECT_EQ(changed_error("true", "1"),
              place + "/permanent: expected true or false, found the number 1");
    EXPECT_EQ(changed_error(R"("flags":0)", R"("flags":-1)"),
              place + "/ports/1/flags: expected a number, found the number -1");
    EXPECT_EQ(changed_error(R"([{"if_index":9,"flags":4},{"if_index":7,"flags":0}])", "{}"),
              place + "/ports: expected an array of ports, found an object");
}

TEST(HeldL2, AnEntryThatStandsTwiceIsRefused) {
    EXPECT_EQ(error_of([] { held_of(std::string(one_entry) + "," + one_entry); }),
              "held.json: /l2/entries/1: (10.0.0.9, 239.1.1.1) in VLAN 10 stands twice");
}

} // namespace
} // namespace feed
