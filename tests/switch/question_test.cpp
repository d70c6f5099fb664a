// What may be asked, and how long answers are made.
#include "sim/switch/question.h"
#include "tests/switch/test_service.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <string>

using json = nlohmann::json;

namespace {

std::string answered(std::string_view payload) {
    return answer_to_payload(test_service().vell, payload);
}

} // namespace

TEST(Question, IsRefusedWhenItMakesNoSense) {
    EXPECT_EQ(answered("routes"), "refused: the question is not a JSON object");
    EXPECT_EQ(answered("7"), "refused: the question is not a JSON object");
    EXPECT_EQ(answered("{}"), "refused: the question's member \"ask\" is missing or not a string");
    EXPECT_EQ(answered(R"({"ask":7})"),
              "refused: the question's member \"ask\" is missing or not a string");
    EXPECT_EQ(answered(R"({"ask":"rout\u001b"})"),
              "refused: this switch has no answer to \"rout\\x1b\", but to clients, routes, stats, "
              "l2, flood, ltl, overlay, count, fault, stop");
    EXPECT_EQ(answered(R"({"ask":"clients","colour\u0007":7})"),
              "refused: clients: there is no member \"colour\\x07\"; the members are ask, format, "
              "client, limit");
    EXPECT_EQ(answered(R"({"ask":"clients","format":"xml"})"),
              "refused: clients: format: \"xml\" is not text or json");
    EXPECT_EQ(answered(R"({"ask":"count","source":"10.0.0.1"})"),
              "refused: count: group is missing");
}

TEST(Question, IsReadUpTo4096Bytes) {
    const std::string shortest = R"({"ask":"clients"})";
    const auto padded = [&](std::size_t size) {
        return shortest + std::string(size - shortest.size(), ' ');
    };
    EXPECT_EQ(answered(padded(4096)).find("refused"), std::string::npos);
    EXPECT_EQ(answered(padded(4097)),
              "refused: the question is 4097 bytes long, at most 4096 are read");
    EXPECT_EQ(answered(std::string(4096, '[')), "refused: the question is not a JSON object");
}

TEST(Question, HasMembersWithinTheirRange) {
    const auto refusal_of = [](std::string_view member) {
        const std::string text = answered(R"({"ask":"routes",)" + std::string(member) + "}");
        EXPECT_TRUE(text.starts_with("refused: routes: ")) << text;
        return text.substr(std::min<std::size_t>(17, text.size()));
    };
    EXPECT_EQ(refusal_of(R"("table":-7)"), "table: -7 is not a number from 0 to 4294967295");
    EXPECT_EQ(refusal_of(R"("table":4294967296)"),
              "table: 4294967296 is not a number from 0 to 4294967295");
    EXPECT_EQ(refusal_of(R"("table":1.5)"), "table: 1.5 is not a number from 0 to 4294967295");
    EXPECT_EQ(refusal_of(R"("table":null)"), "table: null is not a number from 0 to 4294967295");
    EXPECT_EQ(refusal_of(R"("client":256)"), "client: 256 is not a number from 0 to 255");
    EXPECT_EQ(refusal_of(R"("limit":0)"), "limit: 0 is not a number from 1 to 4294967295");
    EXPECT_EQ(refusal_of(R"("summary":1)"), "summary: 1 is not true or false");
    EXPECT_EQ(refusal_of(R"("group":"239.1.1")"),
              "group: 239.1.1 is not an IPv4 address such as 239.1.1.2");
    EXPECT_EQ(refusal_of(R"("group":"ff02::1")"),
              "group: ff02::1 is not an IPv4 address such as 239.1.1.2");
    EXPECT_EQ(refusal_of(R"("source":"10.0.0.1\u0000evil")"),
              "source: 10.0.0.1\\x00evil is not an IPv4 address such as 239.1.1.2");
    EXPECT_EQ(refusal_of(R"("source":7)"), "source: 7 is not an IPv4 address such as 239.1.1.2");
}

