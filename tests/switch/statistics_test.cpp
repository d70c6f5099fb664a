#include "sim/switch/count.h"
#include "sim/switch/show_answer.h"
#include "sim/switch/statistics.h"
#include "sim/switch/stats_text.h"
#include "tests/switch/test_service.h"

#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

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
    std::string count(std::string_view request) {
        const sim::show_answer answered = sim::answer_count(vell, request);
        return (answered.is_error ? "error: " : "") + answered.text;
    }
    json stats(std::string_view request = "stats") const {
        return json::parse(sim::answer_show(vell, request).text).at("stats");
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
    R"({"source":"10.0.0.9","group":"239.1.1.2","table":253,"packets":5,"bytes":4294967299,"wrong_if":2})";

bytes ipv6_key() {
    return literal({0xfd, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 9,
                    0xff, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 3});
}

bytes ipv6_request() {
    return message().u32(9).u8(64).u8(128).add(ipv6_key()).u16(0xeeee);
}

constexpr const char *count_ipv6 =
    R"({"source":"fd00::9","group":"ff02::103","table":9,"source_len":64,"packets":1,"bytes":2,"wrong_if":3})";

} // namespace

TEST(Counting, RefusesWhatACounterCannotHold) {
    statistics_service test;
    test.count(
        R"({"source":"10.0.0.9","group":"239.1.1.2","table":253,"packets":3,"bytes":18446744073709551610,"wrong_if":0})");
    EXPECT_EQ(
        test.count(count_traffic),
        "error: --bytes: 4294967299 more than 18446744073709551610 are more than a counter holds");
    EXPECT_EQ(test.stats().at(0).at("packets"), 3) << "nothing of it was counted";
}

TEST(Counting, SaysWhetherTheRouteIsHeld) {
    statistics_service test;
    test.route();
    EXPECT_EQ(json::parse(test.count(count_traffic)).at("held"), true);
    EXPECT_EQ(
        json::parse(
            test.count(
                R"({"source":"10.0.0.8","group":"239.1.1.2","table":253,"packets":1,"bytes":0,"wrong_if":0})"))
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
              R"({"table":9,"family":"ipv6","source":"fd00::9","source_len":64,)"
              R"("group":"ff02::103","group_len":128,"packets":1,"bytes":2,"wrong_if":3,)"
              R"("requests":0,"clears":0,"held":false})");
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
    test.count(
        R"({"source":"10.0.0.8","group":"239.1.1.2","table":253,"packets":1,"bytes":0,"wrong_if":0})");
    std::vector<std::string> sources;
    for (const json &row : test.stats()) {
        sources.push_back(row.at("source"));
    }
    EXPECT_THAT(sources, ElementsAre("fd00::9", "10.0.0.8", "10.0.0.9"));
    EXPECT_EQ(test.stats(R"(stats {"table":9})").size(), 1u);
    EXPECT_EQ(
        sim::answer_show(test.vell, R"(stats {"table":9})").text,
        R"({"stats":[{"table":9,"family":"ipv6","source":"fd00::9","source_len":64,"group":"ff02::103",)"
        R"("group_len":128,"packets":1,"bytes":2,"wrong_if":3,"requests":0,"clears":0}]})");
}

TEST(Statistics, AreAnsweredAsTheFaultModeSays) {
    const bytes asked = message().add(ipv4_request()).u32(0);
    EXPECT_TRUE(statistics_service({.answer = sim::ack_mode::never}).ask(75785, asked).empty());
    EXPECT_EQ(statistics_service({.answer = sim::ack_mode::twice}).ask(75785, asked).size(), 2u);
    const auto late = statistics_service({.answer = sim::ack_mode::late,
                                          .answer_delay = std::chrono::milliseconds(70)})
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

TEST_P(StatisticsRefusal, OfMasksThatAreTooLong) {
    const auto &[opcode, name, right, longest] = GetParam();
    for (const int length : {longest + 1, 255}) {
        expect_refused(patched(right, 4, {length}),
                       fmt::format("offset 4: source mask length {} is above {}", length, longest));
        expect_refused(patched(right, 5, {length}),
                       fmt::format("offset 5: group mask length {} is above {}", length, longest));
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

TEST(Count, RefusesWhatNamesNoRoute) {
    statistics_service test;
    const auto error_of = [&test](json changed) {
        json request = json::parse(count_traffic);
        request.update(changed);
        return test.count(request.dump());
    };
    EXPECT_EQ(error_of({{"source", "10.0.0"}}),
              "error: --source: 10.0.0 is no IPv4 or IPv6 address");
    EXPECT_EQ(error_of({{"group", "01:00:5e:01:01:01"}}),
              "error: --group: 01:00:5e:01:01:01 is no IPv4 or IPv6 address");
    EXPECT_EQ(error_of({{"group", "ff02::1"}}),
              "error: --source: 10.0.0.9 is not of the group's family");
    EXPECT_EQ(error_of({{"group", "10.1.1.1"}}), "error: --group: 10.1.1.1 is not multicast");
    EXPECT_EQ(error_of({{"source_len", 33}}), "error: --source-len: 33 is above 32");
    EXPECT_EQ(error_of({{"group_len", 256}}), "error: --group-len: 256 is above 32");
    EXPECT_EQ(test.count("nonsense"),
              "error: the count request is no JSON object of the right members");
    EXPECT_EQ(error_of({{"packets", "many"}}),
              "error: the count request is no JSON object of the right members");
    EXPECT_TRUE(test.stats().empty());
}

TEST(Statistics, AreShownUpToALimit) {
    statistics_service test;
    test.route();
    test.count(count_ipv6);
    const json limited = json::parse(sim::answer_show(test.vell, R"(stats {"limit":1})").text);
    EXPECT_EQ(limited.at("stats").size(), 1u);
    EXPECT_EQ(limited.at("matched"), 2);
    EXPECT_EQ(json::parse(sim::answer_show(test.vell, R"(stats {"limit":5,"table":9})").text)
                  .at("matched"),
              1);
    EXPECT_FALSE(json::parse(sim::answer_show(test.vell, "stats").text).contains("matched"));
}

TEST(StatsText, ShowsARouteInTwoLines) {
    const auto table = nlohmann::ordered_json::parse(R"({"stats":[
        {"table":253,"family":"ipv4","source":"0.0.0.0","source_len":0,"group":"239.1.1.2","group_len":32,
         "packets":1,"bytes":2,"wrong_if":3,"requests":4,"clears":5}]})");
    EXPECT_EQ(sim::stats_text(table),
              "             Packets                Bytes Wrong interface    Requests   Clears\n"
              "(*, 239.1.1.2) in table 253\n"
              "                   1                    2               3           4        5\n"
              "1 route\n");
    nlohmann::ordered_json limited = table;
    limited["matched"] = 12;
    EXPECT_TRUE(sim::stats_text(limited).ends_with("\n1 of 12 routes\n"));
    EXPECT_EQ(sim::stats_row_text(table.at("stats").at(0)),
              "(*, 239.1.1.2) in table 253: 1 packet, 2 bytes, 3 wrong-interface packets\n");
}
