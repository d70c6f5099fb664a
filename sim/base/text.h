// Text for people: safe for a terminal, 80 columns wide, with its numbers and plurals right.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace sim {

inline constexpr std::size_t text_width = 80;

// Text from elsewhere as printable ASCII; every other byte becomes \xNN.
std::string printable(std::string_view text);

// The same of text of several lines, which stay lines.
std::string printable_lines(std::string_view text);

// Decimal digits, or 0x and hexadecimal ones; a leading zero is only a digit.
std::optional<std::uint64_t> parse_number(std::string_view text);

// Takes the text before the first `end`, and that; all of the text when there is none.
std::string_view take_until(std::string_view &text, std::string_view end);

// "1 route", "2 routes".
std::string counted(std::uint64_t count, std::string_view noun, std::string_view plural = {});

// "1200 routes", and of a limited table "10 of 1200 routes". No line feed.
std::string counted_of(std::uint64_t shown, std::uint64_t matched, std::string_view noun,
                       std::string_view plural = {});

} // namespace sim
