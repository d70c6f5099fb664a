#include "sim/switch/show_stats.h"

#include "sim/switch/row_list.h"
#include "sim/switch/statistics.h"

#include <nlohmann/json.hpp>

namespace sim {

using json = nlohmann::ordered_json;

json stats_row(const counter_key &key, const route_counters &counters) {
    json row;
    row["table"] = key.table;
    row["family"] = kind_name(key.group.kind);
    row["source"] = address_text(key.source);
    row["source_len"] = key.source_length;
    row["group"] = address_text(key.group);
    row["group_len"] = key.group_length;
    row["packets"] = counters.seen.packets;
    row["bytes"] = counters.seen.bytes;
    row["wrong_if"] = counters.seen.wrong_if;
    row["requests"] = counters.requests;
    row["clears"] = counters.clears;
    return row;
}

std::string show_stats(const service &vell, const show_query &query) {
    counter_table all = vell.counters;
    for (const auto &[key, held] : vell.routes) {
        all.try_emplace(key_of(key));
    }
    row_list rows(query);
    for (const auto &[key, counters] : all) {
        if ((!query.table || *query.table == key.table) && rows.wants_row()) {
            rows.add(stats_row(key, counters));
        }
    }
    return rows.text("stats");
}

} // namespace sim
