#include "route_plan.h"

#include "address.h"
#include "input_error.h"
#include "printable.h"
#include "sim/wire/protocol.h"

#include <algorithm>
#include <fmt/format.h>
#include <map>

namespace feed {

namespace {

// The list's length is a 16-bit number of bytes: 4 for the count and 8 for each interface.
constexpr std::size_t most_oifs = (0xffff - 4) / 8;

class planner {
public:
    planner(const mroute_table &table, const interface_indexes &interfaces,
            const plan_options &options)
        : table_(table), interfaces_(interfaces), options_(options) {}

    route_plan run() {
        for (std::size_t i = 0; i < table_.entries.size(); ++i)
            plan_entry(i);
        if (!plan_.routes.empty())
            plan_.routes.back().flags.download_done = !options_.deletion;
        return std::move(plan_);
    }

private:
    void plan_entry(std::size_t number) {
        const mroute_entry &entry = table_.entries[number];
        switch (entry.state) {
        case mroute_state::unresolved:
            ++plan_.unresolved;
            return;
        case mroute_state::interface_gone:
            ++plan_.interface_gone;
            return;
        case mroute_state::resolved:
            plan_.routes.push_back(make_route(number, entry));
        }
    }

    route make_route(std::size_t number, const mroute_entry &entry) {
        route result;
        result.entry = number;
        result.opcode = options_.deletion ? VELL_SIM_ROUTE_DELETE : VELL_SIM_ROUTE_ADD;
        result.key = make_key(number, entry);
        result.epoch = options_.epoch;
        result.rpf_if = interfaces_.of(entry.iif);
        result.oifs = make_oifs(number, entry);
        result.flags.download = !options_.deletion;
        result.flags.wildcard_route = result.key.source_length == 0;
        result.flags.drop_route = result.oifs.empty();
        result.flags.local_group = is_link_local_group(entry.group);
        return result;
    }

    route_key make_key(std::size_t number, const mroute_entry &entry) {
        route_key key;
        key.table = entry.table.value_or(options_.table);
        key.source = entry.source;
        key.source_length = entry.source == 0 ? 0 : 32;
        key.group = entry.group;
        key.group_length = entry.group == 0 ? 0 : 32;
        const auto [other, is_new] = entries_.emplace(key, number);
        if (!is_new) {
            throw input_error(fmt::format(
                "{}: {} stands in entry {} already, and the service holds one route of each",
                table_.place(number, ""), key_text(key), other->second + 1));
        }
        return key;
    }

    std::vector<std::uint32_t> make_oifs(std::size_t number, const mroute_entry &entry) {
        if (entry.oifs.size() > most_oifs) {
            throw input_error(
                fmt::format("{}: {} outgoing interfaces; a route record holds up to {}",
                            table_.place(number, "/multipath"), entry.oifs.size(), most_oifs));
        }
        std::vector<std::uint32_t> oifs;
        std::map<std::uint32_t, std::size_t> seen;
        for (const mroute_oif &oif : entry.oifs) {
            const std::uint32_t index = interfaces_.of(oif.name);
            const auto [other, is_new] = seen.emplace(index, oifs.size());
            if (!is_new) {
                throw input_error(fmt::format(
                    "{}: the outgoing interface {} (index {}) stands in /multipath/{} already",
                    table_.place(number, fmt::format("/multipath/{}/oif", oifs.size())),
                    in_quotes(oif.name), index, other->second));
            }
            oifs.push_back(index);
            plan_.ttl_thresholds += oif.ttl > 1 ? 1 : 0;
        }
        return oifs;
    }

    const mroute_table &table_;
    const interface_indexes &interfaces_;
    const plan_options &options_;
    route_plan plan_;
    std::map<route_key, std::size_t> entries_;
};

} // namespace

route_plan plan_routes(const mroute_table &table, const interface_indexes &interfaces,
                       const plan_options &options) {
    return planner(table, interfaces, options).run();
}

std::string skipped_text(const route_plan &plan) {
    std::string text;
    if (plan.unresolved > 0)
        text = fmt::format("{} unresolved skipped", plan.unresolved);
    if (plan.interface_gone > 0) {
        text += fmt::format("{}{} skipped whose incoming interface is gone",
                            text.empty() ? "" : ", ", plan.interface_gone);
    }
    return text;
}

} // namespace feed
