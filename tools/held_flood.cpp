#include "held_flood.h"

#include "held_list.h"
#include "json_input.h"
#include "vlan.h"

#include <algorithm>
#include <fmt/format.h>
#include <limits>

namespace feed {

namespace {

constexpr char producer[] = "`vellsim show flood --json`";
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
    const json_document document = parse_json(input, producer);
    const json_view root(document);
    root.expect_object(fmt::format("an object with \"flood\", the output of {}", producer));
    constexpr char expected[] = "an array of flood sets";
    return parse_held_list(root.member("flood", "what is held").elements(expected), parse_set);
}

} // namespace feed
