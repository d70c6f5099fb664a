// Recorded bridge ports, fed with vellfeed: what the LTL manager holds afterwards is what the
// kernel printed, VLAN by VLAN and port by port. And LTL indexes, allocated, changed and released
// from the command line.
#include "tests/e2e/end_to_end.h"
#include "tests/e2e/recorded.h"

#include <map>
#include <string>
#include <vector>

namespace {

using nlohmann::json;
using testing::PrintToString;

struct plain_set {
    std::set<std::string> interfaces;
    std::set<int> line_cards;

    bool operator==(const plain_set &) const = default;
    friend void PrintTo(const plain_set &set, std::ostream *out) {
        *out << PrintToString(set.interfaces) << " on " << PrintToString(set.line_cards);
    }
};
using plain_sets = std::map<int, plain_set>; // by VLAN

// As the manager is to have them: eth3-7 is Eth3/7 on line card 3, po1 Po1, and cam1 if141; vlan10
// is not there.
plain_sets recorded(const json &ports) {
    plain_sets sets;
    for (const auto &port : ports) {
        plain_set &set = sets[std::stoi(port["master"].get<std::string>().substr(2))];
        const std::string name = port["ifname"];
        if (!port["mcast_flood"] || name.starts_with("vlan"))
            continue;
        if (name.starts_with("eth"))
            set.line_cards.insert(std::stoi(name.substr(3)));
        set.interfaces.insert(switch_name_of(name, port["ifindex"]));
    }
    return sets;
}

plain_sets held(const json &flood) {
    plain_sets sets;
    for (const auto &row : flood) {
        plain_set &set = sets[row["vlan"]];
        for (const auto &one : row["interfaces"])
            EXPECT_TRUE(set.interfaces.insert(one["name"]).second) << row;
        for (int card = 0; card < 32; ++card) {
            if ((row["line_card_mask"].get<std::uint32_t>() >> card & 1) != 0)
                set.line_cards.insert(card);
        }
    }
    return sets;
}

class Flood : public end_to_end {
protected:
    static std::string before() { return sample("flood-1/ports.json"); }
    static std::string after() { return sample("flood-2/ports.json"); }
    static plain_sets expected(const char *name) {
        return recorded(sample_json(std::string(name) + "/ports.json"));
    }
    plain_sets held_now() { return held(show("flood")); }

