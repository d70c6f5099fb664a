#include "sim/switch/show_l2.h"

#include "sim/wire/protocol.h"

#include <nlohmann/json.hpp>

namespace sim {

namespace {

using json = nlohmann::ordered_json;

void add_sender(json &row, const sender_name &from) {
    row["client"] = from.client;
    row["pid"] = from.pid;
}

json or_null(const std::string &text) {
    return text.empty() ? json() : json(text);
}

json entry_row(const mbd_key &key, const mbd_entry &entry) {
    json ports = json::array();
    for (const auto &[if_index, flags] : entry.ports) {
        ports.push_back({{"if_index", if_index}, {"flags", flags}});
    }
    json row;
    row["vlan"] = key.vlan;
    row["group"] = address_text(key.group);
    row["kind"] = kind_name(key.group.kind);
    row["source"] = is_zero(key.source) ? json() : json(address_text(key.source));
    row["bridge"] = entry.bridge;
    row["permanent"] = (entry.flags & mbd_flag_permanent) != 0;
    row["flags"] = entry.flags;
    add_sender(row, entry.from);
    row["ports"] = std::move(ports);
    return row;
}

json oif_row(const l2_oif &oif) {
    json row{{"kind", static_cast<std::uint32_t>(oif.kind)}};
    if (oif.kind == l2_oif_kind::if_index) {
        row["if_index"] = oif.if_index;
    } else if (oif.kind == l2_oif_kind::ipv6) {
        row["address"] = address_text({l2_address_kind::ipv6, oif.ipv6});
    }
    row["flags"] = oif.flags;
    row["words"] = oif.words;
    return row;
}

json flood_row(std::uint16_t vlan, const kept_record &kept) {
    json addresses = json::array();
    for (const l2_address &address : kept.record.addresses) {
        addresses.push_back(
            {{"kind", kind_name(address.kind)}, {"address", address_text(address)}});
    }
    json oifs = json::array();
    for (const l2_oif &oif : kept.record.oifs) {
        oifs.push_back(oif_row(oif));
    }
    json row{{"vlan", vlan},
             {"type", kept.record.type},
             {"words", kept.record.words},
             {"flags", kept.record.flags}};
    add_sender(row, kept.from);
    row["addresses"] = std::move(addresses);
    row["oifs"] = std::move(oifs);
    return row;
}

json pairs_row(const kept_record &kept) {
    json row{{"type", kept.record.type}, {"words", kept.record.words}};
    add_sender(row, kept.from);
    row["pairs"] = kept.record.pairs;
    return row;
}

json batch_row(const l2_batch &batch) {
    json row;
    add_sender(row, batch.from);
    row["begun"] = or_null(batch.begun);
    row["ended"] = or_null(batch.ended);
    row["messages"] = batch.messages;
    row["records"] = batch.records;
    row["open"] = batch.open;
    return row;
}

json marker_row(const other_marker &other) {
    json row;
    add_sender(row, other.from);
    row["marker"] = other.marker;
    row["time"] = other.time;
    return row;
}

bool of_vlan(const show_query &query, std::uint32_t vlan) {
    return !query.vlan || *query.vlan == vlan;
}

json entry_rows(const l2_tables &tables, const show_query &query) {
    json rows = json::array();
    for (const auto &[key, entry] : tables.entries) {
        const bool of_group = query.l2_group.empty() || query.l2_group == address_text(key.group);
        if (of_vlan(query, key.vlan) && of_group) {
            rows.push_back(entry_row(key, entry));
        }
    }
    return rows;
}

template <typename Items, typename Row>
json rows_of(const Items &items, Row row) {
    json rows = json::array();
    for (const auto &item : items) {
        if (json made = row(item); !made.is_null()) {
            rows.push_back(std::move(made));
        }
    }
    return rows;
}

json download_row(const client &known) {
    return known.downloads_complete == 0 ? json()
                                         : json{{"client", known.id},
                                                {"pid", known.pid},
                                                {"count", known.downloads_complete}};
}

} // namespace

// A VLAN or a group leaves what belongs to it, and nothing that belongs to neither.
std::string show_l2(const service &vell, const show_query &query) {
    const l2_tables &tables = vell.l2;
    const bool of_group = !query.l2_group.empty();
    const bool narrowed = of_group || query.vlan;
    json shown;
    shown["entries"] = entry_rows(tables, query);
    shown["flood"] = rows_of(tables.flood, [&](const auto &item) {
        return !of_group && of_vlan(query, item.first) ? flood_row(item.first, item.second)
                                                       : json();
    });
    shown["pairs"] = rows_of(
        tables.pairs, [&](const auto &item) { return narrowed ? json() : pairs_row(item.second); });
    shown["lookup_modes"] = rows_of(tables.lookup_modes, [&](const auto &item) {
        return !of_group && of_vlan(query, item.first)
                   ? json{{"vlan", item.first}, {"mode", item.second}}
                   : json();
    });
    shown["lookup_mode_word"] = tables.lookup_mode_word;
    shown["batches"] = rows_of(
        vell.batches.all(), [&](const auto &item) { return narrowed ? json() : batch_row(item); });
    shown["other_markers"] = rows_of(vell.batches.others(), [&](const auto &item) {
        return narrowed ? json() : marker_row(item);
    });
    shown["download_complete"] = rows_of(vell.clients.all(), [&](const auto &item) {
        return narrowed ? json() : download_row(item.second);
    });
    if (narrowed) {
        shown["narrowed"] = true; // for programs that would take it for all there is
    }
    return json{{"l2", std::move(shown)}}.dump();
}

} // namespace sim
