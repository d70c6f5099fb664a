#include "sim/switch/stats.h"
#include "tests/switch/test_service.h"

#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <set>
#include <string_view>

using testing::ElementsAre;
using json = nlohmann::json;

namespace {

struct statistics_service : test_service {
    sim::session from = registered_session();

    explicit statistics_service(sim::fault_modes faults = {}) : test_service(faults) {}

    void route(unsigned opcode = 1) {
        send(from, route_head(), route_payload(1, {{.opcode = opcode}}));
    }
    std::vector<sim::reply> ask(std::uint32_t opcode, const bytes &payload) {
        return send(from, request_head(214, opcode, 0), payload);
    }
    // The payload of the only answer.
    bytes answer(std::uint32_t opcode, const bytes &payload) {
        const auto replies = ask(opcode, payload);
        EXPECT_EQ(replies.size(), 1u);
        return replies.empty() ? bytes()
                               : bytes(replies[0].frame.begin() + 104, replies[0].frame.end());
    }
    // `members` are those of the question.
    std::string count(std::string_view members) {
        return answer_of(vell, "count " + std::string(members));
    }
    json stats(std::string_view request = "stats") const {
        return json::parse(answer_of(vell, request)).at("stats");
    }
};

// The key of the route that route() adds.
bytes ipv4_request(std::uint32_t table = 253) {
    return message().u32(table).u8(32).u8(32).u16(0xeeee).u32(0x0a000009).u32(0xef010102);
}

bytes ipv4_answer(unsigned status, bool cleared, std::uint64_t packets, std::uint64_t size,
                  std::uint64_t wrong_if, std::uint32_t table = 253) {
    // clang-format off
    return message().u32(status).u32(table).add(literal({32, 32, 4, 0,
        0x09, 0x00, 0x00, 0x0a, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
        0x02, 0x01, 0x01, 0xef, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}))
        .u32(cleared ? 1 : 0).u64(packets).u64(size).u64(wrong_if);
    // clang-format on
}

constexpr const char *count_traffic =
    "source=10.0.0.9 group=239.1.1.2 table=253 packets=5 bytes=4294967299 wrong_if=2";

bytes ipv6_key() {
    return literal({0xfd, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 9,
                    0xff, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 3});
}

bytes ipv6_request() {
    return message().u32(9).u8(64).u8(128).add(ipv6_key()).u16(0xeeee);
}

constexpr const char *count_ipv6 =
    "source=fd00::9 group=ff02::103 table=9 source_len=64 packets=1 bytes=2 wrong_if=3";

} // namespace

TEST(Counting, RefusesWhatACounterCannotHold) {
    statistics_service test;
    test.count("source=10.0.0.9 group=239.1.1.2 table=253 packets=3 bytes=18446744073709551610 "
               "wrong_if=0");
    EXPECT_EQ(test.count(count_traffic), "refused: count: bytes: 4294967299 more than "
                                         "18446744073709551610 are more than 64 bits hold");
    EXPECT_EQ(test.stats().at(0).at("packets"), 3) << "nothing of it was counted";
}

TEST(Counting, SaysWhetherTheRouteIsHeld) {
    statistics_service test;
    test.route();
    EXPECT_EQ(json::parse(test.count(count_traffic)).at("count").at(0).at("held"), true);
    EXPECT_EQ(
        json::parse(
            test.count("source=10.0.0.8 group=239.1.1.2 table=253 packets=1 bytes=0 wrong_if=0"))
            .at("count")
            .at(0)
            .at("held"),
        false);
}

