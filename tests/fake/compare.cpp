#include "fake/compare.h"

#include <algorithm>

namespace fake {
namespace {

// Long lists are shown around the difference only.
constexpr std::size_t shown_before = 6;
constexpr std::size_t shown_after = 10;

std::string list(const char *title, const Calls &calls, std::size_t around) {
    std::string result =
        std::string("\n") + title + ", " + std::to_string(calls.size()) + " calls:";
    const auto first = around > shown_before ? around - shown_before : 0;
    const auto last = std::min(calls.size(), around + shown_after);
    for (auto i = first; i < last; ++i)
        result +=
            "\n  " + std::to_string(i + 1) + (i == around ? " > " : "   ") + to_line(calls[i]);
    return result;
}

std::string differing_arguments(const Description &actual, const Description &expected) {
    std::string result;
    for (std::size_t i = 0; i < actual.arguments.size(); ++i) {
        const auto &[name, text] = actual.arguments[i];
        const auto &wanted = expected.arguments[i].text;
        if (text != wanted)
            result += "\n    " + name + "\n      expected: " + wanted + "\n      actual:   " + text;
    }
    return result;
}

std::string difference(const Calls &actual, const Calls &expected, std::size_t at) {
    const auto number = "call " + std::to_string(at + 1);
    if (at == expected.size())
        return number + " was not expected: " + to_string(actual[at]);
    if (at == actual.size())
        return number + " is missing: " + to_string(expected[at]);
    const auto was = describe(actual[at]);
    const auto wanted = describe(expected[at]);
    if (was.function != wanted.function)
        return number + " is " + was.function + " where " + wanted.function + " was expected";
    return number + ", " + was.function + ", differs in" + differing_arguments(was, wanted);
}

} // namespace

testing::AssertionResult same_calls(const Calls &actual, const Calls &expected) {
    if (actual == expected)
        return testing::AssertionSuccess();
    const auto common = std::min(actual.size(), expected.size());
    std::size_t at = 0;
    while (at < common && actual[at] == expected[at])
        ++at;
    return testing::AssertionFailure()
           << difference(actual, expected, at) << list("expected", expected, at)
           << list("actual", actual, at);
}

} // namespace fake
