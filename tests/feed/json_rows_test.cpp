#include "feed/json_rows.h"
#include "tests/feed/input_text.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <malloc.h>
#include <nlohmann/json.hpp>
#include <vector>

namespace feed {
namespace {

using words = std::vector<std::string>;

template <typename Take>
json_part read_rows(const std::string &text, std::string_view rows, Take &&take) {
    const sim::file_descriptor file = file_with(text);
    return read_json_rows({"in.json", "`ip`", file.get()}, rows, take);
}

std::string read_error(const std::string &text) {
    return error_of([&] { read_rows(text, "", [](const json_view &) {}); });
}

// The places of all rows.
words places(const std::string &text, std::string_view rows) {
    words found;
    read_rows(text, rows, [&](const json_view &row) { found.push_back(row.place()); });
    return found;
}

// Calls `act` with the values of an array, one row after the other, and collects its errors.
template <typename Act>
words row_errors(const std::string &text, Act &&act) {
    words errors;
    read_rows(text, "",
              [&](const json_view &row) { errors.push_back(error_of([&] { act(row); })); });
    return errors;
}

TEST(JsonRows, AreTheElementsOfTheRoot) {
    std::vector<std::string> names;
    const json_part rest =
        read_rows(R"([{"name":"a"},{"name":"b"}])", "", [&](const json_view &row) {
            names.push_back(row.member("name", "a name").string("a name"));
        });
    EXPECT_EQ(names, (words{"a", "b"}));
    EXPECT_EQ(rest.value->dump(), "[]");
    EXPECT_EQ(places("[1,[2],{}]", ""),
              (words{"in.json: entry 1 (/0)", "in.json: entry 2 (/1)", "in.json: entry 3 (/2)"}));
}

TEST(JsonRows, MayBeInsideEveryElementOfTheRoot) {
    const std::string text = R"([{"a":[0],"mdb":[{},{}],"router":{"br1":[{"port":"x"}]}},
                                 {"mdb":[{}]},{"mdb":{"mdb":[{}]}},[{"mdb":[{}]}]])";
    EXPECT_EQ(places(text, "/*/mdb"),
              (words{"in.json: entry 1 (/0/mdb/0)", "in.json: entry 2 (/0/mdb/1)",
                     "in.json: entry 3 (/1/mdb/0)"}));
    const json_part rest = read_rows(text, "/*/mdb", [](const json_view &) {});
    EXPECT_EQ(
        rest.value->dump(),
        R"([{"a":[0],"mdb":[],"router":{"br1":[{"port":"x"}]}},{"mdb":[]},{"mdb":{"mdb":[{}]}},[{"mdb":[{}]}]])");
}

TEST(JsonRows, MayBeInsideAMember) {
    EXPECT_EQ(places(R"({"routes":[{},{}],"matched":2})", "/routes"),
              (words{"in.json: entry 1 (/routes/0)", "in.json: entry 2 (/routes/1)"}));
    const std::string nested = R"({"entries":[1],"l2":{"x":{"entries":[2]},"entries":[3]}})";
    EXPECT_EQ(places(nested, "/l2/entries"), words{"in.json: entry 1 (/l2/entries/0)"});
    EXPECT_EQ(read_rows(nested, "/l2/entries", [](const json_view &) {}).value->dump(),
              R"({"entries":[1],"l2":{"entries":[],"x":{"entries":[2]}}})");
}

TEST(JsonRows, WhatIsAroundThemIsReadAfterThem) {
    const json_part rest = read_rows(R"({"routes":[{}],"matched":7,"narrowed":null})", "/routes",
                                     [](const json_view &) {});
    const json_view root(rest);
    EXPECT_EQ(root.member("matched", "a count").number(0, 9, "a count"), 7u);
    EXPECT_TRUE(root.member("narrowed", "a text or null").is_null());
    EXPECT_TRUE(root.member("matched", "a count").is_number());
    EXPECT_EQ(root.entry(), 0u);
    EXPECT_EQ(root.place(), "in.json");
    EXPECT_EQ(root.member("matched", "").place(), "in.json: /matched");
}

