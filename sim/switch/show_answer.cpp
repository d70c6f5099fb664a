#include "sim/switch/show_answer.h"

#include "sim/base/address.h"
#include "sim/base/text.h"
#include "sim/switch/route_flags.h"
#include "sim/switch/row_list.h"
#include "sim/switch/show_l2.h"
#include "sim/switch/show_ltl.h"
#include "sim/switch/show_overlay.h"
#include "sim/switch/show_query.h"
#include "sim/switch/show_stats.h"

#include <algorithm>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <iterator>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <span>
#include <utility>
#include <vector>

namespace sim {

namespace {

using json = nlohmann::ordered_json;

constexpr std::size_t longest_request = 4096;

json client_row(const client &shown) {
    json row;
    row["id"] = shown.id;
    row["uuid"] = shown.uuid;
    row["pid"] = shown.pid;
    row["state"] = client_state_name(shown.state);
    row["segment"] = shown.segment;
    row["messages"] = shown.messages;
    row["route_records"] = shown.route_records;
    row["refused"] = shown.refused;
    row["missed_deletes"] = shown.missed_deletes;
    row["ipv6_notices"] = shown.ipv6_notices;
    row["last_ipv6_notice"] = shown.last_ipv6_notice ? json(*shown.last_ipv6_notice) : json();
    row["dux_role"] = shown.dux_role.empty() ? json() : json(shown.dux_role);
    return row;
}

// Those who are registered by id, then those who are gone in the order in which they came.
std::string show_clients(const service &vell, const show_query &query) {
    std::vector<const client *> sorted;
    for (const auto &[key, known] : vell.clients.all()) {
        if (!query.client || *query.client == known.id) {
            sorted.push_back(&known);
        }
    }
    std::ranges::stable_sort(sorted, {}, [](const client *known) {
        const bool gone = known->state != client_state::registered;
        return std::pair(gone, gone ? 0 : known->id);
    });
    row_list rows(query);
    for (const client *shown : sorted) {
        if (rows.wants_row()) {
            rows.add(client_row(*shown));
        }
    }
    return rows.text("clients");
}

// Routes come in tens of thousands while clients wait, so their rows are written directly; nothing
// in them needs JSON's escapes.
std::string oif_text(const oif_entry &oif) {
    return fmt::format(R"({{"if_index":{},"kind":{}}})", oif.if_index, oif.kind);
}

std::string mti_text(const mti_entry &words) {
    return fmt::format("[{}]", fmt::join(words, ","));
}

std::string glt_text(const glt_entry &glt) {
    const auto in_use = std::span(glt.data).first(glt.length);
    return fmt::format(R"({{"words":[{}],"data":"{:02x}","length":{},"last":{}}})",
                       fmt::join(glt.words, ","), fmt::join(in_use, ""), glt.length, glt.last);
}

std::string flag_text(const std::string &name) {
    return '"' + name + '"';
}

template <typename Item>
std::string list_text(const std::vector<Item> &items, std::string (*text)(const Item &item)) {
    std::string list = "[";
    for (const Item &item : items) {
        list += list.size() > 1 ? "," : "";
        list += text(item);
    }
    return list + "]";
}

std::string route_row(const route_key &key, const route &shown) {
    return fmt::format(
        R"({{"table":{},"source":"{}","source_len":{},"group":"{}","group_len":{},"opcode":{},)"
        R"("flags":{},"flags_word":"{:#x}","epoch":{},"rpf_if":{},"df_ordinal":{},"client":{},)"
        R"("oifs":{},"mti":{},"glt":{}}})",
        key.table, ipv4_text(key.source), key.source_length, ipv4_text(key.group), key.group_length,
        shown.opcode, list_text(flag_names(shown.flags), flag_text), shown.flags, shown.epoch,
        shown.rpf_if, shown.df_ordinal, shown.client, list_text(shown.lists.oifs, oif_text),
        list_text(shown.lists.mti, mti_text), list_text(shown.lists.glt, glt_text));
}

bool matches(const show_query &query, const route_key &key, const route &held) {
    return (!query.client || *query.client == held.client) &&
           (!query.table || *query.table == key.table) &&
           (!query.group || *query.group == key.group) &&
           (!query.source || *query.source == key.source);
}

struct route_summary {
    std::uint64_t routes = 0;
    std::uint64_t star_g = 0;
    std::uint64_t with_oifs = 0;
    std::uint64_t oifs = 0;
};

std::string show_route_summary(const service &vell, const show_query &query) {
    std::map<std::uint32_t, route_summary> tables;
    for (const auto &[key, held] : vell.routes) {
        if (matches(query, key, held)) {
            route_summary &sums = tables[key.table];
            ++sums.routes;
            sums.star_g += is_any_source(key) ? 1 : 0;
            sums.with_oifs += held.lists.oifs.empty() ? 0 : 1;
            sums.oifs += held.lists.oifs.size();
        }
    }
    row_list rows(query);
    for (const auto &[table, sums] : tables) {
        rows.add(json{{"table", table},
                      {"routes", sums.routes},
                      {"sg", sums.routes - sums.star_g},
                      {"star_g", sums.star_g},
                      {"with_oifs", sums.with_oifs},
                      {"without_oifs", sums.routes - sums.with_oifs},
                      {"oifs", sums.oifs}});
    }
    return rows.text("summary");
}

std::string show_routes(const service &vell, const show_query &query) {
    if (query.summary) {
        return show_route_summary(vell, query);
    }
    row_list rows(query);
    for (const auto &[key, held] : vell.routes) {
        if (matches(query, key, held) && rows.wants_row()) {
            rows.add(route_row(key, held));
        }
    }
    return rows.text("routes");
}

struct shown_table {
    std::string_view name;
    std::string (*show)(const service &vell, const show_query &query);
};

constexpr shown_table shown_tables[] = {
    {"clients", show_clients}, {"routes", show_routes}, {"l2", show_l2},    {"stats", show_stats},
    {"overlay", show_overlay}, {"flood", show_flood},   {"ltl", show_ltls},
};

} // namespace

show_answer answer_show(const service &vell, std::string_view request) {
    if (request.size() > longest_request) {
        return {true, fmt::format("the request is {} bytes long, at most {} are read",
                                  request.size(), longest_request)};
    }
    std::string error;
    const std::optional<show_query> query = decode_show_query(request, error);
    if (!query) {
        return {true, error};
    }
    const auto found = std::ranges::find(shown_tables, query->name, &shown_table::name);
    if (found == std::end(shown_tables)) {
        return {true, fmt::format("this switch has no table \"{}\"", printable(query->name))};
    }
    return {false, found->show(vell, *query)};
}

} // namespace sim
