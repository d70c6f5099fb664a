// `show clients`: who is registered, and who was.
#include "sim/base/text.h"
#include "sim/switch/answer.h"
#include "sim/switch/service.h"

#include <algorithm>
#include <tuple>

namespace sim {

namespace {

// Clients that are registered by id, then peers that are not, then those that are gone, each in the
// order in which they came.
std::vector<const client *> sorted_clients(const client_table &clients) {
    std::vector<const client *> sorted;
    for (const auto &[key, known] : clients.all()) {
        sorted.push_back(&known);
    }
    std::ranges::stable_sort(sorted, {}, [](const client *known) {
        const bool is_registered = known->state == client_state::registered;
        const bool is_gone = !is_registered && known->state != client_state::unregistered;
        return std::tuple(is_gone, !is_registered, is_registered ? known->id : 0);
    });
    return sorted;
}

void print_last_notice(output &out, const std::optional<std::array<std::uint32_t, 3>> &notice) {
    if (!notice) {
        out.json("last_ipv6_notice", std::nullopt);
        return;
    }
    out.json_list("last_ipv6_notice", *notice);
    out.text("    last IPv6 notice: {} {} {}\n", (*notice)[0], (*notice)[1], (*notice)[2]);
}

void print_requests(output &out, const client &shown) {
    out.open_wrapped_list("requests", "    requests: ");
    for (const auto &[name, count] : shown.requests) {
        out.open_object();
        out.field("request", "{}", name);
        out.field("messages", " {}", count.messages);
        out.json("records", count.records);
        if (count.records > 0) {
            out.text(" with {}", counted(count.records, "record"));
        }
        out.json("refused", count.refused);
        if (count.refused > 0) {
            out.text(" ({} refused)", count.refused);
        }
        out.close_object();
    }
    out.close_list();
}

std::uint64_t all_records(const client &shown) {
    std::uint64_t sum = 0;
    for (const auto &[name, count] : shown.requests) {
        sum += count.records;
    }
    return sum;
}

void print_client(output &out, const client &shown) {
    out.open_object();
    out.field("id", "{:>3}", shown.id);
    out.field("pid", " {:>7}", shown.pid);
    out.field("uuid", " {:>10}", shown.uuid);
    out.field("state", " {:12}", client_state_name(shown.state));
    out.field("messages", " {:>9}", shown.messages);
    out.field("records", " {:>9}", all_records(shown));
    out.field("refused", " {:>8}", shown.refused);
    out.field("answers", " {:>8}\n", shown.answers);
    out.json("segment", shown.segment);
    if (!shown.segment.empty()) {
        out.text("    segment: {}\n", shown.segment);
    }
    print_requests(out, shown);
    out.json("route_records", shown.route_records);
    out.json("missed_deletes", shown.missed_deletes);
    if (shown.missed_deletes > 0) {
        out.text("    deletes of absent routes: {}\n", shown.missed_deletes);
    }
    out.json("ipv6_notices", shown.ipv6_notices);
    print_last_notice(out, shown.last_ipv6_notice);
    if (shown.dux_role.empty()) {
        out.json("dux_role", std::nullopt);
    } else {
        out.field("dux_role", "    dux role: {}\n", shown.dux_role);
    }
    out.close_object();
}

} // namespace

answer show_clients(service &vell, const question &asked) {
    answer made(asked);
    made.once([&vell, wanted = asked.number("client")](output &out, row_count &rows) {
        out.text("{:>3} {:>7} {:>10} {:12} {:>9} {:>9} {:>8} {:>8}\n", "Id", "Pid", "Uuid", "State",
                 "Messages", "Records", "Refused", "Answers");
        out.open_rows("clients");
        for (const client *shown : sorted_clients(vell.clients)) {
            if ((!wanted || *wanted == shown->id) && rows.take()) {
                print_client(out, *shown);
            }
        }
    });
    made.end_rows("client");
    return made;
}

} // namespace sim
