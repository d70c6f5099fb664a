#include "sim/switch/stats_text.h"

#include "sim/base/text.h"

#include <cstdint>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace sim {

namespace {

using json = nlohmann::ordered_json;

std::uint64_t number(const json &row, const char *name) {
    return row.at(name).get<std::uint64_t>();
}

std::string address_with_mask(const json &row, const char *name, const char *length_name) {
    const std::uint64_t longest = row.at("family") == "ipv4" ? 32 : 128;
    const auto address = row.at(name).get<std::string>();
    const std::uint64_t length = number(row, length_name);
    return length == longest ? address : fmt::format("{}/{}", address, length);
}

std::string route_text(const json &row) {
    const std::string source = address_with_mask(row, "source", "source_len");
    const bool any_source = source == "0.0.0.0/0" || source == "::/0";
    return fmt::format("({}, {})", any_source ? "*" : source,
                       address_with_mask(row, "group", "group_len"));
}

} // namespace

std::string stats_row_text(const json &row) {
    return fmt::format("{} in table {}: {}, {}, {}\n", route_text(row), number(row, "table"),
                       counted(number(row, "packets"), "packet"),
                       counted(number(row, "bytes"), "byte"),
                       counted(number(row, "wrong_if"), "wrong-interface packet"));
}

// The route stands on a line of its own: two IPv6 addresses leave no room for counters beside them.
std::string stats_text(const json &table) {
    const json &rows = table.at("stats");
    std::string text = fmt::format("{:>20} {:>20} {:>15} {:>11} {:>8}\n", "Packets", "Bytes",
                                   "Wrong interface", "Requests", "Clears");
    for (const json &row : rows) {
        text +=
            fmt::format("{} in table {}\n{:>20} {:>20} {:>15} {:>11} {:>8}\n", route_text(row),
                        number(row, "table"), number(row, "packets"), number(row, "bytes"),
                        number(row, "wrong_if"), number(row, "requests"), number(row, "clears"));
    }
    return text + counted_rows(table, "stats", "route") + "\n";
}

} // namespace sim
