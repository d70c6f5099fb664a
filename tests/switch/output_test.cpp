// The printer: one description gives JSON and text.
#include "sim/base/output.h"

#include <cstdint>
#include <functional>
#include <gtest/gtest.h>
#include <optional>
#include <string>

using sim::output;
using sim::output_form;

namespace {

std::string printed(output_form form, const std::function<void(output &)> &print) {
    output out(form);
    print(out);
    return out.take();
}

void expect_forms(const std::function<void(output &)> &print, const std::string &text,
                  const std::string &json) {
    EXPECT_EQ(printed(output_form::text, print), text);
    EXPECT_EQ(printed(output_form::json, print), json);
}

std::string json_string(std::string_view value) {
    return printed(output_form::json, [value](output &out) { out.json({}, value); });
}

} // namespace

TEST(Output, PrintsAFieldInBothForms) {
    expect_forms(
        [](output &out) {
            out.open_object();
            out.field("id", "client {}", std::uint8_t{3});
            out.field("segment", ", segment {:6}|", std::string("a"));
            out.field("state", " {}", "lost");
            out.field("held", " {}", true);
            out.close_object();
        },
        "client 3, segment a     | lost true",
        R"({"id":3,"segment":"a","state":"lost","held":true})");
}

TEST(Output, KeepsNumbersExact) {
    expect_forms(
        [](output &out) {
            out.open_list();
            out.field({}, "{}", UINT64_MAX);
            out.field({}, " {}", INT64_MIN);
            out.field({}, " {}", std::uint8_t{255});
            out.close_list();
        },
        "18446744073709551615 -9223372036854775808 255",
        "[18446744073709551615,-9223372036854775808,255]");
}

TEST(Output, SaysNullWhereTextSaysNothing) {
    expect_forms(
        [](output &out) {
            out.open_object();
            out.field("a", "a {}", std::optional<int>());
            out.field("b", "b {}", std::optional<int>(2));
            out.field("c", "c {}", std::optional<std::string>());
            out.close_object();
        },
        "b 2", R"({"a":null,"b":2,"c":null})");
}

TEST(Output, HasWhatOneFormAlonePrints) {
    expect_forms(
        [](output &out) {
            out.open_object();
            out.json("number", 5);
            out.text("{} and {}\n", "text", 6);
            out.close_object();
        },
        "text and 6\n", R"({"number":5})");
}

TEST(Output, NestsListsAndObjects) {
    expect_forms(
        [](output &out) {
            out.open_object();
            out.open_list("empty");
            out.close_list();
            out.open_object("inner");
            out.open_list("words");
            out.json({}, 1);
            out.json({}, "two");
            out.close_list();
            out.close_object();
            out.close_object();
        },
        "", R"({"empty":[],"inner":{"words":[1,"two"]}})");
}

TEST(Output, PutsEachRowOnALineOfItsOwn) {
    expect_forms(
        [](output &out) {
            out.open_object();
            out.open_rows("rows");
            for (int i = 1; i <= 3; ++i) {
                out.open_object();
                out.field("n", "{}\n", i);
                out.close_object();
            }
            out.close_list();
            out.json("matched", 3);
            out.close_object();
        },
        "1\n2\n3\n", "{\"rows\":[{\"n\":1},\n{\"n\":2},\n{\"n\":3}],\"matched\":3}");
}

TEST(Output, GoesOnAfterWhatWasTaken) {
    output out(output_form::json);
    out.open_object();
    out.open_rows("rows");
    out.json({}, 1);
    EXPECT_EQ(out.take(), R"({"rows":[1)");
    EXPECT_EQ(out.size(), 0u);
    out.json({}, 2);
    EXPECT_EQ(out.size(), 3u);
    out.close_list();
    out.close_object();
    EXPECT_EQ(out.take(), ",\n2]}");
}

TEST(Output, WrapsAListAt80Columns) {
    expect_forms(
        [](output &out) {
            out.open_wrapped_list({}, "  numbers: ");
            for (int i = 1000; i < 1014; ++i) {
                out.field({}, "{}", i);
            }
            out.close_list();
        },
        "  numbers: 1000, 1001, 1002, 1003, 1004, 1005, 1006, 1007, 1008, 1009, 1010,\n"
        "           1011, 1012, 1013\n",
        "[1000,1001,1002,1003,1004,1005,1006,1007,1008,1009,1010,1011,1012,1013]");
}

