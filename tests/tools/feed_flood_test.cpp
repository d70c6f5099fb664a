#include "tests/support/scratch.h"
#include "tests/tools/ports_text.h"
#include "tests/tools/program_fixture.h"

namespace feed {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;
using opcodes = std::vector<std::uint32_t>;

constexpr std::uint32_t general_flood = 16; // the kind of an answer

constexpr char held_text[] = R"({"flood":[
    {"vlan":10,"line_card_mask":10,"interfaces":[{"if_index":1744896256},{"if_index":1745027328}]},
    {"vlan":20,"line_card_mask":0,"interfaces":[{"if_index":402653185}]}]})";

class FeedFlood : public program_fixture {
protected:
    std::string older() {
        return write_file(
            "older", ports_text({port_text("br10", "eth1-1", 1), port_text("br10", "eth2-1", 2)}));
    }
    // VLAN 20 came, and eth3-1 in the place of eth2-1.
    std::string newer() {
        return write_file(
            "newer", ports_text({port_text("br10", "eth3-1", 3), port_text("br10", "eth1-1", 1),
                                 port_text("br20", "vlan20", 4), port_text("br20", "po1", 5)}));
    }

    void answer_with(std::vector<std::optional<fake_answer>> answers) {
        start_over();
        simulator.answers.insert(simulator.answers.end(), answers.begin(), answers.end());
    }
    static fake_answer acknowledged() {
        return {word_bytes({general_flood, 0, 1, 2, 10, 1, 1, 0, 20, 1, 0, 0}), flood_update};
    }

    // What is said of an answer that is not the one waited for.
    std::string error_with(const fake_answer &answer) {
        answer_with({answer});
        EXPECT_EQ(run({"flood", older(), newer()}), 1);
        EXPECT_EQ(out, "");
        EXPECT_EQ(sent_opcodes(), (opcodes{registration, flood_update, deregistration}));
        expect_all_closed();
        return err;
    }
};

TEST_F(FeedFlood, TellsWhatChanged) {
    answer_with({acknowledged()});
    EXPECT_EQ(run({"flood", older(), newer()}), 0) << err;
    EXPECT_EQ(out, "vellfeed: passed over 1 VLAN interface\n"
                   "VLAN 10: added Eth3/1; removed Eth2/1; acknowledged\n"
                   "VLAN 20: added Po1; acknowledged\n"
                   "vellfeed: updated 2 flood sets: 2 interfaces added, 1 removed; 0 unchanged\n");
    ASSERT_EQ(sent_opcodes(), (opcodes{registration, flood_update, deregistration}));
    EXPECT_EQ(simulator.requests[1].sap, 230u);
    const bytes &request = simulator.requests[1].payload;
    EXPECT_EQ(request, word_bytes({1, // the context, which comes back with the answer
                                   2, // VLANs
                                   10,         0, 0,          0x0a, 0, 2, // line cards, updates
                                   0x68020100, 2, 0x68030100, 1,          // a removal, an addition
                                   20,         0, 0,          0,    0, 1, 0x18000001, 1}));
    expect_all_closed();
}

TEST_F(FeedFlood, WithoutAnOlderListEverythingIsAdded) {
    answer_with({acknowledged()});
    EXPECT_EQ(run({"flood", newer()}), 0) << err;
    EXPECT_THAT(out, HasSubstr("VLAN 10: added Eth1/1 Eth3/1; acknowledged\n"));
    EXPECT_THAT(
        out,
        EndsWith("vellfeed: updated 2 flood sets: 3 interfaces added, 0 removed; 0 unchanged\n"));
}

TEST_F(FeedFlood, WhatHasNotChangedIsToldWithItsLineCards) {
    answer_with({fake_answer(word_bytes({general_flood, 0, 1, 1, 10, 0, 0, 0}), flood_update)});
    EXPECT_EQ(run({"flood", older(), older()}), 0) << err;
    EXPECT_EQ(out, "VLAN 10: unchanged; acknowledged\n"
                   "vellfeed: updated 0 flood sets: 0 interfaces added, 0 removed; 1 unchanged\n");
    const bytes &request = simulator.requests.at(1).payload;
    EXPECT_EQ(bytes(request.begin() + 4, request.end()), word_bytes({1, 10, 0, 0, 6, 0, 0}));
}

