// What a route message does to the routes.
#include "sim/switch/route.h"

#include "sim/base/address.h"
#include "sim/switch/limits.h"
#include "sim/switch/request.h"
#include "sim/wire/protocol.h"

#include <fmt/format.h>
#include <string_view>
#include <utility>

namespace sim {

namespace {

std::string_view dux_role_name(std::uint64_t flags) {
    constexpr std::pair<std::uint64_t, std::string_view> roles[] = {
        {VELL_SIM_DUX_FORWARD_ALL, "forward_all"},
        {VELL_SIM_DUX_FORWARD_EVEN, "forward_even"},
        {VELL_SIM_DUX_FORWARD_ODD, "forward_odd"},
        {VELL_SIM_DUX_FORWARD_NONE, "forward_none"},
    };
    for (const auto &[flag, name] : roles) {
        if (flags & flag) {
            return name;
        }
    }
    return "none given";
}

std::size_t list_bytes(const route_lists &lists) {
    return lists.oifs.size() * sizeof(oif_entry) + lists.mti.size() * sizeof(mti_entry) +
           lists.glt.size() * sizeof(glt_entry);
}

void add_route(service &vell, client &sender, route_record &record) {
    route &held = vell.routes[record.key];
    vell.route_list_bytes += list_bytes(record.lists);
    vell.route_list_bytes -= list_bytes(held.lists);
    held = {.flags = record.flags,
            .epoch = record.epoch,
            .rpf_if = record.rpf_if,
            .df_ordinal = record.df_ordinal,
            .client = sender.id,
            .lists = std::move(record.lists)};
    ++sender.route_records;
}

// Returns whether the route was there.
bool delete_route(service &vell, client &sender, const route_record &record) {
    const auto found = vell.routes.find(record.key);
    forget_uncounted(vell.counters, record.key);
    if (found == vell.routes.end()) {
        ++sender.missed_deletes;
        return false;
    }
    vell.route_list_bytes -= list_bytes(found->second.lists);
    vell.routes.erase(found);
    ++sender.route_records;
    return true;
}

// Counts an add as one more route, even if it replaces one.
void check_limits(const service &vell, const route_message &message) {
    std::size_t routes = 0;
    std::size_t bytes = 0;
    for (const route_record &record : message.records) {
        if (record.opcode == VELL_SIM_ROUTE_ADD) {
            ++routes;
            bytes += list_bytes(record.lists);
        }
    }
    check_limit("routes", vell.routes.size(), routes, route_limit);
    check_limit("bytes of route lists", vell.route_list_bytes, bytes, route_list_limit);
}

void apply(request &asked, client &sender, route_message &message) {
    line_limit missed(asked, log_level_trace);
    for (route_record &record : message.records) {
        switch (record.opcode) {
        case VELL_SIM_ROUTE_ADD:
            add_route(asked.vell, sender, record);
            break;
        case VELL_SIM_ROUTE_DELETE:
            if (!delete_route(asked.vell, sender, record)) {
                missed.add([&] {
                    return fmt::format("delete of {} in table {}: no such route",
                                       key_text(record.key), record.key.table);
                });
            }
            break;
        case VELL_SIM_ROUTE_DUX_ROLE:
            sender.dux_role = dux_role_name(record.flags);
            break;
        }
    }
    missed.log_rest("deletes of absent routes in the same message");
}

} // namespace

std::string key_text(const route_key &key) {
    return sg_text(ipv4_address(key.source), key.source_length, ipv4_address(key.group),
                   key.group_length);
}

void handle_route_message(request &asked) {
    route_message message = decode_route_message(asked.payload);
    require_option_word_1(asked, is_dux_role_update(message) ? 0 : 1);
    client &sender = require_client(asked, message.client_id);
    if (!is_dux_role_update(message)) {
        for (const route_record &record : message.records) {
            refuse_group_by_fault(asked, ipv4_address(record.key.group));
        }
    }
    check_limits(asked.vell, message);
    asked.records = message.records.size();
    apply(asked, sender, message);
}

} // namespace sim
