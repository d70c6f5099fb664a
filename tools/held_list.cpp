#include "held_list.h"

#include <limits>
#include <nlohmann/json.hpp>

namespace feed {

void check_whole(const json_view &root, const std::string &name, std::size_t listed) {
    const auto narrowed = root.find("narrowed");
    if (narrowed && !narrowed->value().is_null())
        root.fail(fmt::format(
            "these are some of the {} only: print them without the options that narrow them",
            name));
    const auto matched = root.find("matched");
    if (!matched)
        return;
    const std::uint32_t there_were =
        matched->number(0, std::numeric_limits<std::uint32_t>::max(), "a number");
    if (there_were > listed)
        root.fail(fmt::format("these are {} of {} {}: print them without --limit", listed,
                              there_were, name));
}

std::vector<json_view> held_rows(const json_document &document, const held_table &table) {
    const json_view root(document);
    root.expect_object(fmt::format("an object with \"{}\", the output of `vellsim show {} --json`",
                                   table.name, table.name));
    const std::string expected = fmt::format("an array of {}", table.rows);
    std::vector<json_view> rows =
        root.member(table.name, fmt::format("the held {}", table.rows)).elements(expected);
    check_whole(root, table.rows, rows.size());
    return rows;
}

std::uint32_t held_number(const json_view &row, const char *key, std::uint32_t most) {
    constexpr char expected[] = "a number";
    return row.member(key, expected).number(0, most, expected);
}

json_document parse_held(const text_input &input, const held_table &table) {
    return parse_json(input, fmt::format("`vellsim show {} --json`", table.name));
}

} // namespace feed
