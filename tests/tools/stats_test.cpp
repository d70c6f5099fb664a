#include "tests/tools/program_fixture.h"

namespace feed {
namespace {

using opcodes = std::vector<std::uint32_t>;

// An answer's 72 bytes by its fields, everything in host byte order.
struct answer_bytes {
    std::uint8_t status = 0;
    bytes table = {253, 0, 0, 0};
    std::uint8_t source_length = 32;
    std::uint8_t group_length = 32;
    std::uint8_t family = 4;
    bytes source = {9, 0, 0, 10, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}; // 10.0.0.9
    bytes group = {2, 1, 1, 239, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}; // 239.1.1.2
    std::uint8_t cleared = 0;
    bytes packets = {0x10, 0x32, 0x54, 0x76, 1, 0, 0, 0}; // 0x176543210
    bytes octets = {2, 0, 0, 0, 0, 0, 0, 0};
    bytes wrong_interface = {1, 0, 0, 0, 0, 0, 0, 0};

    bytes all() const {
        bytes result = {status, 0, 0, 0};
        const auto append = [&](const bytes &more) {
            result.insert(result.end(), more.begin(), more.end());
        };
        append(table);
        append({source_length, group_length, family, 0});
        append(source);
        append(group);
        append({cleared, 0, 0, 0});
        append(packets);
        append(octets);
        append(wrong_interface);
        EXPECT_EQ(result.size(), 72u);
        return result;
    }
};

answer_bytes ipv6_answer() {
    answer_bytes answer;
    answer.source_length = 128;
    answer.group_length = 128;
    answer.family = 6;
    answer.source = {0x20, 0x01, 0x0d, 0xb8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 9};
    answer.group = {0xff, 0x0e, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 2};
    return answer;
}

class Stats : public program_fixture {
protected:
    // The switch acknowledges the registration and then says this.
    void answer_with(std::vector<std::optional<fake_answer>> answers) {
        start_over();
        simulator.answers.insert(simulator.answers.end(), answers.begin(), answers.end());
    }

    // What is said of an answer to `ipv4_command` that is not the one waited for.
    std::string error_with(const bytes &answer, std::uint32_t opcode = ipv4_stats) {
        answer_with({fake_answer(answer, opcode)});
        EXPECT_EQ(run(ipv4_command), 1);
        EXPECT_EQ(out, "");
        EXPECT_EQ(sent_opcodes(), (opcodes{registration, ipv4_stats, deregistration}));
        expect_all_closed();
        return err;
    }

    const std::vector<std::string> ipv4_command = {"stats", "--source", "10.0.0.9", "--group",
                                                   "239.1.1.2"};
    const std::vector<std::string> ipv6_command = {"stats", "--source", "2001:db8::9", "--group",
                                                   "ff0e::102"};