TEST(Statistics, AnswerForAnIpv4Route) {
    statistics_service test;
    test.route();
    EXPECT_EQ(test.answer(75785, message().add(ipv4_request()).u32(0)),
              ipv4_answer(0, false, 0, 0, 0));
    EXPECT_EQ(ipv4_answer(0, false, 0, 0, 0).size(), 72u);
    test.count(count_traffic);
    const auto replies = test.ask(75785, message().add(ipv4_request()).u32(0));
    ASSERT_EQ(replies.size(), 1u);
    EXPECT_EQ(bytes(replies[0].frame.begin(), replies[0].frame.begin() + 28),
              bytes(message().u32(0x3154594b).u32(2).u32(72).u32(0).u32(214).u32(75785).u32(0)));
    EXPECT_EQ(bytes(replies[0].frame.begin() + 104, replies[0].frame.end()),
              ipv4_answer(0, false, 5, 4294967299, 2));
    EXPECT_TRUE(test.errors.empty());
}

TEST(Statistics, ClearWhenAskedTo) {
    statistics_service test;
    test.route();
    test.count(count_traffic);
    EXPECT_EQ(test.answer(75785, message().add(ipv4_request()).u32(7)),
              ipv4_answer(0, true, 5, 4294967299, 2));
    EXPECT_EQ(test.answer(75785, message().add(ipv4_request()).u32(0)),
              ipv4_answer(0, false, 0, 0, 0));
    test.count(count_traffic);
    EXPECT_EQ(test.answer(75798, ipv4_request()), ipv4_answer(0, true, 5, 4294967299, 2));
    EXPECT_EQ(test.stats().at(0).at("packets"), 0);
    EXPECT_EQ(test.stats().at(0).at("requests"), 3);
    EXPECT_EQ(test.stats().at(0).at("clears"), 2);
}

TEST(Statistics, AnswerThatThereIsNoSuchRoute) {
    statistics_service test;
    test.route();
    EXPECT_EQ(test.answer(75785, message().add(ipv4_request(254)).u32(1)),
              ipv4_answer(1, false, 0, 0, 0, 254));
    EXPECT_EQ(test.answer(75798, ipv4_request(254)), ipv4_answer(1, false, 0, 0, 0, 254));
    EXPECT_EQ(test.stats().size(), 1u) << "asking makes no counters";
}

TEST(Statistics, AnswerForAnIpv6RouteThatWasCounted) {
    statistics_service test;
    const bytes missing =
        message().u32(1).u32(9).u8(64).u8(128).u16(6).add(ipv6_key()).u32(0).u64(0).u64(0).u64(0);
    const bytes cleared =
        message().u32(0).u32(9).u8(64).u8(128).u16(6).add(ipv6_key()).u32(1).u64(1).u64(2).u64(3);
    EXPECT_EQ(test.answer(75786, ipv6_request()), missing);
    EXPECT_EQ(test.count(count_ipv6),
              R"({"count":[{"table":9,"family":"ipv6","source":"fd00::9","source_len":64,)"
              R"("group":"ff02::103","group_len":128,"packets":1,"bytes":2,"wrong_if":3,)"
              R"("requests":0,"clears":0,"held":false}],"matched":1,"narrowed":null})");
    EXPECT_EQ(test.answer(75786, ipv6_request()), patched(cleared, 44, {0}));
    EXPECT_EQ(test.answer(75799, ipv6_request()), cleared);
    EXPECT_EQ(test.answer(75799, ipv6_request()),
              patched(patched(patched(cleared, 48, {0}), 56, {0}), 64, {0}));
    EXPECT_TRUE(test.errors.empty());
}

TEST(Statistics, GoWithTheirRouteUnlessTrafficWasCounted) {
    statistics_service test;
    test.route();
    test.answer(75785, message().add(ipv4_request()).u32(0));
    test.route(2);
    EXPECT_TRUE(test.stats().empty());
    test.route();
    EXPECT_EQ(test.stats().at(0).at("requests"), 0);
    test.count(count_traffic);
    test.route(2);
    EXPECT_EQ(test.stats().at(0).at("packets"), 5);
}