TEST_F(FeedFlood, ARefusalIsToldWithItsReason) {
    const fake_answer refused(word_bytes({general_flood, 1, 1, 2, 10, 0, 0, 6, 20, 1, 0, 0}),
                              flood_update);
    answer_with({refused});
    EXPECT_EQ(run({"flood", older(), newer()}), 1);
    EXPECT_THAT(
        out,
        HasSubstr(
            "VLAN 10: added Eth3/1; removed Eth2/1; refused: a removed interface is absent (status "
            "6)\nVLAN 20: added Po1; acknowledged\n"
            "vellfeed: updated 1 flood set: 1 interface added, 0 removed; 0 unchanged\n"));
    EXPECT_EQ(err, "vellfeed: the LTL manager refused 1 of 2 flood sets; it does not hold what OLD "
                   "says: `vellsim show "
                   "flood` tells what it holds\n");
    expect_all_closed();
    answer_with({refused});
    EXPECT_EQ(run({"flood", older(), newer(), "--quiet"}), 1);
    EXPECT_EQ(out, "");
    EXPECT_EQ(err, "vellfeed: the LTL manager refused 1 of 2 flood sets; it does not hold what OLD "
                   "says: `vellsim show "
                   "flood` tells what it holds\n");
}

TEST_F(FeedFlood, AFailureWithoutARefusalIsTold) {
    answer_with({fake_answer(word_bytes({general_flood, 1, 1, 2, 10, 1, 1, 0, 20, 1, 0, 0}),
                             flood_update)});
    EXPECT_EQ(run({"flood", older(), newer()}), 1);
    EXPECT_EQ(err, "vellfeed: the LTL manager acknowledged every flood set, but says that the "
                   "update failed\n");
}

TEST_F(FeedFlood, AnAnswerToSomethingElseIsNone) {
    const std::string prefix = "vellfeed: the switch answered the flood update with a message of ";
    EXPECT_EQ(error_with({word_bytes({14, 0, 1, 0}), ltl_modification}),
              prefix + "16 bytes that is no answer to it: opcode 90002, expected opcode 90004\n");
    const std::string another_form = " bytes that is no answer to it: it has another form\n";
    EXPECT_EQ(error_with({{}, flood_update}), prefix + "0" + another_form);
    EXPECT_EQ(error_with({word_bytes({general_flood, 0, 1, 0}), flood_update}),
              prefix + "16" + another_form);
    EXPECT_EQ(error_with({word_bytes({14, 0, 1, 1, 10, 0, 0, 0}), flood_update}),
              prefix + "32" + another_form);
    fake_answer elsewhere = acknowledged();
    elsewhere.sap = 213;
    EXPECT_EQ(error_with(elsewhere), prefix + "48" + another_form);
    EXPECT_EQ(error_with({word_bytes({general_flood, 0, 1, 1, 10, 1, 1, 0}), flood_update}),
              prefix + "32 bytes that is no answer to it: it is of 1 VLANs, expected 2\n");
    EXPECT_EQ(
        error_with({word_bytes({general_flood, 0, 1, 2, 10, 1, 1, 0, 30, 0, 0, 0}), flood_update}),
        prefix + "48 bytes that is no answer to it: entry 2 is of VLAN 30, expected VLAN 20\n");
}

TEST_F(FeedFlood, AMissingAnswerIsTold) {
    EXPECT_EQ(run({"flood", older(), newer(), "--timeout", "70"}), 1);
    EXPECT_EQ(
        err,
        "vellfeed: the switch did not answer the flood update within 70 ms; the request may have "
        "been "
        "carried out all the same, which `vellsim show flood` tells (to wait longer: --timeout)\n");
    EXPECT_EQ(simulator.last_timeout, 70);
    EXPECT_EQ(sent_opcodes(), (opcodes{registration, flood_update, deregistration}));
    expect_all_closed();
}

TEST_F(FeedFlood, ASecondAnswerIsLetGo) {
    answer_with({acknowledged(), acknowledged()});
    EXPECT_EQ(run({"flood", older(), newer()}), 0) << err;
    EXPECT_EQ(simulator.received, 3u);
    expect_all_closed();
}

TEST_F(FeedFlood, AnAnswerWithAnotherContextIsNone) {
    EXPECT_EQ(
        error_with({word_bytes({general_flood, 0, 2, 2, 10, 1, 1, 0, 20, 1, 0, 0}), flood_update}),
        "vellfeed: the switch answered the flood update with a message of 48 bytes that is no "
        "answer to it: cookie "
        "2, expected cookie 1\n");
}