TEST(Output, FillsALineToTheLastColumnAndNotBeyond) {
    const auto last = [](std::size_t length) {
        return printed(output_form::text, [length](output &out) {
            out.open_wrapped_list({}, "x: ");
            out.field({}, "{}", std::string(36, 'a'));
            out.field({}, "{}", std::string(length, 'b'));
            out.close_list();
        });
    };
    EXPECT_EQ(last(39), "x: " + std::string(36, 'a') + ", " + std::string(39, 'b') + "\n");
    EXPECT_EQ(last(40), "x: " + std::string(36, 'a') + ",\n   " + std::string(40, 'b') + "\n");
}

TEST(Output, TakesAnObjectForOneItemOfAWrappedList) {
    expect_forms(
        [](output &out) {
            out.open_wrapped_list({}, "OIFs: ");
            for (int i = 1; i <= 2; ++i) {
                out.open_object();
                out.json("if_index", i);
                out.field("name", "Vlan{}", i);
                out.field("kind", " ({})", "svi");
                out.close_object();
            }
            out.close_list();
        },
        "OIFs: Vlan1 (svi), Vlan2 (svi)\n",
        R"([{"if_index":1,"name":1,"kind":"svi"},{"if_index":2,"name":2,"kind":"svi"}])");
}

TEST(Output, WritesJsonStringsInPlainAscii) {
    EXPECT_EQ(json_string("a\"b\\c/d"), R"("a\"b\\c/d")");
    EXPECT_EQ(json_string(std::string_view("\0\n\x1b\x7f", 4)), R"("\u0000\u000a\u001b\u007f")");
    EXPECT_EQ(json_string("\xc2\x80 \xc2\x9f"), R"("\u0080 \u009f")");
    EXPECT_EQ(json_string("\xe2\x80\xae"), R"("\u202e")");
    EXPECT_EQ(json_string("\xc3\xa9 \xe2\x82\xac"), R"("\u00e9 \u20ac")");
    EXPECT_EQ(json_string("\xf0\x9f\x98\x80 \xf4\x8f\xbf\xbf"), R"("\ud83d\ude00 \udbff\udfff")");
}

TEST(Output, ReplacesBytesThatAreNotUtf8) {
    EXPECT_EQ(json_string("a\xff"), R"("a\ufffd")");
    EXPECT_EQ(json_string("\xc3"), R"("\ufffd")");
    EXPECT_EQ(json_string("\xc0\x80"), R"("\ufffd\ufffd")");                     // overlong
    EXPECT_EQ(json_string("\xe0\x80\x80"), R"("\ufffd\ufffd\ufffd")");           // overlong
    EXPECT_EQ(json_string("\xed\xa0\x80"), R"("\ufffd\ufffd\ufffd")");           // surrogate
    EXPECT_EQ(json_string("\xf4\x90\x80\x80"), R"("\ufffd\ufffd\ufffd\ufffd")"); // above U+10FFFF
}

TEST(Output, EscapesStringsInText) {
    EXPECT_EQ(printed(output_form::text,
                      [](output &out) {
                          out.field("name", "[{:>10}]", std::string("a\x1b[2J"));
                          out.text(" {}\n", "\xc2\x9b"
                                            "5m");
                      }),
              "[  a\\x1b[2J] \\xc2\\x9b5m\n");
}

TEST(Output, BreaksLinesAlikeWhereverItIsTaken) {
    const auto print = [](bool is_taken) {
        output out(output_form::text);
        std::string text;
        out.open_wrapped_list("items", "    items: ");
        for (int i = 0; i < 200; ++i) {
            out.field({}, "{}", std::string(static_cast<std::size_t>(i % 31), 'x'));
            text += is_taken ? out.take() : "";
        }
        out.close_list();
        return text + out.take();
    };
    EXPECT_EQ(print(true), print(false));
}
