#include "asked_counters.h"

#include "held_list.h"

#include <fmt/format.h>
#include <functional>

namespace feed {

namespace {

constexpr held_table table = {"stats", "counters"};

net_address parse_address(const json_view &row, const char *key) {
    constexpr char expected[] = "an IPv4 or IPv6 address";
    const json_view view = row.member(key, expected);
    const auto address = parse_ip(view.string(expected));
    if (!address)
        view.reject(expected);
    return *address;
}

asked_counter parse_counter(const json_view &row) {
    constexpr std::uint32_t longest = 128;
    row.expect_object("a route's counters, an object");
    asked_counter counter;
    counter.key = {held_number(row, "table"), parse_address(row, "source"),
                   static_cast<std::uint8_t>(held_number(row, "source_len", longest)),
                   parse_address(row, "group"),
                   static_cast<std::uint8_t>(held_number(row, "group_len", longest))};
    counter.requests = held_number(row, "requests");
    return counter;
}

std::string requests_text(const asked_counter &counter) {
    return fmt::format("{}", counter.requests);
}

constexpr compared_field<asked_counter> fields[] = {{"requests", requests_text}};

} // namespace

std::string key_text(const stats_route &key) {
    return route_text(key);
}

std::vector<asked_counter> parse_asked_counters(const text_input &input) {
    const json_document document = parse_held(input, table);
    std::vector<asked_counter> counters =
        parse_held_list(held_rows(document, table), parse_counter);
    std::erase_if(counters, [](const asked_counter &counter) { return counter.requests == 0; });
    return counters;
}

comparison compare_counters(const std::vector<asked_counter> &asked,
                            const std::vector<asked_counter> &held) {
    return compare_by_key(asked, held, std::identity(),
                          std::span<const compared_field<asked_counter>>(fields));
}

} // namespace feed
