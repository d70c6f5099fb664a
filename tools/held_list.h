// Tables of what is held, as `vellsim show NAME --json` prints them.
#pragma once

#include "json_input.h"
#include "text_input.h"

#include <cstdint>
#include <fmt/format.h>
#include <limits>
#include <set>
#include <string>
#include <vector>

namespace feed {

struct held_table {
    const char *name; // "ltl"
    const char *rows; // "LTL indexes"
};

// Throws input_error when the text is no JSON.
json_document parse_held(const text_input &input, const held_table &table);

// Throws input_error when the answer says that an option left rows out.
void check_whole(const json_view &root, const std::string &name, std::size_t listed);

// Throws input_error when the document is another table, or not the whole one.
std::vector<json_view> held_rows(const json_document &document, const held_table &table);

// The number that a row has as this member. Throws input_error when there is none, or a larger one.
std::uint32_t held_number(const json_view &row, const char *key,
                          std::uint32_t most = std::numeric_limits<std::uint32_t>::max());

// Parses each element. Throws input_error, also for a key that stands twice: then the list is none
// that was held.
template <typename Held>
std::vector<Held> parse_held_list(const std::vector<json_view> &views,
                                  Held (*parse)(const json_view &)) {
    std::vector<Held> held;
    std::set<decltype(Held::key)> keys;
    for (const json_view &view : views) {
        held.push_back(parse(view));
        if (!keys.insert(held.back().key).second)
            view.fail(fmt::format("{} stands twice", key_text(held.back().key)));
    }
    return held;
}

} // namespace feed
