#include "ltl_book.h"

#include "held_list.h"
#include "input_error.h"
#include "ltl_request.h"
#include "switch_port.h"
#include "vlan.h"

#include <algorithm>
#include <fmt/format.h>
#include <functional>
#include <iterator>
#include <limits>

namespace feed {

namespace {

constexpr held_table table = {"ltl", "LTL indexes"};
constexpr std::uint32_t largest_word = std::numeric_limits<std::uint32_t>::max();

std::vector<std::uint32_t> interfaces_of(const l2_entry &entry) {
    std::vector<std::uint32_t> interfaces;
    for (const l2_port &port : entry.ports)
        interfaces.push_back(port.if_index);
    return interfaces;
}

std::uint32_t parse_word(const json_view &row, const char *key, const char *expected,
                         std::uint32_t least = 0, std::uint32_t most = largest_word) {
    return row.member(key, expected).number(least, most, expected);
}

ltl parse_ltl(const json_view &row) {
    row.expect_object("an LTL, an object");
    ltl parsed;
    parsed.key.index = parse_word(row, "index", "an LTL index");
    parsed.vlan = parse_word(row, "vlan", "a VLAN id", 1, largest_vlan);
    parsed.tag = parse_word(row, "tag", "a tag");
    constexpr char expected[] = "an array of interfaces";
    for (const json_view &one : row.member("interfaces", expected).elements(expected))
        parsed.interfaces.push_back(parse_word(one, "if_index", "an interface index"));
    std::sort(parsed.interfaces.begin(), parsed.interfaces.end());
    return parsed;
}

} // namespace

std::string key_text(const ltl_key &key) {
    return fmt::format("LTL {:#x}", key.index);
}

template <typename Request>
bool ltl_book::try_request(Request &&request) {
    try {
        request();
        return true;
    } catch (const refused_request &refusal) {
        refusals_.emplace_back(refusal.what());
        return false;
    }
}

void ltl_book::allocate(client_session &client, const l2_entry &entry) {
    ltl made{.entry = entry.entry,
             .key = {},
             .vlan = entry.key.vlan,
             .tag = ++last_tag_,
             .interfaces = interfaces_of(entry)};
    if (!try_request([&] {
            made.key.index = allocate_ltl(client, made.vlan, made.tag, made.interfaces).index;
        }))
        return;
    ltls_.emplace(entry.key, std::move(made));
    ++allocated_;
}

void ltl_book::release_others(client_session &client, const std::set<l2_key> &wanted) {
    for (auto held = ltls_.begin(); held != ltls_.end();) {
        const bool released = !wanted.contains(held->first) && try_request([&] {
            release_ltl(client, held->second.key.index, held->second.tag);
        });
        released_ += released ? 1 : 0;
        held = released ? ltls_.erase(held) : std::next(held);
    }
}

void ltl_book::follow(client_session &client, const std::vector<l2_entry> &entries) {
    std::set<l2_key> wanted;
    for (const l2_entry &entry : entries)
        wanted.insert(entry.key);
    // What is given back first can be had again.
    release_others(client, wanted);
    for (const l2_entry &entry : entries) {
        const auto held = ltls_.find(entry.key);
        if (held == ltls_.end()) {
            allocate(client, entry);
        } else if (const auto interfaces = interfaces_of(entry);
                   interfaces != held->second.interfaces) {
            const ltl &old = held->second;
            if (!try_request([&] { change_ltl(client, old.key.index, old.tag, interfaces); }))
                continue;
            held->second.interfaces = interfaces;
            ++changed_;
        }
    }
}

std::vector<ltl> ltl_book::all() const {
    std::vector<ltl> listed;
    for (const auto &[key, one] : ltls_)
        listed.push_back(one);
    return listed;
}

std::vector<ltl> parse_held_ltls(const text_input &input) {
    const json_document document = parse_held(input, table);
    return parse_held_list(held_rows(document, table), parse_ltl);
}

comparison compare_ltls(const std::vector<ltl> &fed, const std::vector<ltl> &held) {
    static constexpr compared_field<ltl> fields[] = {
        {"VLAN", [](const ltl &one) { return fmt::format("{}", one.vlan); }},
        {"tag", [](const ltl &one) { return fmt::format("{}", one.tag); }},
        {"interfaces", [](const ltl &one) { return switch_names(one.interfaces); }},
    };
    return compare_by_key(fed, held, std::identity(), std::span<const compared_field<ltl>>(fields));
}

} // namespace feed