TEST(JsonRows, AreNotKept) {
    std::string text = "[0";
    for (int i = 0; i < 1000; ++i) {
        text += ",\"" + std::string(1000, 'x') + "\"";
    }
    std::vector<std::size_t> in_use;
    in_use.reserve(1001);
    read_rows(text + "]", "", [&](const json_view &) { in_use.push_back(mallinfo2().uordblks); });
    ASSERT_EQ(in_use.size(), 1001u);
    EXPECT_LT(in_use.back(), in_use.front() + 65536);
}

TEST(JsonRows, ReadsEveryKindOfValue) {
    const std::string text = R"({"a":[null,true,-1,1,1.5,"x",{}],"b":[]})";
    EXPECT_EQ(read_rows(text, "", [](const json_view &) {}).value->dump(), text);
}

TEST(JsonRows, SyntaxErrorsNameFileLineAndColumn) {
    EXPECT_EQ(read_error("[\n  {\"src\": }\n]"),
              "in.json:2:11: syntax error while parsing value - unexpected '}'; "
              "expected '[', '{', or a literal");
    EXPECT_EQ(read_error("[1,]"),
              "in.json:1:4: syntax error while parsing value - unexpected ']'; expected '[', '{', "
              "or a literal");
    // Longer than what is read at once.
    EXPECT_EQ(read_error("[" + std::string(70000, '\n') + "1" + std::string(70000, ' ') + "}"),
              "in.json:70001:70002: syntax error while parsing array - unexpected '}'; expected "
              "']'");
}

TEST(JsonRows, ATextThatEndsEarlyIsRefusedAtItsEnd) {
    EXPECT_EQ(read_error("[{\"src\":\"10.0.0.1\""),
              "in.json:1:19: syntax error while parsing object - unexpected end of "
              "input; expected '}'");
}

TEST(JsonRows, SomethingAfterTheValueIsRefused) {
    EXPECT_EQ(read_error("[]\n[]"),
              "in.json:2:1: syntax error while parsing value - unexpected '['; expected end of "
              "input");
}