TEST_F(FeedFlood, OfWhatTheManagerHasAlreadyTheOlderListIsAskedFor) {
    answer_with({fake_answer(word_bytes({general_flood, 1, 1, 2, 10, 0, 0, 5, 20, 1, 0, 0}),
                             flood_update)});
    EXPECT_EQ(run({"flood", newer()}), 1);
    EXPECT_EQ(err, "vellfeed: the LTL manager refused 1 of 2 flood sets; it has flood sets "
                   "already: name the ports that "
                   "they were made of as OLD\n");
    answer_with({fake_answer(word_bytes({general_flood, 1, 1, 2, 10, 0, 0, 1, 20, 1, 0, 0}),
                             flood_update)});
    EXPECT_EQ(run({"flood", newer()}), 1);
    EXPECT_EQ(err, "vellfeed: the LTL manager refused 1 of 2 flood sets\n")
        << "by fault mode: nothing helps";
}

TEST_F(FeedFlood, WhatWasAcknowledgedIsToldThoughTheSwitchGoesAway) {
    answer_with({acknowledged()});
    simulator.result_without_answer = -1;
    EXPECT_EQ(run({"flood", older(), newer()}), 1);
    EXPECT_THAT(out, HasSubstr("VLAN 10: added Eth3/1; removed Eth2/1; acknowledged\n"));
    EXPECT_THAT(err, HasSubstr("the switch closed the connection"));
}

TEST_F(FeedFlood, ABridgeThatIsNowhereIsMistyped) {
    for (const auto &[option, bridge] :
         {std::pair<const char *, const char *>{"--bridge", "br11"}, {"--vlan", "lan=7"}}) {
        EXPECT_EQ(run({"flood", older(), newer(), option, bridge}), 1);
        EXPECT_EQ(err,
                  fmt::format("vellfeed: {} \"{}\": no bridge of this name has a port\n", option,
                              std::string(bridge).substr(0, std::string(bridge).find('='))));
        EXPECT_EQ(run({"flood-compare", newer(), option, bridge, "--held",
                       write_file("held", held_text)}),
                  1);
        EXPECT_THAT(err, HasSubstr("no bridge of this name has a port"));
    }
    EXPECT_TRUE(simulator.requests.empty());
    // Gone since, which is what is to be told.
    answer_with({fake_answer(word_bytes({general_flood, 0, 1, 1, 20, 0, 1, 0}), flood_update)});
    EXPECT_EQ(run({"flood", newer(), older(), "--bridge", "br20"}), 0) << err;
    EXPECT_THAT(out, HasSubstr("VLAN 20: removed Po1; acknowledged\n"));
}

TEST_F(FeedFlood, EachSendMayFail) {
    const std::string errors[] = {
        "no switch answers in /run/sim; start one with `vellsim run`, or point VELLSIM_RUN_DIR at "
        "its run directory",
        "the flood update could not be sent: the switch went away",
        "everything was sent, but the switch went away before the client could deregister"};
    for (std::size_t i = 0; i < std::size(errors); ++i) {
        answer_with({acknowledged()});
        simulator.fail_send = i;
        EXPECT_EQ(run({"flood", older(), newer(), "--quiet"}), 1);
        EXPECT_EQ(err, "vellfeed: " + errors[i] + "\n");
        EXPECT_EQ(simulator.requests.size(), i);
        expect_all_closed();
    }
}

TEST_F(FeedFlood, AsManyVlansAsThereAreGoOutInOneRequest) {
    std::string ports;
    bytes answer = word_bytes({general_flood, 0, 1, 4094});
    for (unsigned vlan = 1; vlan <= 4094; ++vlan) {
        for (unsigned n = 0; n < 4; ++n) {
            ports +=
                (ports.empty() ? "[" : ",") +
                port_text(fmt::format("br{}", vlan), fmt::format("v{}p{}", vlan, n), vlan * 4 + n);
        }
        const bytes info = word_bytes({vlan, 4, 0, 0});
        answer.insert(answer.end(), info.begin(), info.end());
    }
    answer_with({fake_answer(answer, flood_update)});
    EXPECT_EQ(run({"flood", write_file("all", ports + "]")}), 0) << err;
    EXPECT_THAT(
        out,
        EndsWith(
            "vellfeed: updated 4094 flood sets: 16376 interfaces added, 0 removed; 0 unchanged\n"));
    ASSERT_EQ(sent_opcodes(), (opcodes{registration, flood_update, deregistration}));
    EXPECT_EQ(simulator.requests[1].payload.size(), 4u + 4 + 4094 * 24 + 16376 * 8);
}

TEST_F(FeedFlood, WithoutPortsNothingIsSent) {
    EXPECT_EQ(run({"flood", write_file("none", "[]")}), 0) << err;
    EXPECT_EQ(out, "vellfeed: no bridge has a port: nothing was sent\n");
    EXPECT_TRUE(simulator.requests.empty());
}

