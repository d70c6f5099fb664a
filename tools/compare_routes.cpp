#include "compare_routes.h"

#include "printable.h"

#include <algorithm>
#include <fmt/format.h>

namespace feed {

namespace {

struct flag_row {
    bool route_flags::*flag;
    const char *name;
    std::uint64_t mask;
};

// The flag word's bits are said here once more on purpose: what is expected owes nothing to the
// library that fed it.
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

constexpr compared_field<held_route> fields[] = {
    {"opcode", number_text<&held_route::opcode>},
    {"flags", flags_text},
    {"epoch", number_text<&held_route::epoch>},
    {"rpf_if", number_text<&held_route::rpf_if>},
    {"df_ordinal", number_text<&held_route::df_ordinal>},
    {"oifs", oifs_text},
    {"mti entries", number_text<&held_route::mti>},
    {"glt entries", number_text<&held_route::glt>},
};

} // namespace

comparison compare_routes(const std::vector<route> &fed, const std::vector<held_route> &held) {
    return compare_by_key(fed, held, expected_of,
                          std::span<const compared_field<held_route>>(fields));
}

} // namespace feed
