#include "sim/switch/count.h"

#include "sim/switch/show_stats.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace sim {

namespace {

using json = nlohmann::json;

std::optional<l2_address> parse_internet_address(const char *name, const std::string &text,
                                                 std::string &error) {
    const std::optional<l2_address> parsed = parse_l2_address(text);
    if (!parsed || parsed->kind == l2_address_kind::mac) {
        error = fmt::format("--{}: {} is no IPv4 or IPv6 address", name, text);
        return std::nullopt;
    }
    return parsed;
}

std::uint32_t longest_mask(const l2_address &address) {
    return address.kind == l2_address_kind::ipv4 ? 32 : 128;
}

std::string check_key(const counter_key &key, std::uint32_t source_length,
                      std::uint32_t group_length) {
    const std::uint32_t most = longest_mask(key.group);
    if (key.source.kind != key.group.kind) {
        return fmt::format("--source: {} is not of the group's family", address_text(key.source));
    }
    if (source_length > most) {
        return fmt::format("--source-len: {} is above {}", source_length, most);
    }
    if (group_length > most) {
        return fmt::format("--group-len: {} is above {}", group_length, most);
    }
    if (group_length > 0 && !is_multicast(key.group)) {
        return fmt::format("--group: {} is not multicast", address_text(key.group));
    }
    return {};
}

// Throws json::exception when a member is missing or of the wrong type.
count_request read_request(const json &members) {
    count_request wanted{.source = members.at("source").get<std::string>(),
                         .group = members.at("group").get<std::string>(),
                         .table = members.at("table").get<std::uint32_t>(),
                         .added = {members.at("packets").get<std::uint64_t>(),
                                   members.at("bytes").get<std::uint64_t>(),
                                   members.at("wrong_if").get<std::uint64_t>()}};
    if (members.contains("source_len")) {
        wanted.source_length = members.at("source_len").get<std::uint32_t>();
    }
    if (members.contains("group_len")) {
        wanted.group_length = members.at("group_len").get<std::uint32_t>();
    }
    return wanted;
}

struct counter_member {
    const char *name;
    std::uint64_t traffic::*value;
};
constexpr counter_member counter_members[] = {
    {"packets", &traffic::packets}, {"bytes", &traffic::bytes}, {"wrong-if", &traffic::wrong_if}};

// Nothing is counted when one counter would pass its end.
std::string check_room(const traffic &seen, const traffic &added) {
    for (const auto &[name, value] : counter_members) {
        if (added.*value > UINT64_MAX - seen.*value) {
            return fmt::format("--{}: {} more than {} are more than a counter holds", name,
                               added.*value, seen.*value);
        }
    }
    return {};
}

bool is_held(const service &vell, const counter_key &key) {
    return key.group.kind == l2_address_kind::ipv4 && vell.routes.contains(to_route_key(key));
}

show_answer count(service &vell, const counter_key &key, const traffic &added) {
    const auto kept = vell.counters.find(key);
    route_counters counted = kept == vell.counters.end() ? route_counters{} : kept->second;
    const std::string error = check_room(counted.seen, added);
    if (!error.empty()) {
        return {true, error};
    }
    for (const auto &[name, value] : counter_members) {
        counted.seen.*value += added.*value;
    }
    counted.counted = true;
    vell.counters[key] = counted;
    nlohmann::ordered_json row = stats_row(key, counted);
    row["held"] = is_held(vell, key);
    return {false, row.dump()};
}

} // namespace

std::string encode_count_request(const count_request &wanted) {
    json members{{"source", wanted.source},     {"group", wanted.group},
                 {"table", wanted.table},       {"packets", wanted.added.packets},
                 {"bytes", wanted.added.bytes}, {"wrong_if", wanted.added.wrong_if}};
    if (wanted.source_length) {
        members["source_len"] = *wanted.source_length;
    }
    if (wanted.group_length) {
        members["group_len"] = *wanted.group_length;
    }
    return members.dump(-1, ' ', false, json::error_handler_t::replace);
}

std::optional<counter_key> counter_key_of(const count_request &wanted, std::string &error) {
    const auto source = parse_internet_address("source", wanted.source, error);
    const auto group = source ? parse_internet_address("group", wanted.group, error) : std::nullopt;
    if (!group) {
        return std::nullopt;
    }
    const std::uint32_t source_length = wanted.source_length.value_or(longest_mask(*source));
    const std::uint32_t group_length = wanted.group_length.value_or(longest_mask(*group));
    counter_key key{.table = wanted.table, .group = *group, .source = *source};
    error = check_key(key, source_length, group_length);
    if (!error.empty()) {
        return std::nullopt;
    }
    key.source_length = static_cast<std::uint8_t>(source_length);
    key.group_length = static_cast<std::uint8_t>(group_length);
    return key;
}

show_answer answer_count(service &vell, std::string_view request) {
    const json members = json::parse(request, nullptr, false);
    try {
        const count_request wanted = read_request(members);
        std::string error;
        const std::optional<counter_key> key = counter_key_of(wanted, error);
        return key ? count(vell, *key, wanted.added) : show_answer{true, error};
    } catch (const json::exception &) {
        return {true, "the count request is no JSON object of the right members"};
    }
}

} // namespace sim