TEST_F(FeedFlood, TakesOtherBridgesAsItIsTold) {
    const std::string ports = write_file(
        "lan", ports_text({port_text("lan", "eth1-1", 1), port_text("wan", "eth1-2", 2)}));
    answer_with({fake_answer(word_bytes({general_flood, 0, 1, 1, 7, 1, 0, 0}), flood_update)});
    EXPECT_EQ(run({"flood", "--vlan", "lan=7", "--bridge", "lan", ports}), 0) << err;
    EXPECT_EQ(out, "vellfeed: left out 1 port of other bridges\n"
                   "VLAN 7: added Eth1/1; acknowledged\n"
                   "vellfeed: updated 1 flood set: 1 interface added, 0 removed; 0 unchanged\n");
    start_over();
    EXPECT_EQ(run({"flood", ports, "--vlan", "lan=7"}), 1);
    EXPECT_THAT(err, HasSubstr("the bridge \"wan\" has no VLAN in its name"));
    EXPECT_TRUE(simulator.requests.empty());
}

TEST_F(FeedFlood, TakesThePortsOfThisMachine) {
    const stand_in_programs programs;
    programs.put("bridge", "[ \"$*\" = \"-j -d link show\" ] && cat " + newer());
    answer_with({acknowledged()});
    EXPECT_EQ(run({"flood", older(), "--live"}), 0) << err;
    EXPECT_THAT(out, HasSubstr("VLAN 10: added Eth3/1; removed Eth2/1; acknowledged\n"));
    answer_with({acknowledged()});
    EXPECT_EQ(run({"flood", "--live"}), 0) << err;
    EXPECT_THAT(out, HasSubstr("VLAN 10: added Eth1/1 Eth3/1; acknowledged\n"));
    EXPECT_EQ(run({"flood-compare", "--live", "--held", write_file("held", held_text)}), 0)
        << out << err;
}

TEST_F(FeedFlood, ComparesWithWhatIsHeld) {
    const std::string held = write_file("held", held_text);
    EXPECT_EQ(run({"flood-compare", newer(), "--held", held}), 0) << err;
    EXPECT_EQ(out, "all 2 fed flood sets arrived\n");
    EXPECT_EQ(run({"flood-compare", older(), "--held", held}), 1);
    EXPECT_EQ(out, "VLAN 10: line cards: fed 1 2, held 1 3\n"
                   "VLAN 10: interfaces: fed Eth1/1 Eth2/1, held Eth1/1 Eth3/1\n"
                   "VLAN 20: unexpected: held, not fed\n"
                   "of 1 fed flood sets 0 arrived, 1 differ, 0 are missing; 1 unexpected\n");
    EXPECT_EQ(run({"flood-compare", older(), "--held", held, "--quiet"}), 1);
    EXPECT_EQ(out, "");
    EXPECT_TRUE(simulator.requests.empty());
}

TEST_F(FeedFlood, WrongPortsAreRefusedBeforeAnythingIsSent) {
    const std::string wrong = write_file("wrong", "{");
    for (const auto &command :
         {std::vector<std::string>{"flood", wrong}, {"flood", wrong, newer()}}) {
        EXPECT_EQ(run(command), 1);
        EXPECT_THAT(err, StartsWith("vellfeed: " + wrong));
    }
    EXPECT_TRUE(simulator.requests.empty());
}

TEST_F(FeedFlood, WrongUsageHasItsOwnExitCode) {
    const std::string ports = newer();
    expect_wrong_usage({
        {{"flood"}, "which ports? Name a file, - for standard input, or --live for this machine"},
        {{"flood", ports, ports, ports},
         "there are too many lists of ports: an older one and a newer one, for which --live may "
         "stand"},
        {{"flood", ports, ports, "--live"},
         "there are too many lists of ports: an older one and a newer one, for which --live may "
         "stand"},
        {{"flood", "-", "-"}, "standard input (-) can be read only once"},
        {{"flood", ports, "--vlan", "lan"},
         "--vlan lan: expected BRIDGE=N with a VLAN id N from 1 to 4094"},
        {{"flood", ports, "--vlan", "lan=4095"},
         "--vlan lan=4095: expected BRIDGE=N with a VLAN id N from 1 to 4094"},
        {{"flood-compare"},
         "which ports? Name a file, - for standard input, or --live for this machine"},
        {{"flood-compare", ports, "--live"},
         "which ports? Name a file, - for standard input, or --live for this machine"},
        {{"flood-compare", ports, ports}, "`vellfeed flood-compare` takes no \"" + ports + "\""},
        {{"flood-compare", "-", "--held", "-"}, "standard input (-) can be read only once"},
    });
}

} // namespace
} // namespace feed