TEST(Statistics, AreShownInOrder) {
    statistics_service test;
    test.route();
    test.count(count_ipv6);
    test.count("source=10.0.0.8 group=239.1.1.2 table=253 packets=1 bytes=0 wrong_if=0");
    std::vector<std::string> sources;
    for (const json &row : test.stats()) {
        sources.push_back(row.at("source"));
    }
    EXPECT_THAT(sources, ElementsAre("fd00::9", "10.0.0.8", "10.0.0.9"));
    EXPECT_EQ(test.stats("stats table=9").size(), 1u);
    EXPECT_EQ(
        answer_of(test.vell, "stats table=9"),
        R"({"stats":[{"table":9,"family":"ipv6","source":"fd00::9","source_len":64,"group":"ff02::103",)"
        R"("group_len":128,"packets":1,"bytes":2,"wrong_if":3,"requests":0,"clears":0}],"matched":1,)"
        R"("narrowed":{"table":9}})");
}

TEST(Statistics, AreAnsweredAsTheFaultModeSays) {
    const bytes asked = message().add(ipv4_request()).u32(0);
    EXPECT_TRUE(statistics_service({.answer = sim::ack_mode::never}).ask(75785, asked).empty());
    EXPECT_EQ(statistics_service({.answer = sim::ack_mode::twice}).ask(75785, asked).size(), 2u);
    const auto late =
        statistics_service({.answer = {sim::ack_mode::late, std::chrono::milliseconds(70)}})
            .ask(75785, asked);
    ASSERT_EQ(late.size(), 1u);
    EXPECT_EQ(late[0].delay.count(), 70);
}

namespace {

// One of the four requests, for a route that has counters.
struct statistics_kind {
    std::uint32_t opcode;
    const char *name;
    bytes right;
    int longest_mask;
};

const statistics_kind statistics_kinds[] = {
    {75785, "IPv4 statistics request", message().add(ipv4_request()).u32(1), 32},
    {75798, "IPv4 clear request", ipv4_request(), 32},
    {75786, "IPv6 statistics request", ipv6_request(), 128},
    {75799, "IPv6 clear request", ipv6_request(), 128},
};

class StatisticsRefusal : public testing::TestWithParam<statistics_kind> {
protected:
    StatisticsRefusal() {
        test.route();
        test.count(count_traffic);
        test.count(count_ipv6);
        before = test.stats();
    }

    void expect_refused(const sim::frame_head &head, const bytes &payload, const std::string &why) {
        const std::uint64_t refused_before = test.client_of(test.from).refused;
        EXPECT_TRUE(test.send(test.from, head, payload).empty());
        expect_error("client 1 (pid 4711)", why);
        EXPECT_EQ(test.client_of(test.from).refused, refused_before + 1) << why;
    }
    void expect_refused(const bytes &payload, const std::string &why) {
        expect_refused(request_head(214, GetParam().opcode, 0), payload, why);
    }

    void expect_error(const char *sender, const std::string &why) {
        ASSERT_EQ(test.errors.size(), 1u) << why;
        EXPECT_EQ(test.errors.back(), fmt::format("{}: {} (opcode {}): {}: refused", sender,
                                                  GetParam().name, GetParam().opcode, why));
        EXPECT_EQ(test.stats(), before) << why;
        test.errors.clear();
    }

    statistics_service test;
    json before;
};

} // namespace

INSTANTIATE_TEST_SUITE_P(All, StatisticsRefusal, testing::ValuesIn(statistics_kinds),
                         [](const auto &kind) { return std::to_string(kind.param.opcode); });

TEST_P(StatisticsRefusal, OfAnotherLength) {
    const bytes &right = GetParam().right;
    const std::size_t needed = right.size();
    const auto said_of = [needed](std::size_t size) {
        return fmt::format("offset {}: the message is {} bytes long, it must be {}",
                           std::min(size, needed), size, needed);
    };
    for (std::size_t size = 0; size < needed; ++size) {
        expect_refused(cut(right, size), said_of(size));
    }
    for (const std::size_t more : {1u, 4u, 1000u}) {
        expect_refused(message().add(right).fill(more, 0), said_of(needed + more));
    }
}

