#include "sim/switch/question.h"

#include "sim/base/text.h"
#include "sim/switch/answer.h"

#include <algorithm>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <iterator>
#include <nlohmann/json.hpp>
#include <utility>
#include <vector>

namespace sim {

namespace {

using enum member_type;
using enum member_use;

constexpr member of_client = {"client", number, filter, "Only of this client id", 0, 255};
constexpr member of_table = {"table", number, filter, "Only of this route table"};
constexpr member of_vlan = {"vlan", number, filter, "Only of this VLAN", 1, 4094};
constexpr member limit = {"limit", number, option, "At most the first N", 1};

constexpr member client_members[] = {of_client, limit};
constexpr member route_members[] = {
    of_client,
    of_table,
    {"group", ipv4, filter, "Only of this group"},
    {"source", ipv4, filter, "Only of this source; 0.0.0.0 is (*, G)"},
    {"summary", truth, option, "Counts per table instead of the routes"},
    limit,
};
constexpr member stats_members[] = {of_table, limit};
constexpr member l2_members[] = {
    of_vlan,
    {"group", any_address, filter, "Only of this IPv4, IPv6 or MAC group"},
    limit,
};
constexpr member ltl_members[] = {of_vlan, limit};
constexpr member overlay_members[] = {limit};
constexpr member count_members[] = {
    {"source", ip, required, "The route's source, IPv4 or IPv6"},
    {"group", ip, required, "The route's group, of the same family"},
    {"table", number, option, "The route's table; default 253"},
    {"source_len", number, option, "The source's prefix length; default all of it", 0, 128},
    {"group_len", number, option, "The group's prefix length; default all of it", 0, 128},
    {"packets", number, option, "Packets to add", 0, UINT64_MAX},
    {"bytes", number, option, "Bytes to add", 0, UINT64_MAX},
    {"wrong_if", number, option, "RPF failures to add", 0, UINT64_MAX},
};

constexpr member fault_members[] = {
    {"modes", text, option, "Fault modes to switch on, as options"},
    {"clear", truth, option, "Switch off all others"},
};

constexpr question_kind kinds[] = {
    {"clients", "Who is registered, and who was", client_members, show_clients},
    {"routes", "The multicast routes", route_members, show_routes},
    {"stats", "The routes' counters", stats_members, show_stats},
    {"l2", "Layer-2 multicast", l2_members, show_l2},
    {"flood", "The flood sets of the LTL manager", ltl_members, show_flood},
    {"ltl", "The LTL indexes", ltl_members, show_ltl},
    {"overlay", "What the overlay has notified", overlay_members, show_overlay},
    {"count", "", count_members, count_traffic},
    {"fault", "", fault_members, change_faults},
    {"stop", "", {}, stop_switch},
};

std::string expected(const member &wanted) {
    switch (wanted.type) {
    case number:
        return fmt::format("a number from {} to {}", wanted.least, wanted.most);
    case truth:
        return "true or false";
    case ipv4:
        return "an IPv4 address such as 239.1.1.2";
    case ip:
        return "an IPv4 or IPv6 address";
    case text:
        return "a text";
    case any_address:
        break;
    }
    return "an IPv4, IPv6 or MAC address";
}

[[noreturn]] void reject(const member &wanted, std::string_view found) {
    throw wrong_question{fmt::format("{} is not {}", printable(found), expected(wanted))};
}

bool is_allowed(const member &wanted, const l2_address &address) {
    return wanted.type == any_address || address.kind == l2_address_kind::ipv4 ||
           (wanted.type == ip && address.kind == l2_address_kind::ipv6);
}

std::optional<member_value> checked(const member &wanted, std::optional<std::uint64_t> found) {
    if (wanted.type != number || !found || *found < wanted.least || *found > wanted.most) {
        return std::nullopt;
    }
    return *found;
}

std::optional<member_value> read_json(const member &wanted, const nlohmann::json &value) {
    if (value.is_number_unsigned()) {
        return checked(wanted, value.get<std::uint64_t>());
    }
    if (value.is_boolean() && wanted.type == truth) {
        return value.get<bool>();
    }
    if (value.is_string() && wanted.type != number && wanted.type != truth) {
        return read_member(wanted, value.get_ref<const std::string &>());
    }
    return std::nullopt;
}

std::string dumped(const nlohmann::json &value) {
    return value.dump(-1, ' ', true, nlohmann::json::error_handler_t::replace);
}

std::string names_of(std::span<const member> members) {
    std::vector<std::string_view> names = {"ask", "format"};
    std::ranges::transform(members, std::back_inserter(names), &member::name);
    return fmt::format("{}", fmt::join(names, ", "));
}

void decode_member(const question_kind &kind, const std::string &name, const nlohmann::json &value,
                   question &asked) {
    const auto found = std::ranges::find(kind.members, name, &member::name);
    if (found == kind.members.end()) {
        throw wrong_question{fmt::format("there is no member \"{}\"; the members are {}",
                                         printable(name), names_of(kind.members))};
    }
    try {
        const std::optional<member_value> read = read_json(*found, value);
        if (!read) {
            reject(*found, dumped(value));
        }
        asked.members.emplace(name, *read);
    } catch (const wrong_question &wrong) {
        throw wrong_question{fmt::format("{}: {}", name, wrong.why)};
    }
}

void decode_members(const question_kind &kind, const nlohmann::json &members, question &asked) {
    for (const auto &[name, value] : members.items()) {
        if (name == "format" && (value == "text" || value == "json")) {
            asked.form = value == "json" ? output_form::json : output_form::text;
        } else if (name == "format") {
            throw wrong_question{fmt::format("format: {} is not text or json", dumped(value))};
        } else if (name != "ask") {
            decode_member(kind, name, value, asked);
        }
    }
    for (const member &wanted : kind.members) {
        if (wanted.use == required && !asked.members.contains(wanted.name)) {
            throw wrong_question{fmt::format("{} is missing", wanted.name)};
        }
    }
}

void print_member(output &out, const std::string &name, const member_value &value) {
    if (const auto *address = std::get_if<l2_address>(&value)) {
        out.json(name, address_text(*address));
    } else if (const auto *said = std::get_if<bool>(&value)) {
        out.json(name, *said);
    } else if (const auto *text_value = std::get_if<std::string>(&value)) {
        out.json(name, *text_value);
    } else {
        out.json(name, std::get<std::uint64_t>(value));
    }
}

template <typename Value>
std::optional<Value> value_of(const question &asked, std::string_view name) {
    const auto found = asked.members.find(name);
    return found == asked.members.end() ? std::nullopt
                                        : std::optional(std::get<Value>(found->second));
}

} // namespace

std::optional<std::uint64_t> question::number(std::string_view name) const {
    return value_of<std::uint64_t>(*this, name);
}

std::optional<l2_address> question::address(std::string_view name) const {
    return value_of<l2_address>(*this, name);
}

std::optional<std::string> question::text(std::string_view name) const {
    return value_of<std::string>(*this, name);
}

bool question::truth(std::string_view name) const {
    return value_of<bool>(*this, name).value_or(false);
}

std::span<const question_kind> question_kinds() {
    return kinds;
}

const question_kind *find_question(std::string_view name) {
    const auto found = std::ranges::find(kinds, name, &question_kind::name);
    return found == std::end(kinds) ? nullptr : found;
}

member_value read_member(const member &wanted, const std::string &text) {
    if (wanted.type == member_type::text) {
        return text;
    }
    if (wanted.type == number) {
        if (const auto read = checked(wanted, parse_number(text))) {
            return *read;
        }
    } else if (const auto address = parse_l2_address(text);
               address && is_allowed(wanted, *address)) {
        return *address;
    }
    reject(wanted, text);
}

std::string encode_question(const question &asked) {
    output out(output_form::json);
    out.open_object();
    out.json("ask", asked.ask);
    out.json("format", asked.form == output_form::json ? "json" : "text");
    for (const auto &[name, value] : asked.members) {
        print_member(out, name, value);
    }
    out.close_object();
    return out.take();
}

question decode_question(std::string_view payload) {
    if (payload.size() > longest_question) {
        throw wrong_question{fmt::format("the question is {} bytes long, at most {} are read",
                                         payload.size(), longest_question)};
    }
    const auto members = nlohmann::json::parse(payload, nullptr, false);
    if (!members.is_object()) {
        throw wrong_question{"the question is not a JSON object"};
    }
    const auto name = members.find("ask");
    if (name == members.end() || !name->is_string()) {
        throw wrong_question{"the question's member \"ask\" is missing or not a string"};
    }
    question asked{.ask = name->get<std::string>()};
    const question_kind *kind = find_question(asked.ask);
    if (kind == nullptr) {
        std::vector<std::string_view> names;
        std::ranges::transform(kinds, std::back_inserter(names), &question_kind::name);
        throw wrong_question{fmt::format("this switch has no answer to \"{}\", but to {}",
                                         printable(asked.ask), fmt::join(names, ", "))};
    }
    try {
        decode_members(*kind, members, asked);
    } catch (const wrong_question &wrong) {
        throw wrong_question{fmt::format("{}: {}", asked.ask, wrong.why)};
    }
    return asked;
}

void print_narrowing(output &out, const question &asked) {
    const question_kind *kind = find_question(asked.ask);
    bool is_open = false;
    for (const auto &[name, value] : asked.members) {
        const auto found = std::ranges::find(kind->members, name, &member::name);
        if (found->use == filter) {
            if (!std::exchange(is_open, true)) {
                out.open_object("narrowed");
            }
            print_member(out, name, value);
        }
    }
    if (is_open) {
        out.close_object();
    } else {
        out.json("narrowed", std::nullopt);
    }
}

answer answer_question(service &vell, std::string_view payload) {
    try {
        const question asked = decode_question(payload);
        return find_question(asked.ask)->reply(vell, asked);
    } catch (const wrong_question &wrong) {
        return answer::refusal(wrong.why);
    }
}

} // namespace sim
