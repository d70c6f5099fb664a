// A list of what is held, whatever it is of.
#pragma once

#include "json_input.h"

#include <fmt/format.h>
#include <set>
#include <vector>

namespace feed {

// Parses each element. Throws input_error, also for a key that stands twice: then the list is none that was held.
template <typename Held>
std::vector<Held> parse_held_list(const std::vector<json_view> &views, Held (*parse)(const json_view &)) {
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
