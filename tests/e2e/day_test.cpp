// A whole day of a switch, lived by one client of the library.
#include "desk.h"

#include <string>
#include <vector>

namespace {

using nlohmann::json;

class Day : public desk {
protected:
    finished_program live() {
        return vellfeed({"day", "--routes", sample("campus.mroute.json"), "--routes-links", sample("campus.links.json"),
                         "--mdb", sample("snooping.mdb.json"), "--mdb-links", sample("snooping.links.json"),
                         "--later-mdb", sample("snooping-later.mdb.json"), "--later-mdb-links",
                         sample("snooping-later.links.json"), "--ports", sample("flood.ports.json"), "--later-ports",
                         sample("flood-later.ports.json")});
    }
};

TEST_F(Day, EndsWithEverythingHeldThatWasSent) {
    start_switch();
    const auto day = live();
    EXPECT_EQ(day.status, 0) << day.out << day.err;
    EXPECT_NE(day.out.find("What was sent and what the service and the LTL manager hold agree.\n"), std::string::npos)
        << day.out;
    for (const char *row : {"routes                      29          29     29  yes\n",
                            "layer-2 entries             56          30     30  yes\n",
                            "counters asked              29          29     29  yes\n"})
        EXPECT_NE(day.out.find(row), std::string::npos) << row << day.out;

    const json clients = show("clients");
    ASSERT_EQ(clients.size(), 1u) << "one client does it all";
    EXPECT_EQ(clients[0]["state"], "deregistered");
    EXPECT_EQ(clients[0]["refused"], 0);
    EXPECT_EQ(show("routes").size(), 29u);
    EXPECT_EQ(show("l2")["entries"].size(), 30u);
    EXPECT_EQ(show("ltl").size(), 30u);
    EXPECT_GE(show("flood").size(), 7u);
}

TEST_F(Day, WithARefusedVlanSaysWhichFloodSetIsNotHeld) {
    start_switch({"--ltl-refuse-vlan", "80"}); // which comes later in the day, without a group
    const auto day = live();
    EXPECT_EQ(day.status, 1);
    EXPECT_NE(day.out.find("flood sets: VLAN 80: missing"), std::string::npos) << day.out << day.err;
    EXPECT_NE(day.out.find("Of 5 kinds, 1 do not agree.\n"), std::string::npos) << day.out;
}

TEST_F(Day, OnASwitchThatHeldSomethingBeforeFindsIt) {
    start_switch();
    ASSERT_EQ(vellfeed({"ltl", "alloc", "--vlan", "77", "--tag", "9", "Eth3/7"}).status, 0);
    const auto day = live();
    EXPECT_EQ(day.status, 1);
    EXPECT_NE(day.out.find("LTL indexes: LTL 0x4000: unexpected"), std::string::npos) << day.out << day.err;
}

TEST_F(Day, DoesNotAgreeWhereFloodUpdatesWereRefused) {
    start_switch();
    ASSERT_EQ(vellfeed({"flood", sample("flood-later.ports.json")}).status, 0);
    const auto day = live();
    EXPECT_EQ(day.status, 1);
    EXPECT_NE(day.out.find("VLAN 10: refused: "), std::string::npos) << day.out;
    EXPECT_NE(day.out.find("updates were refused\n"), std::string::npos) << day.out;
    EXPECT_NE(day.out.find("Of 5 kinds, 1 do not agree.\n"), std::string::npos) << day.out;
}

TEST_F(Day, EndsWhenThePoolOfLtlIndexesIsExhausted) {
    start_switch({"--ltl-pool", "5"});
    const auto day = live();
    EXPECT_EQ(day.status, 1);
    EXPECT_NE(day.err.find("refused the LTL allocation"), std::string::npos) << day.err;
    EXPECT_EQ(show("ltl").size(), 5u);
}

TEST_F(Day, OutlivesASwitchThatAnswersTwice) {
    start_switch({"--ack", "twice"});
    EXPECT_EQ(live().status, 0);
}

TEST_F(Day, SendsNothingWhenARecordingIsWrong) {
    start_switch();
    const auto day =
        vellfeed({"day", "--routes", sample("campus.mroute.json"), "--routes-links", sample("campus.links.json"),
                  "--mdb", sample("snooping.links.json"), "--mdb-links", sample("snooping.links.json"), "--later-mdb",
                  sample("snooping-later.mdb.json"), "--later-mdb-links", sample("snooping-later.links.json"),
                  "--ports", sample("flood.ports.json"), "--later-ports", sample("flood-later.ports.json")});
    EXPECT_EQ(day.status, 1);
    EXPECT_EQ(show("clients").size(), 0u);
}

} // namespace