TEST(JsonRows, BytesThatNoTerminalShouldSeeAreEscaped) {
    EXPECT_EQ(read_error("[\"\xff\x1b\"]"),
              "in.json:1:3: syntax error while parsing value - invalid string: ill-formed "
              "UTF-8 byte; last read: '\"\\xff'");
    EXPECT_EQ(row_errors(R"([{"\u001b[2J":5}])",
                         [](const json_view &row) {
                             row.members("an object")[0].second.string("a name");
                         }),
              words{"in.json: entry 1 (/0/\\x1b[2J): expected a name, found the number 5"});
}

TEST(JsonRows, ANumberTooLargeIsRefusedWithItsPlace) {
    EXPECT_EQ(read_error("[\n1e999\n]"), "in.json:2:6: number overflow parsing '1e999'");
}

TEST(JsonRows, ATextThatDoesNotEvenStartAsJsonGetsAHint) {
    EXPECT_EQ(read_error("(10.0.0.1,239.1.1.1)  Iif: v0"),
              "in.json:1:1: syntax error while parsing value - invalid literal; last read: '('; is "
              "this the output of `ip`?");
}

TEST(JsonRows, AnEmptyTextIsCalledEmpty) {
    const std::string expected = "in.json: is empty, not even an empty JSON value; did `ip` fail?";
    EXPECT_EQ(read_error(""), expected);
    EXPECT_EQ(read_error(" \n\t\r\n"), expected);
}

TEST(JsonRows, WhatCannotBeReadIsRefused) {
    const sim::file_descriptor directory(::open("/", O_RDONLY | O_CLOEXEC));
    EXPECT_EQ(error_of([&] {
                  read_json_rows({"/", "`ip`", directory.get()}, "", [](const json_view &) {});
              }),
              "/: cannot be read: Is a directory");
}

TEST(JsonRows, AMemberThatAppearsTwiceIsRefused) {
    EXPECT_EQ(read_error("[{\"src\":1,\n\"src\":2}]"),
              "in.json:2:5: the member \"src\" appears twice in one object");
    // The same name in two objects is not a repetition.
    EXPECT_EQ(read_error("[{\"src\":1,\"x\":{\"src\":2}},{\"src\":3}]"), "(no error)");
}

TEST(JsonRows, NestingHasABound) {
    EXPECT_EQ(read_error(std::string(64, '[') + std::string(64, ']')), "(no error)");
    EXPECT_EQ(read_error(std::string(65, '[') + std::string(65, ']')),
              "in.json:1:65: values are nested more than 64 levels deep");
    std::string objects;
    for (int i = 0; i < 200000; ++i) {
        objects += "{\"a\":";
    }
    EXPECT_EQ(read_error(objects), "in.json:1:321: values are nested more than 64 levels deep");
}

TEST(JsonRows, AValueKnowsItsWayFromTheRoot) {
    words found;
    read_rows(R"([{"a/b~c":[0,7]}])", "", [&](const json_view &row) {
        found.push_back(row.member("a/b~c", "an array").elements("an array")[1].place());
    });
    EXPECT_EQ(found, words{"in.json: entry 1 (/0/a~1b~0c/1)"});
}

TEST(JsonRows, WrongValuesAreRefusedWithWhatWasExpectedAndFound) {
    EXPECT_EQ(row_errors(R"([null,true,-1,1.5,"x",[1,2],{}])",
                         [](const json_view &row) { row.string("a name"); }),
              (words{"in.json: entry 1 (/0): expected a name, found null",
                     "in.json: entry 2 (/1): expected a name, found true",
                     "in.json: entry 3 (/2): expected a name, found the number -1",
                     "in.json: entry 4 (/3): expected a name, found the number 1.5", "(no error)",
                     "in.json: entry 6 (/5): expected a name, found an array of 2",
                     "in.json: entry 7 (/6): expected a name, found an object"}));
    EXPECT_EQ(row_errors(R"(["x"])", [](const json_view &row) { row.elements("a list"); }),
              words{"in.json: entry 1 (/0): expected a list, found the string \"x\""});
    EXPECT_EQ(row_errors("[1]", [](const json_view &row) { row.boolean("true or false"); }),
              words{"in.json: entry 1 (/0): expected true or false, found the number 1"});
    EXPECT_EQ(row_errors("[1]", [](const json_view &row) { row.members("an object"); }),
              words{"in.json: entry 1 (/0): expected an object, found the number 1"});
}

TEST(JsonRows, NumbersAreHeldToTheirRange) {
    EXPECT_EQ(row_errors("[0,1,255,256,18446744073709551615,-1,2.0]",
                         [](const json_view &row) { row.number(1, 255, "a TTL"); }),
              (words{"in.json: entry 1 (/0): expected a TTL from 1 to 255, found the number 0",
                     "(no error)", "(no error)",
                     "in.json: entry 4 (/3): expected a TTL from 1 to 255, found the number 256",
                     "in.json: entry 5 (/4): expected a TTL from 1 to 255, found the number "
                     "18446744073709551615",
                     "in.json: entry 6 (/5): expected a TTL, found the number -1",
                     "in.json: entry 7 (/6): expected a TTL, found the number 2.0"}));
    read_rows("[18446744073709551615]", "", [](const json_view &row) {
        EXPECT_EQ(row.number<std::uint64_t>(0, UINT64_MAX, "a count"), UINT64_MAX);
    });
}

TEST(JsonRows, AMissingMemberIsNamedWithThoseThatAreThere) {
    EXPECT_EQ(row_errors(R"([{"dst":1,"iif":2},{},7])",
                         [](const json_view &row) { row.member("src", "the source"); }),
              (words{"in.json: entry 1 (/0): expected a member \"src\" (the source), found only "
                     "\"dst\", \"iif\"",
                     "in.json: entry 2 (/1): expected a member \"src\" (the source), found an "
                     "empty object",
                     "in.json: entry 3 (/2): expected an object, found the number 7"}));
}

TEST(JsonRows, MembersAreInTheOrderOfTheirNames) {
    const json_part rest = read_rows(R"({"yes":true,"no":false})", "", [](const json_view &) {});
    const auto members = json_view(rest).members("an object");
    ASSERT_EQ(members.size(), 2u);
    EXPECT_EQ(members[0].first, "no");
    EXPECT_FALSE(members[0].second.boolean("true or false"));
    EXPECT_TRUE(members[1].second.boolean("true or false"));
}

} // namespace
} // namespace feed
