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
    const std::string unknown =
        "\", but to clients, routes, stats, l2, flood, ltl, overlay, count, "
        "fault, stop";
    EXPECT_EQ(answered(""), "refused: this switch has no answer to \"" + unknown);
    EXPECT_EQ(answered("rout\x1b"), "refused: this switch has no answer to \"rout\\x1b" + unknown);
    EXPECT_EQ(answered("clients\ncolour\a=7"),
              "refused: clients: there is no member \"colour\\x07\"; the members are format, "
              "client, limit");
    EXPECT_EQ(answered("clients\n\nlimit=1"),
              "refused: clients: there is no member \"\"; the members are format, client, limit");
    EXPECT_EQ(answered("clients\nformat=xml"), "refused: clients: format: xml is not text or json");
    EXPECT_EQ(answered("count\nsource=10.0.0.1"), "refused: count: group is missing");
}

TEST(Question, IsReadUpTo4096Bytes) {
    const std::string shortest = "fault\nmodes=";
    const auto padded = [&](std::size_t size) {
        return shortest + std::string(size - shortest.size(), 'x');
    };
    EXPECT_EQ(answered(padded(4096)),
              "refused: there is no fault mode " + padded(4096).substr(shortest.size()));
    EXPECT_EQ(answered(padded(4097)),
              "refused: the question is 4097 bytes long, at most 4096 are read");
}

TEST(Question, AddsFaultModesOnlyAsLongAsOneQuestionCouldSayThemAll) {
    test_service test;
    const auto refuse = [&test](int vlan) {
        return answer_to_payload(test.vell, fmt::format("fault\nmodes=--refuse-vlan {}", vlan));
    };
    int most = 1000;
    while (most < 4094 && refuse(most).starts_with("fault modes: ")) {
        ++most;
    }
    EXPECT_EQ(most, 1215) << "215 of 18 characters, and a space between each two";
    EXPECT_EQ(refuse(most), "refused: all fault modes together would be 4103 bytes long, at most "
                            "4096 are kept; --clear switches others off");
    EXPECT_EQ(test.vell.faults.refused_vlans.size(), 215u);
    EXPECT_TRUE(answer_to_payload(test.vell, "fault\nclear=true").ends_with(": none\n"));
}

TEST(Question, HasMembersWithinTheirRange) {
    const auto refusal_of = [](std::string_view member) {
        const std::string text = answered("routes\n" + std::string(member));
        EXPECT_TRUE(text.starts_with("refused: routes: ")) << text;
        return text.substr(std::min<std::size_t>(17, text.size()));
    };
    EXPECT_EQ(refusal_of("table=-7"), "table: -7 is not a number from 0 to 4294967295");
    EXPECT_EQ(refusal_of("table=4294967296"),
              "table: 4294967296 is not a number from 0 to 4294967295");
    EXPECT_EQ(refusal_of("table=1.5"), "table: 1.5 is not a number from 0 to 4294967295");
    EXPECT_EQ(refusal_of("table"), "table:  is not a number from 0 to 4294967295");
    EXPECT_EQ(refusal_of("client=256"), "client: 256 is not a number from 0 to 255");
    EXPECT_EQ(refusal_of("limit=0"), "limit: 0 is not a number from 1 to 4294967295");
    EXPECT_EQ(refusal_of("summary=1"), "summary: 1 is not true");
    EXPECT_EQ(refusal_of("group=239.1.1"),
              "group: 239.1.1 is not an IPv4 address such as 239.1.1.2");
    EXPECT_EQ(refusal_of("group=ff02::1"),
              "group: ff02::1 is not an IPv4 address such as 239.1.1.2");
    EXPECT_EQ(refusal_of(std::string_view("source=10.0.0.1\0evil", 20)),
              "source: 10.0.0.1\\x00evil is not an IPv4 address such as 239.1.1.2");
    EXPECT_EQ(refusal_of("source=7"), "source: 7 is not an IPv4 address such as 239.1.1.2");
}

TEST(Question, SurvivesTheJourney) {
    const sim::question sent{
        .ask = "routes",
        .form = sim::output_form::json,
        .members = {
            {"client", "1"}, {"table", "4294967295"}, {"group", "239.1.1.2"}, {"summary", "true"}}};
    const std::string payload = sim::encode_question(sent);
    EXPECT_EQ(payload, "routes\nformat=json\nclient=1\ngroup=239.1.1.2\nsummary=true\n"
                       "table=4294967295\n");
    const sim::question got = sim::decode_question(payload);
    EXPECT_EQ(got.ask, "routes");
    EXPECT_EQ(got.form, sim::output_form::json);
    EXPECT_EQ(got.members, sent.members);
    EXPECT_EQ(got.number("table"), 4294967295u);
    EXPECT_EQ(got.address("group"), sim::parse_l2_address("239.1.1.2"));
    EXPECT_TRUE(got.truth("summary"));
    EXPECT_EQ(got.number("limit"), std::nullopt);
    EXPECT_EQ(sim::decode_question("stats").form, sim::output_form::text);
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
    sim::answer made = sim::answer_question(test.vell, question_payload("routes client=200"));
    int pieces = 0;
    for (bool is_last = false; !is_last; ++pieces) {
        is_last = made.next().is_last;
    }
    EXPECT_GT(pieces, 1) << "500,000 routes take more than one turn";
}
