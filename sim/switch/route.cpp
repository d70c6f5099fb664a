// What a route message does to the tables.
#include "sim/base/address.h"
#include "sim/switch/request.h"
#include "sim/switch/route_decode.h"
#include "sim/wire/protocol.h"

#include <algorithm>
#include <fmt/format.h>
#include <string_view>
#include <utility>

namespace sim {

namespace {

// A message can hold 65535 deletes; the log gets the first few one by one and a line for the rest.
constexpr std::uint64_t missed_deletes_logged = 8;

std::string_view dux_role_name(std::uint64_t flags) {
    constexpr std::pair<std::uint64_t, std::string_view> roles[] = {
        {flag_dux_forward_all, "forward_all"},
        {flag_dux_forward_even, "forward_even"},
        {flag_dux_forward_odd, "forward_odd"},
        {flag_dux_forward_none, "forward_none"},
    };
    for (const auto &[flag, name] : roles) {
        if (flags & flag) {
            return name;
        }
    }
    return "none given";
}

void add_route(request &asked, client &sender, route_record &record) {
    asked.vell.routes.insert_or_assign(record.key, route{.opcode = record.opcode,
                                                         .flags = record.flags,
                                                         .epoch = record.epoch,
                                                         .rpf_if = record.rpf_if,
                                                         .df_ordinal = record.df_ordinal,
                                                         .client = sender.id,
                                                         .lists = std::move(record.lists)});
    ++sender.route_records;
}

// Returns whether the route was there.
bool delete_route(request &asked, client &sender, const route_record &record) {
    const bool found = asked.vell.routes.erase(record.key) > 0;
    forget_uncounted(asked.vell.counters, record.key);
    ++(found ? sender.route_records : sender.missed_deletes);
    return found;
}

void log_missed_delete(request &asked, const route_record &record) {
    asked.vell.log(log_level_trace, fmt::format("{}: delete of {} in table {}: no such route",
                                                describe(asked.vell, asked.from),
                                                key_text(record.key), record.key.table));
}

void apply(request &asked, client &sender, route_message &message) {
    std::uint64_t missed = 0;
    for (route_record &record : message.records) {
        switch (record.opcode) {
        case route_opcode_add:
            add_route(asked, sender, record);
            break;
        case route_opcode_delete:
            if (!delete_route(asked, sender, record) && ++missed <= missed_deletes_logged) {
                log_missed_delete(asked, record);
            }
            break;
        case route_opcode_dux_role:
            sender.dux_role = dux_role_name(record.flags);
            break;
        }
    }
    if (missed > missed_deletes_logged) {
        asked.vell.log(log_level_trace,
                       fmt::format("{}: {} more deletes of absent routes in the same message",
                                   describe(asked.vell, asked.from),
                                   missed - missed_deletes_logged));
    }
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
    apply(asked, sender, message);
}

} // namespace sim
