#include "ltl_book.h"

#include "held_list.h"
#include "input_error.h"
#include "json_input.h"
#include "ltl_request.h"
#include "switch_port.h"
#include "vlan.h"

#include <vell.h>

#include <algorithm>
#include <fmt/format.h>
#include <limits>
#include <set>

namespace feed {

namespace {

constexpr char producer[] = "`vellsim show ltl --json`";
constexpr std::uint32_t largest_word = std::numeric_limits<std::uint32_t>::max();

// A database knows its ports by the kernel's indexes.
std::uint32_t switch_index(const l2_entry &entry, const l2_port &port) {
    if (port.flags == VELL_L2_OIF_SVI)
        return index_of_vlan(entry.key.vlan);
    const auto index = index_of_link({}, port.if_index);
    if (!index)
        throw session_error(
            fmt::format("{}: port {} is too large an index for the switch", key_text(entry.key), port.if_index));
    return *index;
}

std::vector<std::uint32_t> interfaces_of(const l2_entry &entry) {
    std::vector<std::uint32_t> interfaces;
    for (const l2_port &port : entry.ports)
        interfaces.push_back(switch_index(entry, port));
    std::sort(interfaces.begin(), interfaces.end());
    return interfaces;
}

std::uint32_t parse_word(const json_view &row, const char *key, const char *expected, std::uint32_t least = 0,
                         std::uint32_t most = largest_word) {
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

void ltl_book::allocate(client_session &client, const l2_entry &entry) {
    ltl made{.entry = entry.entry,
             .key = {},
             .vlan = entry.key.vlan,
             .tag = ++last_tag_,
             .interfaces = interfaces_of(entry)};
    made.key.index = allocate_ltl(client, made.vlan, made.tag, made.interfaces).index;
    ltls_.emplace(entry.key, std::move(made));
    ++allocated_;
}

void ltl_book::follow(client_session &client, const std::vector<l2_entry> &entries) {
    std::set<l2_key> wanted;
    for (const l2_entry &entry : entries)
        wanted.insert(entry.key);
    // What is given back first can be had again.
    for (auto held = ltls_.begin(); held != ltls_.end();) {
        if (wanted.contains(held->first)) {
            ++held;
            continue;
        }
        release_ltl(client, held->second.key.index, held->second.tag);
        held = ltls_.erase(held);
        ++released_;
    }
    for (const l2_entry &entry : entries) {
        const auto held = ltls_.find(entry.key);
        if (held == ltls_.end()) {
            allocate(client, entry);
        } else if (const auto interfaces = interfaces_of(entry); interfaces != held->second.interfaces) {
            change_ltl(client, held->second.key.index, held->second.tag, interfaces);
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
    const json_document document = parse_json(input, producer);
    const json_view root(document);
    root.expect_object(fmt::format("an object with \"ltl\", the output of {}", producer));
    constexpr char expected[] = "an array of LTL indexes";
    return parse_held_list(root.member("ltl", "what is held").elements(expected), parse_ltl);
}

comparison compare_ltls(const std::vector<ltl> &fed, const std::vector<ltl> &held) {
    static constexpr compared_field<ltl> fields[] = {
        {"VLAN", [](const ltl &one) { return fmt::format("{}", one.vlan); }},
        {"tag", [](const ltl &one) { return fmt::format("{}", one.tag); }},
        {"interfaces", [](const ltl &one) { return switch_names(one.interfaces); }},
    };
    return compare_by_key<ltl, ltl>(
        fed, held, [](const ltl &one) { return one; }, fields);
}

} // namespace feed
