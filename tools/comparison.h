// What was fed against what the switch holds, for whatever is told apart by a key.
#pragma once

#include <cstddef>
#include <fmt/format.h>
#include <map>
#include <ostream>
#include <span>
#include <string>
#include <vector>

namespace feed {

struct comparison {
    std::vector<std::string> lines; // one per difference, missing one and unexpected one
    std::size_t fed = 0;
    std::size_t differing = 0; // each of which may have several lines
    std::size_t missing = 0;
    std::size_t unexpected = 0;

    bool equal() const { return differing == 0 && missing == 0 && unexpected == 0; }
};

// "all 1200 fed routes arrived", or how many did not; `what` is what they are.
std::string closing_line(const comparison &result, const char *what);

// All lines and the closing one.
void print_comparison(const comparison &result, const char *what, std::ostream &out);

// Two of a kind are equal when all of these texts are.
template <typename Held>
struct compared_field {
    const char *name;
    std::string (*text)(const Held &);
};

template <typename Held>
bool add_differences(const Held &expected, const Held &held,
                     std::span<const compared_field<Held>> fields,
                     std::vector<std::string> &lines) {
    const std::size_t before = lines.size();
    for (const compared_field<Held> &field : fields) {
        const std::string fed_text = field.text(expected);
        const std::string held_text = field.text(held);
        if (fed_text != held_text) {
            lines.push_back(fmt::format("{}: {}: fed {}, held {}", key_text(expected.key),
                                        field.name, fed_text, held_text));
        }
    }
    return lines.size() > before;
}

// `expected_of` makes what is to be held of what was fed.
template <typename Fed, typename Held, typename Expect>
comparison compare_by_key(const std::vector<Fed> &fed, const std::vector<Held> &held,
                          Expect &&expected_of, std::span<const compared_field<Held>> fields) {
    std::map<decltype(Held::key), const Held *> left;
    for (const Held &one : held)
        left.emplace(one.key, &one);
    comparison result;
    result.fed = fed.size();
    for (const Fed &one : fed) {
        const auto found = left.find(one.key);
        if (found == left.end()) {
            result.lines.push_back(fmt::format("{}: missing: fed from entry {}, not held",
                                               key_text(one.key), one.entry + 1));
            ++result.missing;
            continue;
        }
        result.differing +=
            add_differences<Held>(expected_of(one), *found->second, fields, result.lines) ? 1 : 0;
        left.erase(found);
    }
    for (const Held &one : held) {
        if (left.contains(one.key))
            result.lines.push_back(fmt::format("{}: unexpected: held, not fed", key_text(one.key)));
    }
    result.unexpected = left.size();
    return result;
}

} // namespace feed