TEST(Question, SurvivesTheJourney) {
    sim::question sent{.ask = "routes", .form = sim::output_form::json};
    sent.members["client"] = std::uint64_t{1};
    sent.members["table"] = std::uint64_t{4294967295};
    sent.members["group"] = *sim::parse_l2_address("239.1.1.2");
    sent.members["summary"] = true;
    const std::string payload = sim::encode_question(sent);
    EXPECT_EQ(payload, R"({"ask":"routes","format":"json","client":1,"group":"239.1.1.2",)"
                       R"("summary":true,"table":4294967295})");
    const sim::question got = sim::decode_question(payload);
    EXPECT_EQ(got.ask, "routes");
    EXPECT_EQ(got.form, sim::output_form::json);
    EXPECT_EQ(got.members, sent.members);
    EXPECT_EQ(got.number("table"), 4294967295u);
    EXPECT_EQ(got.address("group"), sim::parse_l2_address("239.1.1.2"));
    EXPECT_TRUE(got.truth("summary"));
    EXPECT_EQ(got.number("limit"), std::nullopt);
    EXPECT_EQ(sim::decode_question(R"({"ask":"stats"})").form, sim::output_form::text);
}

namespace {

struct crowded_service : test_service {
    sim::session from = registered_session();

    void add(std::uint32_t first, std::uint32_t count, unsigned opcode = 1) {
        std::vector<test_route> routes(count, test_route{.opcode = opcode});
        for (std::uint32_t i = 0; i < count; ++i) {
            routes[i].group = 0xe0000000 + first + i;
        }
        send(from, route_head(), route_payload(1, routes));
    }
};

} // namespace

TEST(Answer, IsMadeInPiecesThatTogetherAreWhole) {
    crowded_service test;
    test.add(0, 2000);
    sim::answer made = sim::answer_question(test.vell, question_payload("routes"));
    std::string text;
    int pieces = 0;
    for (bool is_last = false; !is_last; ++pieces) {
        const sim::answer::piece next = made.next();
        EXPECT_LT(next.text.size(), sim::answer_piece_size + 1000);
        text += next.text;
        is_last = next.is_last;
    }
    EXPECT_GT(pieces, 5);
    const json shown = json::parse(text);
    EXPECT_EQ(shown.at("routes").size(), 2000u);
    EXPECT_EQ(shown.at("matched"), 2000);
    EXPECT_EQ(std::ranges::count(text, '\n'), 2000) << "a line for each route";
}

TEST(Answer, GoesOnAfterRoutesThatAreGone) {
    crowded_service test;
    test.add(1000, 2000);
    sim::answer made = sim::answer_question(test.vell, question_payload("routes"));
    std::string text = made.next().text;
    const std::size_t shown_before = static_cast<std::size_t>(std::ranges::count(text, '\n')) + 1;
    ASSERT_LT(shown_before, 500u);
    test.add(1000, 600, 2); // the last one shown and some that come next
    test.add(0, 500);       // before it
    for (bool is_last = false; !is_last;) {
        const sim::answer::piece next = made.next();
        text += next.text;
        is_last = next.is_last;
    }
    const json routes = json::parse(text).at("routes");
    EXPECT_EQ(routes.size(), shown_before + 1400);
    EXPECT_EQ(routes.at(shown_before).at("group"), "224.0.6.64") << "1600, the next one there is";
}

TEST(Answer, TakesNoLongTurnForRowsThatDoNotMatch) {
    crowded_service test;
    for (std::uint32_t i = 0; i < 500'000; ++i) {
        test.vell.routes[{.table = i}];
    }
    sim::answer made =
        sim::answer_question(test.vell, question_payload(R"(routes {"client":200})"));
    int pieces = 0;
    for (bool is_last = false; !is_last; ++pieces) {
        is_last = made.next().is_last;
    }
    EXPECT_GT(pieces, 1) << "500,000 routes take more than one turn";
}