    static std::vector<std::string> with(std::vector<std::string> command, const char *option) {
        command.emplace_back(option);
        return command;
    }
};

TEST_F(Stats, ASecondAnswerIsNotTakenForTheNextRequests) {
    const fake_answer counted(ipv6_answer().all(), ipv6_stats);
    answer_bytes clearing = ipv6_answer();
    clearing.cleared = 1;
    const fake_answer cleared(clearing.all(), ipv6_clear);
    answer_with({counted, counted, cleared, cleared});
    EXPECT_EQ(run(with(ipv6_command, "--clear")), 0) << err;
    EXPECT_EQ(sent_opcodes(), (opcodes{registration, ipv6_stats, ipv6_clear, deregistration}));
    expect_all_closed();
}

TEST_F(Stats, AnAnswerThatCameBeforeForNothingIsNone) {
    answer_with({fake_answer(ipv6_answer().all(), ipv6_clear),
                 fake_answer(ipv6_answer().all(), ipv6_stats)});
    EXPECT_EQ(run(ipv6_command), 1);
    EXPECT_THAT(err, testing::HasSubstr("with a message of opcode 75799 and 72 bytes"));
}

TEST_F(Stats, AsksForAnIpv4Route) {
    answer_with({fake_answer(answer_bytes().all(), ipv4_stats)});
    EXPECT_EQ(run(ipv4_command), 0) << err;
    EXPECT_EQ(out, "(10.0.0.9, 239.1.1.2) in table 253: 6280196624 packets, 2 bytes, 1 "
                   "wrong-interface packet\n");
    ASSERT_EQ(sent_opcodes(), (opcodes{registration, ipv4_stats, deregistration}));
    EXPECT_EQ(simulator.requests[1].sap, 214u);
    EXPECT_EQ(simulator.requests[1].payload,
              (bytes{253, 0, 0, 0, 32, 32, 0, 0, 9, 0, 0, 10, 2, 1, 1, 239, 0, 0, 0, 0}));
    expect_all_closed();
}

TEST_F(Stats, AsksForAndClearsAnIpv4RouteAtOnce) {
    answer_bytes answer;
    answer.cleared = 1;
    answer_with({fake_answer(answer.all(), ipv4_stats)});
    EXPECT_EQ(run(with(ipv4_command, "--clear")), 0) << err;
    EXPECT_EQ(out, "(10.0.0.9, 239.1.1.2) in table 253: 6280196624 packets, 2 bytes, 1 "
                   "wrong-interface packet; cleared\n");
    ASSERT_EQ(sent_opcodes(), (opcodes{registration, ipv4_stats, deregistration}));
    EXPECT_EQ(simulator.requests[1].payload[16], 1);
}

TEST_F(Stats, ClearsAnIpv4RouteAlone) {
    answer_bytes answer;
    answer.cleared = 1;
    answer.octets[0] = 1;
    answer_with({fake_answer(answer.all(), ipv4_clear)});
    EXPECT_EQ(run(with(ipv4_command, "--clear-only")), 0) << err;
    EXPECT_EQ(out, "(10.0.0.9, 239.1.1.2) in table 253: 6280196624 packets, 1 byte, 1 "
                   "wrong-interface packet; cleared\n");
    ASSERT_EQ(sent_opcodes(), (opcodes{registration, ipv4_clear, deregistration}));
    EXPECT_EQ(simulator.requests[1].payload,
              (bytes{253, 0, 0, 0, 32, 32, 0, 0, 9, 0, 0, 10, 2, 1, 1, 239}));
}

TEST_F(Stats, TakesTableAndMaskLengths) {
    answer_bytes answer;
    answer.table = {0x64, 0, 0, 0};
    answer.source_length = 0;
    answer.source = bytes(16, 0);
    answer.group_length = 24;
    answer_with({fake_answer(answer.all(), ipv4_stats)});
    EXPECT_EQ(run({"stats", "--source", "0.0.0.0", "--source-len", "0", "--group", "239.1.1.2",
                   "--group-len", "24", "--table", "100"}),
              0)
        << err;
    EXPECT_EQ(
        out,
        "(*, 239.1.1.2/24) in table 100: 6280196624 packets, 2 bytes, 1 wrong-interface packet\n");
    EXPECT_EQ(simulator.requests[1].payload,
              (bytes{100, 0, 0, 0, 0, 24, 0, 0, 0, 0, 0, 0, 2, 1, 1, 239, 0, 0, 0, 0}));
}

const bytes ipv6_request = {253, 0, 0, 0, 128, 128, 0x20, 0x01, 0x0d, 0xb8, 0, 0, 0, 0,
                            0,   0, 0, 0, 0,   0,   0,    9,    0xff, 0x0e, 0, 0, 0, 0,
                            0,   0, 0, 0, 0,   0,   0,    0,    1,    2,    0, 0};

TEST_F(Stats, AsksForAnIpv6Route) {
    answer_with({fake_answer(ipv6_answer().all(), ipv6_stats)});
    EXPECT_EQ(run(ipv6_command), 0) << err;
    EXPECT_EQ(out, "(2001:db8::9, ff0e::102) in table 253: 6280196624 packets, 2 bytes, 1 "
                   "wrong-interface packet\n");
    ASSERT_EQ(sent_opcodes(), (opcodes{registration, ipv6_stats, deregistration}));
    EXPECT_EQ(simulator.requests[1].payload, ipv6_request);
    expect_all_closed();
}

TEST_F(Stats, AsksForAnIpv6RouteAndThenClearsIt) {
    answer_bytes cleared = ipv6_answer();
    cleared.cleared = 1;
    cleared.octets[0] = 5; // something came in between
    answer_with(
        {fake_answer(ipv6_answer().all(), ipv6_stats), fake_answer(cleared.all(), ipv6_clear)});
    EXPECT_EQ(run(with(ipv6_command, "--clear")), 0) << err;
    EXPECT_EQ(out, "(2001:db8::9, ff0e::102) in table 253: 6280196624 packets, 5 bytes, 1 "
                   "wrong-interface packet; "
                   "cleared\n");
    ASSERT_EQ(sent_opcodes(), (opcodes{registration, ipv6_stats, ipv6_clear, deregistration}));
    EXPECT_EQ(simulator.requests[2].payload, ipv6_request);
}

TEST_F(Stats, ClearsAnIpv6RouteAlone) {
    answer_bytes answer = ipv6_answer();
    answer.cleared = 1;
    answer_with({fake_answer(answer.all(), ipv6_clear)});
    EXPECT_EQ(run(with(ipv6_command, "--clear-only")), 0) << err;
    EXPECT_EQ(sent_opcodes(), (opcodes{registration, ipv6_clear, deregistration}));
}

TEST_F(Stats, ARouteThatIsNotThereIsNoSuccess) {
    answer_bytes answer;
    answer.status = 1;
    answer.packets = answer.octets = answer.wrong_interface = bytes(8, 0);
    EXPECT_EQ(error_with(answer.all()),
              "vellfeed: the switch has no route (10.0.0.9, 239.1.1.2) in table 253\n");
    // And then there is nothing to clear.
    answer_bytes absent = ipv6_answer();
    absent.status = 1;
    answer_with({fake_answer(absent.all(), ipv6_stats)});
    EXPECT_EQ(run(with(ipv6_command, "--clear")), 1);
    EXPECT_EQ(err, "vellfeed: the switch has no route (2001:db8::9, ff0e::102) in table 253\n");
    EXPECT_EQ(sent_opcodes(), (opcodes{registration, ipv6_stats, deregistration}));
}

TEST_F(Stats, CountersThatWereNotClearedAreTold) {
    answer_with({fake_answer(answer_bytes().all(), ipv4_stats)});
    EXPECT_EQ(run(with(ipv4_command, "--clear")), 1);
    EXPECT_EQ(out, "(10.0.0.9, 239.1.1.2) in table 253: 6280196624 packets, 2 bytes, 1 "
                   "wrong-interface packet\n");
    EXPECT_EQ(err, "vellfeed: the switch did not clear the counters\n");
}

TEST_F(Stats, AnotherMessageIsTold) {
    EXPECT_EQ(error_with(answer_bytes().all(), ipv4_clear),
              "vellfeed: the switch answered the statistics request with a message of opcode 75798 "
              "and 72 bytes, expected "
              "opcode 75785 and 72 bytes\n");
    bytes answer = answer_bytes().all();
    answer.pop_back();
    EXPECT_EQ(
        error_with(answer),
        "vellfeed: the switch answered the statistics request with a message of opcode 75785 and "
        "71 bytes, expected opcode 75785 and 72 bytes\n");
    answer.insert(answer.end(), 2, 0);
    EXPECT_EQ(
        error_with(answer),
        "vellfeed: the switch answered the statistics request with a message of opcode 75785 and "
        "73 bytes, expected opcode 75785 and 72 bytes\n");
    EXPECT_EQ(
        error_with({}),
        "vellfeed: the switch answered the statistics request with a message of opcode 75785 and 0 "
        "bytes, expected opcode 75785 and 72 bytes\n");
}

TEST_F(Stats, TheAnswerForAnotherRouteIsTold) {
    const auto error = [&](auto change) {
        answer_bytes answer;
        change(answer);
        return error_with(answer.all());
    };
    const std::string begin = "vellfeed: the switch answered the statistics request for the route ";
    const std::string end = ", expected (10.0.0.9, 239.1.1.2) in table 253\n";
    EXPECT_EQ(error([](answer_bytes &answer) { answer.table[3] = 1; }),
              begin + "(10.0.0.9, 239.1.1.2) in table 16777469" + end);
    EXPECT_EQ(error([](answer_bytes &answer) { answer.source_length = 31; }),
              begin + "(10.0.0.9/31, 239.1.1.2) in table 253" + end);
    EXPECT_EQ(error([](answer_bytes &answer) { answer.group_length = 4; }),
              begin + "(10.0.0.9, 239.1.1.2/4) in table 253" + end);
    EXPECT_EQ(error([](answer_bytes &answer) { answer.source[0] = 8; }),
              begin + "(10.0.0.8, 239.1.1.2) in table 253" + end);
    EXPECT_EQ(error([](answer_bytes &answer) { answer.group[0] = 3; }),
              begin + "(10.0.0.9, 239.1.1.3) in table 253" + end);
    EXPECT_EQ(error([](answer_bytes &answer) { answer = ipv6_answer(); }),
              begin + "(2001:db8::9, ff0e::102) in table 253" + end);
    EXPECT_EQ(error([](answer_bytes &answer) { answer.family = 5; }),
              "vellfeed: the switch answered the statistics request for a route of family 5, "
              "expected 4 or 6\n");
}

TEST_F(Stats, AnAnswerOfUnknownStatusIsTold) {
    answer_bytes answer;
    answer.status = 2;
    EXPECT_EQ(error_with(answer.all()),
              "vellfeed: the switch answered the statistics request with the status 2, expected "
              "0 for found or 1 for no such route\n");
}

TEST_F(Stats, NoAnswerIsTold) {
    std::vector<std::string> command = ipv4_command;
    command.insert(command.end(), {"--timeout", "33"});
    answer_with({std::nullopt});
    EXPECT_EQ(run(command), 1);
    EXPECT_EQ(err, "vellfeed: the switch did not answer the statistics request within 33 ms; if it "
                   "is only slow, wait "
                   "longer with --timeout\n");
    start_over();
    simulator.result_without_answer = -1;
    EXPECT_EQ(run(with(command, "--clear-only")), 1);
    EXPECT_EQ(err, "vellfeed: the switch closed the connection instead of answering the clear "
                   "request; `vellsim show log` "
                   "may say why; the request may have been carried out all the same, which "
                   "`vellsim show stats` tells\n");
    expect_all_closed();
}

TEST_F(Stats, EachSendMayFail) {
    const std::string errors[] = {
        "no switch answers in /run/sim; start one with `vellsim run`, or point VELLSIM_RUN_DIR at "
        "its run directory",
        "the statistics request could not be sent: the switch went away",
        "the clear request could not be sent: the switch went away",
        "everything was sent, but the switch went away before the client could deregister"};
    for (std::size_t i = 0; i < std::size(errors); ++i) {
        answer_bytes cleared = ipv6_answer();
        cleared.cleared = 1;
        answer_with(
            {fake_answer(ipv6_answer().all(), ipv6_stats), fake_answer(cleared.all(), ipv6_clear)});
        simulator.fail_send = i;
        EXPECT_EQ(run(with(ipv6_command, "--clear")), 1);
        EXPECT_EQ(err, "vellfeed: " + errors[i] + "\n");
        expect_all_closed();
    }
}

TEST_F(Stats, WrongUsageHasItsOwnExitCode) {
    expect_wrong_usage({
        {{"stats"}, "--source is required"},
        {{"stats", "--source", "10.0.0.9"}, "--group is required"},
        {{"stats", "--group", "239.1.1.2"}, "--source is required"},
        {{"stats", "--source", "10.0.0", "--group", "239.1.1.2"},
         "--source \"10.0.0\": expected an IPv4 or an IPv6 address"},
        {{"stats", "--source", "10.0.0.9", "--group", "01:00:5e:01:01:02"},
         "--group \"01:00:5e:01:01:02\": expected an IPv4 or an IPv6 address"},
        {{"stats", "--source", "10.0.0.9", "--group", "ff0e::102"},
         "--source and --group are of different families; a route is of one"},
        {{"stats", "--source", "10.0.0.9", "--group", "239.1.1.2", "--source-len", "33"},
         "--source-len 33: an address has 32 bits"},
        {{"stats", "--source", "10.0.0.9", "--group", "239.1.1.2", "--group-len", "33"},
         "--group-len 33: an address has 32 bits"},
        {{"stats", "--source", "::", "--group", "ff0e::102", "--group-len", "129"},
         "--group-len 129: an address has 128 bits"},
        {{"stats", "--source", "::", "--group", "ff0e::102", "--group-len", "256"},
         "--group-len: 256 is not a number from 0 to 255"},
        {{"stats", "--source", "10.0.0.9", "--group", "239.1.1.2", "--table", "4294967296"},
         "--table: 4294967296 is not a number from 0 to 4294967295"},
        {{"stats", "--source", "10.0.0.9", "--group", "239.1.1.2", "--clear", "--clear-only"},
         "--clear excludes --clear-only"},
        {{"stats", "--source", "10.0.0.9", "--group", "239.1.1.2", "--timeout", "-1"},
         "--timeout: Value -1 not in range 0 to 2147483647"},
    });
}

} // namespace
} // namespace feed
