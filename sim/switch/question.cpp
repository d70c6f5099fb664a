#include "sim/switch/question.h"

#include "sim/base/text.h"
#include "sim/switch/answer.h"
#include "sim/switch/service.h"

#include <algorithm>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <iterator>
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

// `vellsim fault` without options only asks. What is on fits into a question, so that no asker can
// add to it for ever.
answer change_faults(service &vell, const question &asked) {
    fault_modes changed = asked.truth("clear") ? fault_modes{} : vell.faults;
    const std::string wanted = asked.text("modes").value_or("");
    if (const std::string error = set_faults(changed, wanted); !error.empty()) {
        throw wrong_question{error};
    }
    const std::string modes = fault_text(changed);
    if (modes.size() > longest_question) {
        throw wrong_question{fmt::format("all fault modes together would be {} bytes long, at most "
                                         "{} are kept; --clear switches others off",
                                         modes.size(), longest_question)};
    }
    vell.faults = changed;
    if (asked.truth("clear") || !wanted.empty()) {
        log_faults(vell);
    }
    answer made(asked);
    made.once([modes](output &out, row_count &) {
        out.json("modes", modes);
        out.text("fault modes: {}\n", modes.empty() ? "none" : modes);
    });
    return made;
}

answer stop_switch(service &vell, const question &asked) {
    vell.is_stopped = true;
    return answer(asked);
}

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
        return "true";
    case ipv4:
        return "an IPv4 address such as 239.1.1.2";
    case ip:
        return "an IPv4 or IPv6 address";
    case any_address:
    case text:
        break;
    }
    return "an IPv4, IPv6 or MAC address";
}

bool is_allowed(const member &wanted, const std::string &value) {
    const std::optional<std::uint64_t> read = parse_number(value);
    const std::optional<l2_address> address = parse_l2_address(value);
    const auto is_of = [&](l2_address_kind kind) { return address && address->kind == kind; };
    switch (wanted.type) {
    case number:
        return read && *read >= wanted.least && *read <= wanted.most;
    case truth:
        return value == "true";
    case ipv4:
        return is_of(l2_address_kind::ipv4);
    case ip:
        return is_of(l2_address_kind::ipv4) || is_of(l2_address_kind::ipv6);
    case any_address:
        return address.has_value();
    case text:
        break;
    }
    return true;
}

void decode_member(const question_kind &kind, const std::string &name, const std::string &value,
                   question &asked) {
    if (name == "format") {
        if (value != "text" && value != "json") {
            throw wrong_question{fmt::format("format: {} is not text or json", printable(value))};
        }
        asked.form = value == "json" ? output_form::json : output_form::text;
        return;
    }
    const auto found = std::ranges::find(kind.members, name, &member::name);
    if (found == kind.members.end()) {
        std::vector<std::string_view> names = {"format"};
        std::ranges::transform(kind.members, std::back_inserter(names), &member::name);
        throw wrong_question{fmt::format("there is no member \"{}\"; the members are {}",
                                         printable(name), fmt::join(names, ", "))};
    }
    if (const std::string error = check_member(*found, value); !error.empty()) {
        throw wrong_question{fmt::format("{}: {}", name, error)};
    }
    asked.members[name] = value;
}

void decode_members(const question_kind &kind, std::string_view lines, question &asked) {
    while (!lines.empty()) {
        std::string_view value = take_until(lines, "\n");
        const std::string name(take_until(value, "="));
        decode_member(kind, name, std::string(value), asked);
    }
    for (const member &wanted : kind.members) {
        if (wanted.use == required && !asked.members.contains(wanted.name)) {
            throw wrong_question{fmt::format("{} is missing", wanted.name)};
        }
    }
}

void print_member(output &out, const member &wanted, const question &asked) {
    if (wanted.type == number) {
        out.json(wanted.name, asked.number(wanted.name));
    } else {
        out.json(wanted.name, address_text(asked.address(wanted.name).value()));
    }
}

} // namespace

std::string check_member(const member &wanted, const std::string &value) {
    return is_allowed(wanted, value)
               ? ""
               : fmt::format("{} is not {}", printable(value), expected(wanted));
}

std::optional<std::uint64_t> question::number(std::string_view name) const {
    return parse_number(text(name).value_or(""));
}

std::optional<l2_address> question::address(std::string_view name) const {
    return parse_l2_address(text(name).value_or(""));
}

std::optional<std::string> question::text(std::string_view name) const {
    const auto found = members.find(name);
    return found == members.end() ? std::nullopt : std::optional(found->second);
}

std::span<const question_kind> question_kinds() {
    return kinds;
}

const question_kind *find_question(std::string_view name) {
    const auto found = std::ranges::find(kinds, name, &question_kind::name);
    return found == std::end(kinds) ? nullptr : found;
}

std::string encode_question(const question &asked) {
    std::string lines = fmt::format("{}\nformat={}\n", asked.ask,
                                    asked.form == output_form::json ? "json" : "text");
    for (const auto &[name, value] : asked.members) {
        lines += fmt::format("{}={}\n", name, value);
    }
    return lines;
}

question decode_question(std::string_view payload) {
    if (payload.size() > longest_question) {
        throw wrong_question{fmt::format("the question is {} bytes long, at most {} are read",
                                         payload.size(), longest_question)};
    }
    question asked{.ask = std::string(take_until(payload, "\n"))};
    const question_kind *kind = find_question(asked.ask);
    if (kind == nullptr) {
        std::vector<std::string_view> names;
        std::ranges::transform(kinds, std::back_inserter(names), &question_kind::name);
        throw wrong_question{fmt::format("this switch has no answer to \"{}\", but to {}",
                                         printable(asked.ask), fmt::join(names, ", "))};
    }
    try {
        decode_members(*kind, payload, asked);
    } catch (const wrong_question &wrong) {
        throw wrong_question{fmt::format("{}: {}", asked.ask, wrong.why)};
    }
    return asked;
}

void print_narrowing(output &out, const question &asked) {
    const auto narrows = [&asked](const member &one) {
        return one.use == filter && asked.members.contains(one.name);
    };
    const std::span<const member> members = find_question(asked.ask)->members;
    if (std::ranges::none_of(members, narrows)) {
        out.json("narrowed", std::nullopt);
        return;
    }
    out.open_object("narrowed");
    for (const member &one : members) {
        if (narrows(one)) {
            print_member(out, one, asked);
        }
    }
    out.close_object();
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