TEST_P(StatisticsRefusal, OfPrefixLengthsThatAreTooLong) {
    const auto &[opcode, name, right, longest] = GetParam();
    for (const int length : {longest + 1, 255}) {
        expect_refused(
            patched(right, 4, {length}),
            fmt::format("offset 4: source prefix length {} is above {}", length, longest));
        expect_refused(
            patched(right, 5, {length}),
            fmt::format("offset 5: group prefix length {} is above {}", length, longest));
    }
}

TEST_P(StatisticsRefusal, OfTheWrongHead) {
    const auto &[opcode, name, right, longest] = GetParam();
    expect_refused(request_head(214, opcode, 1), right,
                   "frame head offset 32: send-options word 1 is 1, it must be 0");
    for (const std::uint32_t sap : {212u, 213u}) {
        expect_refused(request_head(sap, opcode, 0), right,
                       fmt::format("frame head offset 16: SAP is {}, it must be 214", sap));
    }
}

TEST_P(StatisticsRefusal, OfAPeerThatIsNotRegistered) {
    sim::session queue_only{.pid = 99};
    EXPECT_TRUE(
        test.send(queue_only, request_head(214, GetParam().opcode, 0), GetParam().right).empty());
    expect_error("unregistered client (pid 99)", "offset 0: this connection is not registered");
    EXPECT_EQ(test.client_of(test.from).refused, 0u);
}

// So that the refusals are for what they name.
TEST_P(StatisticsRefusal, OfNothingThatIsRight) {
    EXPECT_EQ(test.ask(GetParam().opcode, GetParam().right).size(), 1u);
    EXPECT_TRUE(test.errors.empty());
    EXPECT_NE(test.stats(), before);
}

TEST(Counting, RefusesWhatNamesNoRoute) {
    statistics_service test;
    const auto refusal_of = [&test](const std::string &changed) {
        const std::string answered = test.count(count_traffic + (" " + changed));
        EXPECT_TRUE(answered.starts_with("refused: count: ")) << answered;
        return answered.substr(16);
    };
    EXPECT_EQ(refusal_of("source=10.0.0"), "source: 10.0.0 is not an IPv4 or IPv6 address");
    EXPECT_EQ(refusal_of("group=01:00:5e:01:01:01"),
              "group: 01:00:5e:01:01:01 is not an IPv4 or IPv6 address");
    EXPECT_EQ(refusal_of(std::string("source=10.0.0.1\0evil", 20)),
              "source: 10.0.0.1\\x00evil is not an IPv4 or IPv6 address");
    EXPECT_EQ(refusal_of("group=ff02::1"),
              "source: 10.0.0.9 is not of the family of group ff02::1");
    EXPECT_EQ(refusal_of("group=10.1.1.1"), "group: 10.1.1.1 is not multicast");
    EXPECT_EQ(refusal_of("source_len=33"),
              "source_len: 33 is above 32, the length of an IPv4 address");
    EXPECT_EQ(refusal_of("group_len=128"),
              "group_len: 128 is above 32, the length of an IPv4 address");
    EXPECT_EQ(refusal_of("packets=0 bytes=0 wrong_if=0"),
              "nothing to count: give packets, bytes or wrong_if");
    for (const char *wrong : {"-5", "1e30", "1.5", "seven", "", "18446744073709551616"}) {
        EXPECT_EQ(refusal_of(std::string("packets=") + wrong),
                  std::string("packets: ") + wrong +
                      " is not a number from 0 to 18446744073709551615");
    }
    EXPECT_EQ(refusal_of("table=4294967296"),
              "table: 4294967296 is not a number from 0 to 4294967295");
    EXPECT_EQ(refusal_of("source_len=4294967296"),
              "source_len: 4294967296 is not a number from 0 to 128");
    EXPECT_TRUE(test.stats().empty());
}

