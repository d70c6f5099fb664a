#include "sim/switch/show_query.h"

#include "sim/base/text.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace sim {

namespace {

struct number_member {
    const char *name;
    std::optional<std::uint32_t> show_query::*value;
};

constexpr number_member number_members[] = {
    {"client", &show_query::client}, {"table", &show_query::table}, {"group", &show_query::group},
    {"source", &show_query::source}, {"limit", &show_query::limit}, {"vlan", &show_query::vlan},
};

bool read_member(const std::string &name, const nlohmann::json &value, show_query &query) {
    if (name == "summary" && value.is_boolean()) {
        query.summary = value.get<bool>();
        return true;
    }
    if (name == "l2_group" && value.is_string()) {
        query.l2_group = value.get<std::string>();
        return true;
    }
    for (const number_member &member : number_members) {
        if (name == member.name && value.is_number_unsigned() &&
            value.get<std::uint64_t>() <= UINT32_MAX) {
            query.*member.value = value.get<std::uint32_t>();
            return true;
        }
    }
    return false;
}

} // namespace

std::string encode_show_query(const show_query &query) {
    nlohmann::json narrowed = nlohmann::json::object();
    for (const number_member &member : number_members) {
        if (query.*member.value) {
            narrowed[member.name] = *(query.*member.value);
        }
    }
    if (!query.l2_group.empty()) {
        narrowed["l2_group"] = query.l2_group;
    }
    if (query.summary) {
        narrowed["summary"] = true;
    }
    return narrowed.empty() ? query.name : query.name + " " + narrowed.dump();
}

std::optional<show_query> decode_show_query(std::string_view text, std::string &error) {
    show_query query;
    const std::size_t blank = text.find(' ');
    query.name = text.substr(0, blank);
    if (blank == std::string_view::npos) {
        return query;
    }
    const nlohmann::json narrowed = nlohmann::json::parse(text.substr(blank + 1), nullptr, false);
    if (!narrowed.is_object()) {
        error = fmt::format("show {}: what follows the table's name is no JSON object",
                            printable(query.name));
        return std::nullopt;
    }
    for (const auto &[name, value] : narrowed.items()) {
        if (!read_member(name, value, query)) {
            error = fmt::format("show {}: member {} is unknown or of the wrong type",
                                printable(query.name), printable(name));
            return std::nullopt;
        }
    }
    return query;
}

} // namespace sim
