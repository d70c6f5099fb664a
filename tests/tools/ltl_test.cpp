#include "tests/tools/mdb_text.h"
#include "tests/tools/program_fixture.h"

#include <fmt/format.h>

namespace feed {
namespace {

using testing::HasSubstr;
using opcodes = std::vector<std::uint32_t>;

class Ltl : public program_fixture {
protected:
    void answer_with(const fake_answer &answer) {
        start_over();
        simulator.answers.emplace_back(answer);
    }

    // What is said of an answer that is not success.
    std::string error_with(const std::vector<std::string> &command, const fake_answer &answer) {
        answer_with(answer);
        EXPECT_EQ(run(command), 1);
        EXPECT_EQ(out, "");
        EXPECT_EQ(sent_opcodes().size(), 3u);
        expect_all_closed();
        return err;
    }

    const std::vector<std::string> alloc = {"ltl", "alloc",  "--vlan", "10",    "--tag",
                                            "7",   "Eth3/7", "Po1",    "Vlan10"};
    const std::vector<std::string> modify = {"ltl", "modify", "0x4000", "--tag", "7", "Eth3/7"};
    const std::vector<std::string> release = {"ltl", "release", "16384", "--tag", "7"};
};

TEST_F(Ltl, IsAllocatedForInterfacesByName) {
    answer_with({word_bytes({of_allocation, 0, 1, 1, 7, 0x4000, 3, 0}), ltl_allocation});
    EXPECT_EQ(run(alloc), 0) << err;
    EXPECT_EQ(out, "allocated LTL 0x4000 with 3 interfaces: Eth3/7 Po1 Vlan10\n");
    ASSERT_EQ(sent_opcodes(), (opcodes{registration, ltl_allocation, deregistration}));
    EXPECT_EQ(simulator.requests[1].sap, 230u);
    EXPECT_EQ(simulator.requests[1].payload,
              word_bytes({1, 1, 10, 7, 3, 0x68030700, 0x18000001, 0x1400000a}));
    expect_all_closed();
}

TEST_F(Ltl, IsAllocatedForAGroupsPorts) {
    const std::string mdb = write_file("mdb", mdb_text(R"(
        {"index":2,"dev":"br10","port":"eth3-7","grp":"239.1.1.1","state":"temp"},
        {"index":2,"dev":"br10","port":"lan1","grp":"239.1.1.1","state":"temp"})"));
    const std::string links = write_file("links", R"([{"ifindex":17,"ifname":"lan1"}])");
    answer_with({word_bytes({of_allocation, 0, 1, 1, 7, 0x4001, 2, 0}), ltl_allocation});
    EXPECT_EQ(run({"ltl", "alloc", "--vlan", "10", "--tag", "7", "--mdb", mdb, "--links", links,
                   "--group", "239.1.1.1"}),
              0)
        << err;
    EXPECT_EQ(out, "allocated LTL 0x4001 with 2 interfaces: if17 Eth3/7\n");
    EXPECT_EQ(simulator.requests.at(1).payload,
              word_bytes({1, 1, 10, 7, 2, 0x04000011, 0x68030700}));
}

TEST_F(Ltl, MayBeOfNoInterface) {
    answer_with({word_bytes({of_allocation, 0, 1, 1, 7, 0x4000, 0, 0}), ltl_allocation});
    EXPECT_EQ(run({"ltl", "alloc", "--vlan", "10", "--tag", "7", "--no-ports"}), 0) << err;
    EXPECT_EQ(out, "allocated LTL 0x4000 with 0 interfaces: none\n");
    EXPECT_EQ(simulator.requests.at(1).payload, word_bytes({1, 1, 10, 7, 0}));
}

TEST_F(Ltl, IsGivenOtherInterfaces) {
    answer_with({word_bytes({of_modification, 0, 1, 1, 0x4000, 7, 1, 0}), ltl_modification});
    EXPECT_EQ(run(modify), 0) << err;
    EXPECT_EQ(out, "changed LTL 0x4000 with 1 interface: Eth3/7\n");
    ASSERT_EQ(sent_opcodes(), (opcodes{registration, ltl_modification, deregistration}));
    EXPECT_EQ(simulator.requests[1].payload, word_bytes({1, 1, 0x4000, 7, 1, 0x68030700}));
    expect_all_closed();
}

TEST_F(Ltl, IsReleased) {
    answer_with({word_bytes({of_release, 0, 1, 1, 0x4000, 7, 0, 0}), ltl_release});
    EXPECT_EQ(run(release), 0) << err;
    EXPECT_EQ(out, "released LTL 0x4000\n");
    ASSERT_EQ(sent_opcodes(), (opcodes{registration, ltl_release, deregistration}));
    EXPECT_EQ(simulator.requests[1].payload, word_bytes({1, 1, 0x4000, 7, 0}));
    expect_all_closed();
}

TEST_F(Ltl, ARefusalSaysTheReason) {
    EXPECT_EQ(error_with(alloc, {word_bytes({of_allocation, 3, 1, 1, 7, 0, 0, 3}), ltl_allocation}),
              "vellfeed: the LTL manager refused the LTL allocation for VLAN 10 with tag 7: the "
              "pool is exhausted "
              "(status 3)\n");
    EXPECT_EQ(error_with(modify, {word_bytes({of_modification, 1, 1, 1, 0x4000, 7, 0, 2}),
                                  ltl_modification}),
              "vellfeed: the LTL manager refused the LTL modification of LTL 0x4000 with tag 7: "
              "there is no such LTL "
              "(status 2)\n");
    EXPECT_EQ(
        error_with(release, {word_bytes({of_release, 1, 1, 1, 0x4000, 7, 0, 4}), ltl_release}),
        "vellfeed: the LTL manager refused the LTL release of LTL 0x4000 with tag 7: the tag does "
        "not match "
        "(status 4)\n");
    EXPECT_EQ(
        error_with(release, {word_bytes({of_release, 1, 1, 1, 0x4000, 7, 0, 77}), ltl_release}),
        "vellfeed: the LTL manager refused the LTL release of LTL 0x4000 with tag 7: unknown "
        "(status 77)\n");
}

TEST_F(Ltl, AnAnswerToSomethingElseIsNone) {
    const auto text = [](const char *request, std::size_t size, const char *why) {
        return fmt::format("vellfeed: the switch answered the {} with a message of {} bytes that "
                           "is no answer to it: "
                           "{}\n",
                           request, size, why);
    };
    EXPECT_EQ(error_with(alloc, {word_bytes({of_release, 0, 1, 1, 0x4000, 7, 0, 0}), ltl_release}),
              text("LTL allocation", 32, "opcode 90003, expected opcode 90001"));
    EXPECT_EQ(error_with(alloc, {bytes{}, ltl_allocation}),
              text("LTL allocation", 0, "it is not of one LTL"));
    EXPECT_EQ(error_with(alloc, {word_bytes({of_allocation, 0, 1, 2, 7, 1, 3, 0, 7, 2, 3, 0}),
                                 ltl_allocation}),
              text("LTL allocation", 48, "it is not of one LTL"));
    EXPECT_EQ(error_with(modify, {word_bytes({of_modification, 0, 1, 0}), ltl_modification}),
              text("LTL modification", 16, "it is not of one LTL"));
    EXPECT_EQ(error_with(modify, {word_bytes({of_modification, 0, 1, 1000000}), ltl_modification}),
              text("LTL modification", 16, "it is not of one LTL"));
}

TEST_F(Ltl, AnAnswerThatDoesNotFitIsTold) {
    EXPECT_EQ(
        error_with(alloc, {word_bytes({of_allocation, 0, 1, 1, 7, 0x4000, 2, 0}), ltl_allocation}),
        "vellfeed: the LTL manager answered that there is LTL 0x4000 with 2 interfaces, though 3 "
        "were sent\n");
    EXPECT_EQ(error_with(modify, {word_bytes({of_modification, 0, 1, 1, 0x4001, 7, 1, 0}),
                                  ltl_modification}),
              "vellfeed: the LTL manager answered the LTL modification for LTL 0x4001, expected "
              "LTL 0x4000\n");
    EXPECT_EQ(
        error_with(release, {word_bytes({of_release, 0, 1, 1, 0x4001, 7, 0, 0}), ltl_release}),
        "vellfeed: the LTL manager answered the LTL release for LTL 0x4001, expected LTL 0x4000\n");
}

TEST_F(Ltl, AnAnswerWithAnotherCookieIsNone) {
    EXPECT_EQ(
        error_with(alloc, {word_bytes({of_allocation, 0, 2, 1, 7, 0x4000, 3, 0}), ltl_allocation}),
        "vellfeed: the switch answered the LTL allocation with a message of 32 bytes that is no "
        "answer to it: "
        "cookie 2, expected cookie 1\n");
}

TEST_F(Ltl, WhatWasAnsweredIsToldThoughTheSwitchGoesAway) {
    answer_with({word_bytes({of_allocation, 0, 1, 1, 7, 0x4000, 3, 0}), ltl_allocation});
    simulator.result_without_answer = -1;
    EXPECT_EQ(run(alloc), 1);
    EXPECT_EQ(out, "allocated LTL 0x4000 with 3 interfaces: Eth3/7 Po1 Vlan10\n");
    EXPECT_THAT(err, HasSubstr("the switch closed the connection"));
}

TEST_F(Ltl, AMissingAnswerIsTold) {
    EXPECT_EQ(run(release), 1);
    EXPECT_EQ(
        err,
        "vellfeed: the switch did not answer the LTL release within 5000 ms; the request may have "
        "been "
        "carried out all the same, which `vellsim show ltl` tells (to wait longer: --timeout)\n");
    expect_all_closed();
}

TEST_F(Ltl, ARequestThatCannotBeSentIsTold) {
    for (const auto &command : {alloc, modify, release}) {
        start_over();
        simulator.fail_send = 1;
        EXPECT_EQ(run(command), 1);
        EXPECT_THAT(err, HasSubstr("could not be sent: the switch went away"));
        expect_all_closed();
    }
}

TEST_F(Ltl, WhatNamesNoInterfaceIsTold) {
    std::vector<std::string> command = alloc;
    command.emplace_back("Eth3-7");
    EXPECT_EQ(run(command), 2);
    EXPECT_EQ(err, "vellfeed: PORT \"Eth3-7\": expected an interface's name: Eth3/7 (slot and "
                   "port, up to 255), Eth3/7/1 "
                   "(a breakout lane of it), Po1 (up to 65535), Vlan10 (up to 4094), or if12 (any "
                   "other, by the kernel's "
                   "index)\n");
    EXPECT_TRUE(simulator.requests.empty());
}

TEST_F(Ltl, WrongUsageHasItsOwnExitCode) {
    expect_wrong_usage({
        {{"ltl"}, "`vellfeed ltl` needs a command: alloc, modify, release"},
        {{"ltl", "alloc", "--vlan", "10", "--tag", "7"},
         "which interfaces? Name them, take a group's with --mdb and --group, or say --no-ports"},
        {{"ltl", "alloc", "--vlan", "10", "Po1"}, "--tag is required"},
        {{"ltl", "alloc", "--tag", "7", "Po1"}, "--vlan is required"},
        {{"ltl", "alloc", "--vlan", "0", "--tag", "7", "Po1"},
         "--vlan: Value 0 not in range 1 to 4094"},
        {{"ltl", "alloc", "--vlan", "4095", "--tag", "7", "Po1"},
         "--vlan: Value 4095 not in range 1 to 4094"},
        {{"ltl", "alloc", "--vlan", "10", "--tag", "4294967296", "Po1"},
         "--tag: 4294967296 is not a number from 0 to 4294967295"},
        {{"ltl", "alloc", "--vlan", "10", "--tag", "7", "Po1", "--no-ports"},
         "PORT excludes --no-ports"},
        {{"ltl", "alloc", "--vlan", "10", "--tag", "7", "--group", "239.1.1.1"},
         "--group requires --mdb"},
        {{"ltl", "alloc", "--vlan", "10", "--tag", "7", "--mdb", "x"}, "--mdb requires --group"},
        {{"ltl", "alloc", "--vlan", "10", "--tag", "7", "Po1", "--mdb", "x", "--group",
          "239.1.1.1"},
         "PORT excludes --group"},
        {{"ltl", "alloc", "--vlan", "10", "--tag", "7", "--mdb", "-", "--links", "-", "--group",
          "239.1.1.1"},
         "standard input (-) can be read only once"},
        {{"ltl", "alloc", "--vlan", "10", "--tag", "7", "--mdb", "x", "--group", "239.1.1"},
         "--group \"239.1.1\": expected an IPv4, IPv6 or MAC address"},
        {{"ltl", "modify", "--tag", "7", "Po1"}, "INDEX: Po1 is not a number from 0 to 4294967295"},
        {{"ltl", "modify", "0x4000", "--tag", "7", "--vlan", "10", "Po1"},
         "--vlan requires --group"},
        {{"ltl", "modify", "0x4000", "--tag", "7"},
         "which interfaces? Name them, take a group's with --mdb and --group, or say --no-ports"},
        {{"ltl", "modify", "0x4000", "Po1"}, "--tag is required"},
        {{"ltl", "modify", "0x4000", "--tag", "7", "--mdb", "x", "--group", "239.1.1.1"},
         "--group: which VLAN's? Name it with --vlan"},
        {{"ltl", "release", "0x4000"}, "--tag is required"},
        {{"ltl", "release", "x", "--tag", "7"}, "INDEX: x is not a number from 0 to 4294967295"},
        {{"ltl", "release", "0x4000", "--tag", "7", "Po1"},
         "`vellfeed ltl release` takes no \"Po1\""},
    });
}

} // namespace
} // namespace feed
