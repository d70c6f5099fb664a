#include "compare_routes.h"

#include "printable.h"

#include <algorithm>
#include <fmt/format.h>
#include <map>

namespace feed {

namespace {

struct flag_row {
    bool route_flags::*flag;
    const char *name;
    std::uint64_t mask;
};

// The flag word's bits are said here once more on purpose: what is expected owes nothing to the library that fed it.
constexpr flag_row flag_rows[] = {
    {&route_flags::drop_route, "drop_route", 0x4},
    {&route_flags::local_group, "local_group", 0x8},
    {&route_flags::download, "download", 0x80},
    {&route_flags::download_done, "download_done", 0x100},
    {&route_flags::wildcard_route, "wildcard_route", 0x800},
};

constexpr std::uint32_t regular_kind = 0;

held_route expected_of(const route &fed) {
    held_route expected;
    expected.key = fed.key;
    expected.opcode = fed.opcode;
    expected.epoch = fed.epoch;
    expected.rpf_if = fed.rpf_if;
    for (const flag_row &row : flag_rows) {
        if (!(fed.flags.*row.flag))
            continue;
        expected.flags.emplace_back(row.name);
        expected.flags_word |= row.mask;
    }
    std::sort(expected.flags.begin(), expected.flags.end());
    for (const std::uint32_t index : fed.oifs)
        expected.oifs.push_back({index, regular_kind});
    return expected;
}

std::string flags_text(const held_route &route) {
    std::string names;
    for (const std::string &name : route.flags)
        names += printable(name) + " ";
    return fmt::format("{}({:#x})", names, route.flags_word);
}

// "26 29 32", and the kind behind an interface that is not a regular one.
std::string oifs_text(const held_route &route) {
    std::string text;
    for (const held_oif &oif : route.oifs) {
        text += fmt::format("{}{}", text.empty() ? "" : " ", oif.if_index);
        if (oif.kind != regular_kind)
            text += fmt::format(" (kind {})", oif.kind);
    }
    return text.empty() ? "none" : text;
}

template <auto Member>
std::string number_text(const held_route &route) {
    return fmt::format("{}", route.*Member);
}

struct field_row {
    const char *name;
    std::string (*text)(const held_route &);
};

// Two routes are equal when all of these texts are.
constexpr field_row field_rows[] = {
    {"opcode", number_text<&held_route::opcode>},         {"flags", flags_text},
    {"epoch", number_text<&held_route::epoch>},           {"rpf_if", number_text<&held_route::rpf_if>},
    {"df_ordinal", number_text<&held_route::df_ordinal>}, {"oifs", oifs_text},
    {"mti entries", number_text<&held_route::mti>},       {"glt entries", number_text<&held_route::glt>},
};

bool add_differences(const held_route &expected, const held_route &held, std::vector<std::string> &lines) {
    bool differs = false;
    for (const field_row &field : field_rows) {
        const std::string fed_text = field.text(expected);
        const std::string held_text = field.text(held);
        if (fed_text == held_text)
            continue;
        lines.push_back(
            fmt::format("{}: {}: fed {}, held {}", key_text(expected.key), field.name, fed_text, held_text));
        differs = true;
    }
    return differs;
}

} // namespace

comparison compare_routes(const std::vector<route> &fed, const std::vector<held_route> &held) {
    std::map<route_key, const held_route *> left;
    for (const held_route &route : held)
        left.emplace(route.key, &route);
    comparison result;
    result.fed = fed.size();
    for (const route &route : fed) {
        const auto found = left.find(route.key);
        if (found == left.end()) {
            result.lines.push_back(
                fmt::format("{}: missing: fed from entry {}, not held", key_text(route.key), route.entry + 1));
            ++result.missing;
            continue;
        }
        result.differing += add_differences(expected_of(route), *found->second, result.lines) ? 1 : 0;
        left.erase(found);
    }
    for (const held_route &route : held) {
        if (left.contains(route.key))
            result.lines.push_back(fmt::format("{}: unexpected: held, not fed", key_text(route.key)));
    }
    result.unexpected = left.size();
    return result;
}

std::string closing_line(const comparison &result) {
    if (result.equal())
        return fmt::format("all {} fed routes arrived", result.fed);
    return fmt::format("of {} fed routes {} arrived, {} differ, {} are missing; {} unexpected", result.fed,
                       result.fed - result.differing - result.missing, result.differing, result.missing,
                       result.unexpected);
}

} // namespace feed
