// `show clients`: who is registered, and who was.
#include "sim/switch/answer.h"
#include "sim/switch/service.h"

#include <algorithm>
#include <utility>

namespace sim {

namespace {

// Clients that are registered by id, then those that are gone in the order in which they came.
std::vector<const client *> sorted_clients(const client_table &clients) {
    std::vector<const client *> sorted;
    for (const auto &[key, known] : clients.all()) {
        sorted.push_back(&known);
    }
    std::ranges::stable_sort(sorted, {}, [](const client *known) {
        const bool is_gone = known->state != client_state::registered;
        return std::pair(is_gone, is_gone ? 0 : known->id);
    });
    return sorted;
}

void print_last_notice(output &out, const std::optional<std::array<std::uint32_t, 3>> &notice) {
    if (!notice) {
        out.json("last_ipv6_notice", std::nullopt);
        return;
    }
    out.open_list("last_ipv6_notice");
    for (const std::uint32_t value : *notice) {
        out.json({}, value);
    }
    out.close_list();
    out.text("    last IPv6 notice: {} {} {}\n", (*notice)[0], (*notice)[1], (*notice)[2]);
}

void print_client(output &out, const client &shown) {
    out.open_object();
    out.field("id", "{:>3}", shown.id);
    out.field("pid", " {:>7}", shown.pid);
    out.field("uuid", " {:>10}", shown.uuid);
    out.field("state", " {:12}", client_state_name(shown.state));
    out.field("messages", " {:>8}", shown.messages);
    out.field("route_records", " {:>7}", shown.route_records);
    out.field("refused", " {:>7}", shown.refused);
    out.field("missed_deletes", " {:>6}", shown.missed_deletes);
    out.field("ipv6_notices", " {:>4}", shown.ipv6_notices);
    if (shown.dux_role.empty()) {
        out.json("dux_role", std::nullopt);
        out.text(" -\n");
    } else {
        out.field("dux_role", " {}\n", shown.dux_role);
    }
    out.json("segment", shown.segment);
    if (!shown.segment.empty()) {
        out.text("    segment: {}\n", shown.segment);
    }
    print_last_notice(out, shown.last_ipv6_notice);
    out.close_object();
}

} // namespace

answer show_clients(service &vell, const question &asked) {
    answer made(asked);
    made.once([&vell, wanted = asked.number("client")](output &out, row_count &rows) {
        out.text("{:>3} {:>7} {:>10} {:12} {:>8} {:>7} {:>7} {:>6} {:>4} {}\n", "Id", "Pid", "Uuid",
                 "State", "Messages", "Records", "Refused", "Missed", "IPv6", "Dux role");
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