TEST(Counting, IsPrintedAsText) {
    statistics_service test;
    test.route();
    EXPECT_EQ(text_of(test.vell, "count " + std::string(count_traffic)),
              "(10.0.0.9, 239.1.1.2) in table 253: 5 packets, 4294967299 bytes, 2 RPF failures\n");
    EXPECT_EQ(
        text_of(test.vell,
                "count source=0.0.0.0 source_len=0 group=239.1.1.2 packets=1 bytes=1 wrong_if=1"),
        "(*, 239.1.1.2) in table 253: 1 packet, 1 byte, 1 RPF failure\n"
        "No such route is installed; requests that name it will find its counters.\n");
    EXPECT_EQ(text_of(test.vell, "count " + std::string(count_ipv6)),
              "(fd00::9/64, ff02::103) in table 9: 1 packet, 2 bytes, 3 RPF failures\n");
}

TEST(Statistics, AreShownUpToALimit) {
    statistics_service test;
    test.route();
    test.count(count_ipv6);
    const json limited = json::parse(answer_of(test.vell, "stats limit=1"));
    EXPECT_EQ(limited.at("stats").size(), 1u);
    EXPECT_EQ(limited.at("matched"), 2);
    EXPECT_EQ(limited.at("narrowed"), nullptr);
    const json of_table = json::parse(answer_of(test.vell, "stats limit=5 table=9"));
    EXPECT_EQ(of_table.at("matched"), 1);
    EXPECT_EQ(of_table.at("narrowed"), json::parse(R"({"table":9})"));
}

TEST(Statistics, AreShownAsText) {
    statistics_service test;
    test.route();
    test.count("source=0.0.0.0 source_len=0 group=239.1.1.2 packets=1 bytes=2 wrong_if=3");
    test.count(count_ipv6);
    EXPECT_EQ(text_of(test.vell, "stats"),
              "             Packets                Bytes    RPF failures    Requests   Clears\n"
              "(fd00::9/64, ff02::103) in table 9\n"
              "                   1                    2               3           0        0\n"
              "(*, 239.1.1.2) in table 253\n"
              "                   1                    2               3           0        0\n"
              "(10.0.0.9, 239.1.1.2) in table 253\n"
              "                   0                    0               0           0        0\n"
              "3 routes\n");
    EXPECT_TRUE(text_of(test.vell, "stats limit=1").ends_with("\n1 of 3 routes\n"));
}

// Counters and routes are two maps; each key is to come once and in order, wherever a piece ends.
TEST(Statistics, AreShownOnceEachInOrderOverManyPieces) {
    statistics_service test;
    std::vector<test_route> routes;
    for (std::uint32_t i = 0; i < 3000; ++i) {
        if (i % 3 != 0) {
            routes.push_back({.group = 0xe0000000 + i, .table = i % 2});
        }
        if (i % 2 != 0) {
            sim::counter_key key = sim::key_of({i % 2, 0xe0000000 + i, 0x0a000009, 32, 32});
            test.vell.counters[key].seen.packets = i;
        }
        if (i % 100 == 0) {
            sim::counter_key key{.table = i % 2,
                                 .group = {sim::l2_address_kind::ipv6},
                                 .source = {sim::l2_address_kind::ipv6}};
            key.group.bytes = {0xff, static_cast<std::uint8_t>(i / 100)};
            test.vell.counters[key].seen.packets = i;
        }
    }
    test.send(test.from, route_head(), route_payload(1, routes));
    std::set<sim::counter_key> expected;
    for (const auto &[key, counters] : test.vell.counters) {
        expected.insert(key);
    }
    for (const auto &[key, held] : test.vell.routes) {
        expected.insert(sim::key_of(key));
    }
    const json shown = test.stats();
    ASSERT_EQ(shown.size(), expected.size());
    std::size_t i = 0;
    for (const sim::counter_key &key : expected) {
        EXPECT_EQ(shown[i].at("group"), sim::address_text(key.group));
        EXPECT_EQ(shown[i].at("table"), key.table);
        const auto found = test.vell.counters.find(key);
        EXPECT_EQ(shown[i].at("packets"),
                  found == test.vell.counters.end() ? 0 : found->second.seen.packets);
        ++i;
    }
}
