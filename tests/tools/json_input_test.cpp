#include "json_input.h"
#include "tests/tools/error_of.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace feed {
namespace {

std::string parse_error(const std::string &text) {
    return error_of([&] { parse_json({"in.json", text}, "`ip`"); });
}

TEST(JsonInput, ReadsEveryKindOfValue) {
    const std::string text = R"({"a":[null,true,-1,1,1.5,"x",{}],"b":[]})";
    const json_document document = parse_json({"in.json", text}, "`ip`");
    EXPECT_EQ(document.root.dump(), text);
    EXPECT_EQ(document.name, "in.json");
}

TEST(JsonInput, SyntaxErrorsNameFileLineAndColumn) {
    EXPECT_EQ(parse_error("[\n  {\"src\": }\n]"),
              "in.json:2:11: syntax error while parsing value - unexpected '}'; "
              "expected '[', '{', or a literal");
    EXPECT_EQ(parse_error("[1,]"),
              "in.json:1:4: syntax error while parsing value - unexpected ']'; expected '[', '{', "
              "or a literal");
}

TEST(JsonInput, ATextThatEndsEarlyIsRefusedAtItsEnd) {
    EXPECT_EQ(parse_error("[{\"src\":\"10.0.0.1\""),
              "in.json:1:18: syntax error while parsing object - unexpected end of "
              "input; expected '}'");
}

TEST(JsonInput, SomethingBehindTheValueIsRefused) {
    EXPECT_EQ(parse_error("[]\n[]"),
              "in.json:2:1: syntax error while parsing value - unexpected '['; expected end of "
              "input");
}

TEST(JsonInput, BytesThatNoTerminalShouldSeeAreEscaped) {
    EXPECT_EQ(parse_error("[\"\xff\x1b\"]"),
              "in.json:1:3: syntax error while parsing value - invalid string: ill-formed "
              "UTF-8 byte; last read: '\"\\xff'");
}

TEST(JsonInput, ANumberTooLargeIsRefusedWithItsPlace) {
    EXPECT_EQ(parse_error("[\n1e999\n]"), "in.json:2:6: number overflow parsing '1e999'");
}

TEST(JsonInput, ATextThatDoesNotEvenStartAsJsonGetsAHint) {
    EXPECT_EQ(parse_error("(10.0.0.1,239.1.1.1)  Iif: v0"),
              "in.json:1:1: syntax error while parsing value - invalid literal; last read: '('; is "
              "this the output of "
              "`ip`?");
}

TEST(JsonInput, AnEmptyTextIsCalledEmpty) {
    const std::string expected = "in.json: is empty, not even an empty JSON value; did `ip` fail?";
    EXPECT_EQ(parse_error(""), expected);
    EXPECT_EQ(parse_error(" \n\t\r\n"), expected);
}

TEST(JsonInput, AMemberThatStandsTwiceIsRefused) {
    EXPECT_EQ(parse_error("[{\"src\":1,\n\"src\":2}]"),
              "in.json:2:5: the member \"src\" stands twice in one object");
    // The same name in two objects is no repetition.
    EXPECT_EQ(parse_error("[{\"src\":1,\"x\":{\"src\":2}},{\"src\":3}]"), "(no error)");
}

TEST(JsonInput, NestingHasABound) {
    EXPECT_EQ(parse_error(std::string(64, '[') + std::string(64, ']')), "(no error)");
    EXPECT_EQ(parse_error(std::string(65, '[') + std::string(65, ']')),
              "in.json:1:65: values are nested more than 64 levels deep");
}

TEST(JsonInput, AMillionBracketsDoNoHarm) {
    EXPECT_EQ(parse_error(std::string(1000000, '[')),
              "in.json:1:65: values are nested more than 64 levels deep");
    std::string objects;
    for (int i = 0; i < 200000; ++i)
        objects += "{\"a\":";
    EXPECT_EQ(parse_error(objects), "in.json:1:321: values are nested more than 64 levels deep");
}

TEST(JsonInput, AValueTellsItsWayFromTheRoot) {
    const json_document list = parse_json({"in.json", R"([{}, {"a/b~c": [0, 7]}])"}, "`ip`");
    const json_view entry = json_view(list).elements("an array")[1];
    EXPECT_EQ(entry.place(), "in.json: entry 2 of 2 (/1)");
    EXPECT_EQ(entry.member("a/b~c", "an array").elements("an array")[1].place(),
              "in.json: entry 2 of 2 (/1/a~1b~0c/1)");
    const json_document object = parse_json({"in.json", R"({"routes": [1]})"}, "`ip`");
    EXPECT_EQ(json_view(object).member("routes", "an array").elements("an array")[0].place(),
              "in.json: /routes/0");
    EXPECT_EQ(json_view(object).place(), "in.json");
}

TEST(JsonInput, WrongValuesAreRefusedWithWhatWasExpectedAndFound) {
    const json_document list =
        parse_json({"in.json", R"([null, true, -1, 1.5, "x", [1, 2], {}])"}, "`ip`");
    const auto views = json_view(list).elements("an array");
    const auto string_error = [&](std::size_t i) {
        return error_of([&] { views[i].string("a name"); });
    };
    EXPECT_EQ(string_error(0), "in.json: entry 1 of 7 (/0): expected a name, found null");
    EXPECT_EQ(string_error(1), "in.json: entry 2 of 7 (/1): expected a name, found true");
    EXPECT_EQ(string_error(2), "in.json: entry 3 of 7 (/2): expected a name, found the number -1");
    EXPECT_EQ(string_error(3), "in.json: entry 4 of 7 (/3): expected a name, found the number 1.5");
    EXPECT_EQ(string_error(5), "in.json: entry 6 of 7 (/5): expected a name, found an array of 2");
    EXPECT_EQ(string_error(6), "in.json: entry 7 of 7 (/6): expected a name, found an object");
    EXPECT_EQ(error_of([&] { views[4].elements("a list"); }),
              "in.json: entry 5 of 7 (/4): expected a list, found the string \"x\"");
}

TEST(JsonInput, NumbersAreHeldToTheirRange) {
    const json_document list =
        parse_json({"in.json", "[0, 1, 255, 256, 4294967296, -1, 2.0]"}, "`ip`");
    const auto views = json_view(list).elements("an array");
    const auto number_error = [&](std::size_t i) {
        return error_of([&] { views[i].number(1, 255, "a TTL"); });
    };
    EXPECT_EQ(number_error(0),
              "in.json: entry 1 of 7 (/0): expected a TTL from 1 to 255, found the number 0");
    EXPECT_EQ(views[1].number(1, 255, "a TTL"), 1u);
    EXPECT_EQ(views[2].number(1, 255, "a TTL"), 255u);
    EXPECT_EQ(number_error(3),
              "in.json: entry 4 of 7 (/3): expected a TTL from 1 to 255, found the number 256");
    EXPECT_EQ(
        number_error(4),
        "in.json: entry 5 of 7 (/4): expected a TTL from 1 to 255, found the number 4294967296");
    EXPECT_EQ(number_error(5), "in.json: entry 6 of 7 (/5): expected a TTL, found the number -1");
    EXPECT_EQ(number_error(6), "in.json: entry 7 of 7 (/6): expected a TTL, found the number 2.0");
}

TEST(JsonInput, AMissingMemberIsNamedWithThoseThatAreThere) {
    const json_document list = parse_json({"in.json", R"([{"dst":1,"iif":2}, {}])"}, "`ip`");
    const auto views = json_view(list).elements("an array");
    EXPECT_EQ(error_of([&] { views[0].member("src", "the source"); }),
              "in.json: entry 1 of 2 (/0): expected a member \"src\" (the source), found only "
              "\"dst\", \"iif\"");
    EXPECT_EQ(error_of([&] { views[1].member("src", "the source"); }),
              "in.json: entry 2 of 2 (/1): expected a member \"src\" (the source), found an empty "
              "object");
}

TEST(JsonInput, EntriesOfAnInnerArraySayWhichOneTheyAre) {
    const json_document document =
        parse_json({"in.json", R"([{"a/b":[{"x":1},{"x":[true]}]}])"}, "`ip`");
    const json_view inner = json_view(document).elements("").at(0).member("a/b", "");
    EXPECT_EQ(inner.entry(), "");
    EXPECT_EQ(inner.place(), "in.json: entry 1 of 1 (/0/a~1b)");
    const json_view second = inner.entries("").at(1);
    EXPECT_EQ(second.entry(), "entry 2 of 2");
    EXPECT_EQ(second.pointer(), "/0/a~1b/1");
    EXPECT_EQ(second.member("x", "").elements("").at(0).place(),
              "in.json: entry 2 of 2 (/0/a~1b/1/x/0)");
}

TEST(JsonInput, MembersAndTruthsAreReadOrRefused) {
    const json_document document =
        parse_json({"in.json", R"({"yes":true,"no":false,"one":1})"}, "`ip`");
    const auto members = json_view(document).members("an object");
    ASSERT_EQ(members.size(), 3u);
    EXPECT_EQ(members[0].first, "no");
    EXPECT_FALSE(members[0].second.boolean("true or false"));
    EXPECT_TRUE(members[2].second.boolean("true or false"));
    EXPECT_EQ(error_of([&] { members[1].second.boolean("true or false"); }),
              "in.json: /one: expected true or false, found the number 1");
    EXPECT_EQ(error_of([&] { members[1].second.members("an object"); }),
              "in.json: /one: expected an object, found the number 1");
}

} // namespace
} // namespace feed
