#include "sim/switch/show_ltl.h"

#include "sim/base/if_name.h"
#include "sim/switch/row_list.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace sim {

namespace {

using json = nlohmann::ordered_json;

json interface_rows(const std::set<std::uint32_t> &interfaces) {
    json rows = json::array();
    for (const std::uint32_t if_index : interfaces) {
        rows.push_back({{"if_index", if_index}, {"name", if_name(if_index)}});
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

void add_sender_and_interfaces(json &row, const sender_name &from,
                               const std::set<std::uint32_t> &interfaces) {
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
    json row{{"vlan", vlan},
             {"line_cards", line_cards(shown.line_card_mask)},
             {"line_card_mask", shown.line_card_mask}};
    add_sender_and_interfaces(row, shown.from, shown.interfaces);
    return row;
}

bool of_vlan(const show_query &query, std::uint16_t vlan) {
    return !query.vlan || *query.vlan == vlan;
}

} // namespace

// A VLAN narrows the rows; the pool's numbers are always of all.
std::string show_ltls(const service &vell, const show_query &query) {
    row_list rows(query);
    for (const auto &[index, held] : vell.ltls.all()) {
        if (of_vlan(query, held.vlan) && rows.wants_row()) {
            rows.add(ltl_row(index, held));
        }
    }
    return rows.text("ltl",
                     fmt::format(R"(,"pool":{{"first":{},"size":{},"in_use":{}}})", ltl_pool_first,
                                 vell.faults.ltl_pool, vell.ltls.all().size()));
}

std::string show_flood(const service &vell, const show_query &query) {
    row_list rows(query);
    for (const auto &[vlan, held] : vell.floods.all()) {
        if (of_vlan(query, vlan) && rows.wants_row()) {
            rows.add(flood_row(vlan, held));
        }
    }
    return rows.text("flood");
}

} // namespace sim
