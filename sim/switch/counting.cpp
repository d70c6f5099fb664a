#include "counting.h"

#include "show_stats.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace desk {

namespace {

using json = nlohmann::json;

std::optional<l2_address> parse_internet_address(const char *name, const std::string &text, std::string &error) {
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

std::string check_key(const counter_key &key, std::uint32_t source_length, std::uint32_t group_length) {
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
                         .added = {members.at("packets").get<std::uint64_t>(), members.at("bytes").get<std::uint64_t>(),
                                   members.at("wrong_if").get<std::uint64_t>()}};
    if (members.contains("source_len")) {
        wanted.source_length = members.at("source_len").get<std::uint32_t>();
    }
    if (members.contains("group_len")) {
        wanted.group_length = members.at("group_len").get<std::uint32_t>();
    }
    return wanted;
}

std::string count(service &vell, const counter_key &key, const traffic &added) {
    route_counters &counters = vell.counters[key];
    counters.counted = true;
    counters.seen.packets += added.packets;
    counters.seen.bytes += added.bytes;
    counters.seen.wrong_if += added.wrong_if;
    return stats_row(key, counters).dump();
}

} // namespace

std::string encode_count_request(const count_request &wanted) {
    json members{{"source", wanted.source},         {"group", wanted.group},       {"table", wanted.table},
                 {"packets", wanted.added.packets}, {"bytes", wanted.added.bytes}, {"wrong_if", wanted.added.wrong_if}};
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
        return key ? show_answer{false, count(vell, *key, wanted.added)} : show_answer{true, error};
    } catch (const json::exception &) {
        return {true, "the count request is no JSON object of the right members"};
    }
}

} // namespace desk
