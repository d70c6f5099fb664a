#include "sim/switch/ltl_text.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace {

using json = nlohmann::ordered_json;

} // namespace

TEST(LtlText, ShowsIndexesInHexadecimal) {
    EXPECT_EQ(sim::ltl_text(json::parse(R"({"ltl":[
        {"index":16384,"vlan":10,"tag":7,"client":3,"pid":9,
         "interfaces":[{"if_index":1,"name":"Po12"},{"if_index":2,"name":"Eth3/7"}]},
        {"index":16400,"vlan":4094,"tag":4294967295,"client":0,"pid":9,"interfaces":[]}],
        "pool":{"first":16384,"size":1024,"in_use":3}})")),
              "LTL 0x4000  VLAN 10, tag 7, client 3 (pid 9)\n"
              "    interfaces (2): Po12, Eth3/7\n"
              "LTL 0x4010  VLAN 4094, tag 4294967295, pid 9\n"
              "    interfaces: none\n"
              "2 LTLs; 3 of 1024 in use\n");
    EXPECT_EQ(
        sim::ltl_text(json::parse(R"({"ltl":[],"pool":{"first":16384,"size":0,"in_use":0}})")),
        "0 LTLs; 0 of 0 in use\n");
}

TEST(FloodText, ShowsLineCardsAndInterfaces) {
    EXPECT_EQ(sim::flood_text(json::parse(R"({"flood":[
        {"vlan":10,"line_cards":[1,3],"line_card_mask":10,"client":3,"pid":9,
         "interfaces":[{"if_index":99,"name":"0x00000063"},{"if_index":2,"name":"Eth3/7"}]},
        {"vlan":11,"line_cards":[],"line_card_mask":0,"client":0,"pid":9,"interfaces":[]}]})")),
              "VLAN 10  client 3 (pid 9)\n"
              "    line cards (0x0000000a): 1, 3\n"
              "    interfaces (2): 0x00000063, Eth3/7\n"
              "VLAN 11  pid 9\n"
              "    line cards (0x00000000): none\n"
              "    interfaces: none\n"
              "2 flood sets\n");
    EXPECT_EQ(sim::flood_text(json::parse(R"({"flood":[]})")), "0 flood sets\n");
}

TEST(FloodText, SaysWhichLineCardsShareABit) {
    const auto text = [](const char *if_index) {
        return sim::flood_text(json::parse(fmt::format(R"({{"flood":[
            {{"vlan":10,"line_cards":[1],"line_card_mask":2,"client":0,"pid":9,
             "interfaces":[{{"if_index":{},"name":"some"}}]}}]}})",
                                                       if_index)));
    };
    EXPECT_EQ(text("1746994944"), // Eth33/7
              "VLAN 10  pid 9\n"
              "    line cards (0x00000002): 1\n"
              "      slots above 31 count as those 32, 64, ... below them\n"
              "    interfaces (1): some\n"
              "1 flood set\n");
    EXPECT_EQ(text("1746864896"), // Eth31/11
              "VLAN 10  pid 9\n"
              "    line cards (0x00000002): 1\n"
              "    interfaces (1): some\n"
              "1 flood set\n");
    EXPECT_THAT(text("402653217"), testing::Not(testing::HasSubstr("slots")))
        << "Po33 is on no line card";
}

TEST(FloodText, SaysHowManyALimitLeftOut) {
    EXPECT_EQ(sim::flood_text(json::parse(R"({"flood":[
        {"vlan":10,"line_cards":[],"line_card_mask":0,"client":0,"pid":9,"interfaces":[]},
        {"vlan":11,"line_cards":[],"line_card_mask":0,"client":0,"pid":9,"interfaces":[]}],"matched":5})")),
              "VLAN 10  pid 9\n"
              "    line cards (0x00000000): none\n"
              "    interfaces: none\n"
              "VLAN 11  pid 9\n"
              "    line cards (0x00000000): none\n"
              "    interfaces: none\n"
              "2 of 5 flood sets\n");
    EXPECT_EQ(sim::ltl_text(json::parse(R"({"ltl":[
        {"index":16384,"vlan":10,"tag":7,"client":0,"pid":9,"interfaces":[]}],"matched":3,
        "pool":{"first":16384,"size":1024,"in_use":4}})")),
              "LTL 0x4000  VLAN 10, tag 7, pid 9\n"
              "    interfaces: none\n"
              "1 of 3 LTLs; 4 of 1024 in use\n");
}
