#include "held_flood.h"

#include "held_list.h"
#include "vlan.h"

#include <algorithm>
#include <limits>

namespace feed {

namespace {

constexpr held_table table = {"flood", "flood sets"};
constexpr std::uint32_t largest_word = std::numeric_limits<std::uint32_t>::max();

std::vector<std::uint32_t> parse_interfaces(const json_view &row) {
    std::vector<std::uint32_t> indexes;
    constexpr char expected[] = "an array of interfaces";
    for (const json_view &one : row.member("interfaces", expected).elements(expected)) {
        constexpr char index[] = "an interface index";
        indexes.push_back(one.member("if_index", index).number(0, largest_word, index));
    }
    std::sort(indexes.begin(), indexes.end());
    return indexes;
}

flood_set parse_set(const json_view &row) {
    row.expect_object("a flood set, an object");
    constexpr char id[] = "a VLAN id";
    constexpr char mask[] = "a mask of line cards";
    flood_set set;
    set.key.vlan = row.member("vlan", id).number(1, largest_vlan, id);
    set.line_card_mask = row.member("line_card_mask", mask).number(0, largest_word, mask);
    set.interfaces = parse_interfaces(row);
    return set;
}

} // namespace

std::vector<flood_set> parse_held_flood(const text_input &input) {
    const json_document document = parse_held(input, table);
    return parse_held_list(held_rows(document, table), parse_set);
}

} // namespace feed