    void expect_fed(std::vector<std::string> ports) {
        ports.insert(ports.begin(), "flood");
        const auto fed = vellfeed(ports);
        ASSERT_EQ(fed.exit_code, 0) << fed.out << fed.err;
    }
    void expect_compared(const std::string &ports, int status) {
        const auto compared = vellfeed({"flood-compare", ports});
        EXPECT_EQ(compared.exit_code, status) << compared.out << compared.err;
    }
};

TEST_F(Flood, SetsArriveAsRecorded) {
    start_switch();
    expect_fed({before()});
    ASSERT_EQ(expected("flood-1").size(), 7u);
    EXPECT_EQ(held_now(), expected("flood-1"));
    expect_compared(before(), 0);
    expect_compared(after(), 1);
    EXPECT_EQ(show("clients").at(0)["refused"], 0);
}

TEST_F(Flood, TheDifferenceLeavesTheNewerSets) {
    start_switch();
    expect_fed({before()});
    const auto fed = vellfeed({"flood", before(), after()});
    ASSERT_EQ(fed.exit_code, 0) << fed.err;
    EXPECT_EQ(fed.out,
              "vellfeed: passed over 2 VLAN interfaces\n"
              "VLAN 10: added Eth1/8 Eth6/3 Eth6/4; removed Eth1/3 Eth1/4; acknowledged\n"
              "VLAN 20: added Eth3/11; removed Po2 Eth3/1 Eth3/2; acknowledged\n"
              "VLAN 30: added Po4 Eth5/9; removed if142; acknowledged\n"
              "VLAN 40: added if142; removed if151; acknowledged\n"
              "VLAN 50: unchanged; acknowledged\n"
              "VLAN 60: removed Eth5/1 Eth5/2 Eth5/3 Eth5/4; acknowledged\n"
              "VLAN 70: removed Eth6/1 Eth6/2; acknowledged\n"
              "VLAN 80: added Eth5/3 Eth5/4 Eth5/10; acknowledged\n"
              "vellfeed: updated 7 flood sets: 10 interfaces added, 13 removed; 1 unchanged\n");
    plain_sets left = expected("flood-2");
    ASSERT_NE(left, expected("flood-1"));
    left[60]; // whose bridge is gone
    EXPECT_EQ(held_now(), left);
    expect_compared(after(), 0);
    expect_fed({after(), before()});
    left = expected("flood-1");
    left[80];
    EXPECT_EQ(held_now(), left);
}

TEST_F(Flood, WhatHasNotChangedIsAcknowledgedAgainAndAgain) {
    start_switch();
    expect_fed({before()});
    for (int round = 0; round < 2; ++round)
        expect_fed({before(), before()});
    EXPECT_EQ(held_now(), expected("flood-1"));
}

TEST_F(Flood, FedTwiceIsRefusedAndLeftAlone) {
    start_switch();
    expect_fed({before()});
    const auto again = vellfeed({"flood", before()});
    EXPECT_EQ(again.exit_code, 1);
    EXPECT_NE(again.out.find("refused: an added interface is present already"), std::string::npos)
        << again.out;
    EXPECT_NE(again.err.find("refused 7 of 7 flood sets; it has flood sets already"),
              std::string::npos)
        << again.err;
    EXPECT_EQ(held_now(), expected("flood-1"));
}

TEST_F(Flood, OneVlansRefusalLeavesTheOthers) {
    start_switch({"--ltl-refuse-vlan", "20"});
    const auto fed = vellfeed({"flood", before()});
    EXPECT_EQ(fed.exit_code, 1);
    EXPECT_NE(fed.err.find("refused 1 of 7 flood sets"), std::string::npos) << fed.err;
    EXPECT_NE(fed.out.find("refused by fault mode"), std::string::npos) << fed.out;
    plain_sets left = expected("flood-1");
    left.erase(20);
    plain_sets now = held_now();
    EXPECT_TRUE(now[20].interfaces.empty());
    now.erase(20);
    EXPECT_EQ(now, left);
    const auto compared = vellfeed({"flood-compare", before()});
    EXPECT_EQ(compared.exit_code, 1);
    EXPECT_NE(compared.out.find("VLAN 20: "), std::string::npos) << compared.out;
}

TEST_F(Flood, AllVlansGoOutInOneRequest) {
    start_switch();
    json ports = json::array();
    for (int vlan = 1; vlan <= 4094; ++vlan) {
        for (int n = 0; n < 4; ++n) {
            ports.push_back({{"ifindex", vlan * 4 + n},
                             {"ifname", "v" + std::to_string(vlan) + "." + std::to_string(n)},
                             {"master", "br" + std::to_string(vlan)},
                             {"mcast_flood", true}});
        }
    }
    const auto fed = vellfeed({"flood", "-"}, ports.dump());
    ASSERT_EQ(fed.exit_code, 0) << fed.err;
    EXPECT_EQ(held_now(), recorded(ports));
}

TEST_F(Flood, AnAnswerThatNeverComesIsAnErrorInTimeThoughItWasDone) {
    start_switch({"--ltl-answer", "never"});
    const auto fed = vellfeed({"flood", before(), "--timeout", "100"});
    EXPECT_EQ(fed.exit_code, 1);
    EXPECT_NE(fed.err.find("did not answer the flood update within 100 ms"), std::string::npos)
        << fed.err;
    EXPECT_EQ(held_now(), expected("flood-1"));
    expect_compared(before(), 0);
}

TEST_F(Flood, ALateAnswerIsWaitedFor) {
    start_switch({"--ltl-answer", "late:300"});
    expect_fed({before()});
    EXPECT_EQ(held_now(), expected("flood-1"));
}

TEST_F(Flood, ASecondAnswerDoesNoHarm) {
    start_switch({"--ltl-answer", "twice"});
    expect_fed({before()});
    expect_fed({before(), after()});
    expect_compared(after(), 0);
}

class Ltl : public end_to_end {
protected:
    command_result ltl(std::vector<std::string> command) {
        command.insert(command.begin(), "ltl");
        return vellfeed(command);
    }
    void expect_done(const std::vector<std::string> &command, const std::string &said) {
        const auto done = ltl(command);
        EXPECT_EQ(done.exit_code, 0) << done.err;
        EXPECT_EQ(done.out, said + "\n");
    }
    void expect_refused(const std::vector<std::string> &command, const std::string &reason) {
        const auto refused = ltl(command);
        EXPECT_EQ(refused.exit_code, 1) << refused.out;
        EXPECT_NE(refused.err.find(reason), std::string::npos) << refused.err;
    }
    // "0x4000 VLAN 10 tag 7: Po1 Eth3/7", of each.
    std::vector<std::string> held_ltls() {
        std::vector<std::string> rows;
        for (const auto &row : show("ltl")) {
            std::string text = std::to_string(row["index"].get<int>()) + " VLAN " +
                               std::to_string(row["vlan"].get<int>()) + " tag " +
                               std::to_string(row["tag"].get<int>()) + ":";
            for (const auto &one : row["interfaces"])
                text += " " + one["name"].get<std::string>();
            rows.push_back(text);
        }
        return rows;
    }
    using texts = std::vector<std::string>;
};

TEST_F(Ltl, IsAllocatedChangedAndReleased) {
    start_switch();
    expect_done({"alloc", "--vlan", "10", "--tag", "7", "Eth3/7", "Po1"},
                "allocated LTL 0x4000 with 2 interfaces: Eth3/7 Po1");
    expect_done({"alloc", "--vlan", "20", "--tag", "8", "Vlan20"},
                "allocated LTL 0x4001 with 1 interface: Vlan20");
    EXPECT_EQ(held_ltls(),
              (texts{"16384 VLAN 10 tag 7: Po1 Eth3/7", "16385 VLAN 20 tag 8: Vlan20"}));
    expect_done({"modify", "0x4000", "--tag", "7", "Eth3/8/2", "if12"},
                "changed LTL 0x4000 with 2 interfaces: Eth3/8/2 if12");
    EXPECT_EQ(held_ltls(),
              (texts{"16384 VLAN 10 tag 7: if12 Eth3/8/2", "16385 VLAN 20 tag 8: Vlan20"}));
    expect_done({"release", "16384", "--tag", "7"}, "released LTL 0x4000");
    EXPECT_EQ(held_ltls(), (texts{"16385 VLAN 20 tag 8: Vlan20"}));
    expect_done({"alloc", "--vlan", "30", "--tag", "9", "--no-ports"},
                "allocated LTL 0x4000 with 0 interfaces: none");
    EXPECT_EQ(held_ltls(), (texts{"16384 VLAN 30 tag 9:", "16385 VLAN 20 tag 8: Vlan20"}));
}

TEST_F(Ltl, StandsForTheRecordedPortsOfAGroup) {
    start_switch();
    const std::vector<std::string> ports = {"--mdb", sample("snooping-1/mdb.json"), "--links",
                                            sample("snooping-1/links.json"), "--group"};
    std::vector<std::string> alloc = {"alloc", "--vlan", "10", "--tag", "7"};
    alloc.insert(alloc.end(), ports.begin(), ports.end());
    alloc.emplace_back("239.255.255.250");
    // The bridge itself, lan1, lan2, lan5 and lan6.
    expect_done(alloc, "allocated LTL 0x4000 with 5 interfaces: if101 if102 if105 if106 Vlan10");
    std::vector<std::string> modify = {"modify", "0x4000", "--tag",    "7",
                                       "--vlan", "20",     "--source", "198.51.100.7"};
    modify.insert(modify.end(), ports.begin(), ports.end());
    modify.emplace_back("232.1.1.1");
    expect_done(modify, "changed LTL 0x4000 with 2 interfaces: if111 if113");
    EXPECT_EQ(held_ltls(), (texts{"16384 VLAN 10 tag 7: if111 if113"}));
}

TEST_F(Ltl, RefusalsSayTheReasonAndChangeNothing) {
    start_switch({"--ltl-pool", "1", "--ltl-refuse-vlan", "99"});
    expect_refused({"alloc", "--vlan", "99", "--tag", "7", "Po1"}, "refused by fault mode");
    expect_refused({"alloc", "--vlan", "10", "--tag", "7", "Po1", "Po1"},
                   "an interface is in the list twice");
    expect_done({"alloc", "--vlan", "10", "--tag", "7", "Po1"},
                "allocated LTL 0x4000 with 1 interface: Po1");
    expect_refused({"alloc", "--vlan", "10", "--tag", "8", "Po1"}, "the pool is exhausted");
    expect_refused({"modify", "0x4001", "--tag", "7", "Po2"}, "there is no such LTL");
    expect_refused({"modify", "0x4000", "--tag", "8", "Po2"}, "the tag does not match");
    expect_refused({"modify", "0x4000", "--tag", "7", "Po2", "Po2"},
                   "an interface is in the list twice");
    expect_refused({"release", "0x4001", "--tag", "7"}, "there is no such LTL");
    expect_refused({"release", "0x4000", "--tag", "8"}, "the tag does not match");
    EXPECT_EQ(held_ltls(), (texts{"16384 VLAN 10 tag 7: Po1"}));
}

class LtlAnswers : public Ltl, public testing::WithParamInterface<const char *> {};

TEST_P(LtlAnswers, MayBeLateOrTwice) {
    start_switch({"--ltl-answer", GetParam()});
    expect_done({"alloc", "--vlan", "10", "--tag", "7", "Po1"},
                "allocated LTL 0x4000 with 1 interface: Po1");
    expect_done({"modify", "0x4000", "--tag", "7", "Po2"},
                "changed LTL 0x4000 with 1 interface: Po2");
    expect_done({"release", "0x4000", "--tag", "7"}, "released LTL 0x4000");
    EXPECT_EQ(held_ltls(), texts{});
}

INSTANTIATE_TEST_SUITE_P(Answers, LtlAnswers, testing::Values("late:300", "twice"));

TEST_F(Ltl, AnAnswerThatNeverComesIsAnErrorInTime) {
    start_switch({"--ltl-answer", "never"});
    const auto asked = ltl({"alloc", "--vlan", "10", "--tag", "7", "--timeout", "100", "Po1"});
    EXPECT_EQ(asked.exit_code, 1);
    EXPECT_NE(asked.err.find("did not answer the LTL allocation within 100 ms"), std::string::npos)
        << asked.err;
    EXPECT_EQ(held_ltls(), (texts{"16384 VLAN 10 tag 7: Po1"}));
}

} // namespace
