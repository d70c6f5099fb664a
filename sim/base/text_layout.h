// How text for a terminal of 80 columns is laid out.
#pragma once

#include <cstddef>
#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>
#include <vector>

namespace sim {

inline constexpr std::size_t text_width = 80;

// Items with a comma between them, broken into lines behind commas; the lines after the first are
// indented under it.
std::string wrapped(const std::string &lead, const std::vector<std::string> &items);

// "1 route", "2 routes".
std::string counted(std::uint64_t count, std::string_view noun, std::string_view plural = {});

// "1200 routes", and of a limited table "10 of 1200 routes". No line feed.
std::string counted_of(std::uint64_t shown, std::uint64_t matched, std::string_view noun);

// The same of the rows that the switch answered, which are the table's member `rows`.
std::string counted_rows(const nlohmann::ordered_json &table, const char *rows,
                         std::string_view noun);

} // namespace sim
