#include "show_ltl.h"

#include "interface_name.h"

#include <nlohmann/json.hpp>

namespace desk {

namespace {

using json = nlohmann::ordered_json;

json interface_rows(const std::set<std::uint32_t> &interfaces) {
    json rows = json::array();
    for (const std::uint32_t if_index : interfaces) {
        rows.push_back({{"if_index", if_index}, {"name", interface_name(if_index)}});
    }
    return rows;
}

json line_cards(std::uint32_t mask) {
    json numbers = json::array();
    for (unsigned card = 0; card < 32; ++card) {
        if ((mask >> card & 1) != 0) {
            numbers.push_back(card);
        }
    }
    return numbers;
}

void add_sender_and_interfaces(json &row, const sender_name &from, const std::set<std::uint32_t> &interfaces) {
    row["client"] = from.client;
    row["pid"] = from.pid;
    row["interfaces"] = interface_rows(interfaces);
}

json ltl_row(std::uint32_t index, const ltl &shown) {
    json row{{"index", index}, {"vlan", shown.vlan}, {"tag", shown.tag}};
    add_sender_and_interfaces(row, shown.from, shown.interfaces);
    return row;
}

json flood_row(std::uint16_t vlan, const flood_set &shown) {
    json row{
        {"vlan", vlan}, {"line_cards", line_cards(shown.line_card_mask)}, {"line_card_mask", shown.line_card_mask}};
    add_sender_and_interfaces(row, shown.from, shown.interfaces);
    return row;
}

bool of_vlan(const show_query &query, std::uint16_t vlan) {
    return !query.vlan || *query.vlan == vlan;
}

} // namespace

// A VLAN narrows the rows; the pool's numbers are always of all.
std::string show_ltls(const service &vell, const show_query &query) {
    json rows = json::array();
    for (const auto &[index, held] : vell.ltls.all()) {
        if (of_vlan(query, held.vlan)) {
            rows.push_back(ltl_row(index, held));
        }
    }
    const json pool{{"first", ltl_pool_first}, {"size", vell.faults.ltl_pool}, {"in_use", vell.ltls.all().size()}};
    return json{{"ltl", std::move(rows)}, {"pool", pool}}.dump();
}

std::string show_flood(const service &vell, const show_query &query) {
    json rows = json::array();
    for (const auto &[vlan, held] : vell.floods) {
        if (of_vlan(query, vlan)) {
            rows.push_back(flood_row(vlan, held));
        }
    }
    return json{{"flood", std::move(rows)}}.dump();
}

} // namespace desk
