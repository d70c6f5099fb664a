// The drawings of vell-wire(5) are what the library really sends and reads, byte by byte.
#include "tests/man/wire_cases.h"
#include "tests/man/wire_page.h"
#include "tests/unit/library_test.h"

#include <vell.h>

#include <algorithm>
#include <cctype>
#include <gtest/gtest.h>
#include <ostream>
#include <regex>
#include <set>

namespace wire {

void PrintTo(const Case &one, std::ostream *out) {
    *out << one.section;
}

std::vector<Case> all_cases() {
    std::vector<Case> all;
    for (const auto *cases : {&service_cases, &route_cases, &l2_cases, &manager_cases}) {
        all.insert(all.end(), cases->begin(), cases->end());
    }
    return all;
}

Found run(const Case &one, unsigned seed) {
    reset_library();
    set_client_state({.id = client_id, .queue = 0x14131211, .uuid = 502});
    Numbers numbers(seed);
    return one.find(numbers);
}

namespace {

// The value as the page says that it lies in the field.
bytes encoded(const Field &field, const Value &value) {
    if (const auto *exact = std::get_if<bytes>(&value)) {
        EXPECT_EQ(field.order, "-");
        return *exact;
    }
    if (const auto *one = std::get_if<Fill>(&value)) {
        EXPECT_EQ(field.order, "-");
        return bytes(field.width, one->value);
    }
    std::uint64_t left = std::get<std::uint64_t>(value);
    bytes raw;
    for (std::size_t i = 0; i < field.width; ++i, left = i < 8 ? left >> 8 : 0) {
        raw.push_back(static_cast<std::uint8_t>(left));
    }
    EXPECT_EQ(left, 0U) << "the value does not fit the field";
    EXPECT_EQ(field.order == "-", field.width == 1) << "only a number of bytes has an order";
    if (field.order == "network") {
        std::reverse(raw.begin(), raw.end());
    }
    return raw;
}

bytes in(const Field &field, const bytes &whole) {
    return part(whole, field.offset, field.width);
}

std::uint64_t number_of(const Value &value) {
    const auto *one = std::get_if<Fill>(&value);
    return one != nullptr ? one->value : std::get<std::uint64_t>(value);
}

std::uint64_t number_of(const std::string &digits) {
    return std::stoull(digits, nullptr, 0);
}

// A table that begins a field's contents with numbers has its values there: "23", "8 or 9",
// "1 when ..., otherwise 3", "80 plus 8 for each entry".
void expect_the_numbers_shown(const Field &field, const Value &one, const Value &other) {
    static const std::regex constant(R"((0x[0-9a-f]+|\d+)(?:[:,].*)?)");
    static const std::regex two(
        R"((0x[0-9a-f]+|\d+)(?: or | to | when .*, otherwise )(\d+)(?:[:,].*)?)");
    static const std::regex length(R"((\d+) plus (\d+) for each entry)");
    std::smatch match;
    if (std::regex_match(field.contents, match, constant) && field.order != "network") {
        EXPECT_EQ(number_of(match[1]), number_of(one));
    } else if (std::regex_match(field.contents, match, two)) {
        EXPECT_EQ(std::set({number_of(match[1]), number_of(match[2])}),
                  std::set({number_of(one), number_of(other)}));
    } else if (std::regex_match(field.contents, match, length)) {
        EXPECT_EQ(number_of(match[1]) + number_of(match[2]), number_of(one));
    }
}

void expect_drawn(const Drawing &fields, const Found &found) {
    ASSERT_EQ(found.sent.size(), size_of(fields));
    std::set<std::string> drawn;
    for (const Field &field : fields) {
        SCOPED_TRACE(field.name + " at " + std::to_string(field.offset));
        ASSERT_TRUE(found.values.contains(field.name));
        const Value &value = found.values.at(field.name);
        EXPECT_EQ(in(field, found.sent), encoded(field, value));
        drawn.insert(field.name);
    }
    EXPECT_EQ(drawn.size(), found.values.size()) << "a value has no field";
}

// Two runs with other arguments and other buffers show who writes a field.
void expect_from(const Field &field, const Found &one, const Found &other) {
    const bytes now = in(field, one.sent);
    const bool is_constant = now == in(field, other.sent);
    if (!one.from.empty()) {
        EXPECT_EQ(field.from, one.from);
    } else if (field.from == "library") {
        // An address is not the same each time.
        EXPECT_TRUE(is_constant || field.contents.starts_with("the address of "));
    } else if (field.from == "argument") {
        EXPECT_FALSE(is_constant);
    } else {
        EXPECT_EQ(field.from, "caller");
    }
    if (one.before.empty()) {
        EXPECT_NE(field.from, "caller") << "the library builds this itself";
        return;
    }
    bytes before = in(field, one.before);
    if (field.order == "network") {
        std::reverse(before.begin(), before.end());
    }
    EXPECT_EQ(now == before, field.from == "caller");
}

class WireDrawingTest : public testing::TestWithParam<Case> {};

TEST_P(WireDrawingTest, IsWhatTheLibrarySends) {
    const Drawing &fields = drawing(GetParam().section);
    Found one = run(GetParam(), 1), other = run(GetParam(), 43);
    expect_drawn(fields, one);
    expect_drawn(fields, other);
    for (const Field &field : fields) {
        SCOPED_TRACE(field.name + " at " + std::to_string(field.offset));
        expect_from(field, one, other);
        expect_the_numbers_shown(field, one.values[field.name], other.values[field.name]);
    }
}

INSTANTIATE_TEST_SUITE_P(WirePage, WireDrawingTest, testing::ValuesIn(all_cases()),
                         [](const auto &of) {
                             std::string name = of.param.section;
                             std::erase_if(name, [](char c) { return !std::isalnum(c); });
                             return name;
                         });

TEST(WirePageTest, HasNoOtherDrawing) {
    std::set<std::string> drawn, known;
    for (const auto &[section, fields] : page().drawings) {
        drawn.insert(section);
    }
    for (const Case &one : all_cases()) {
        known.insert(one.section);
    }
    EXPECT_EQ(drawn, known);
}

} // namespace

} // namespace wire
