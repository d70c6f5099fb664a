// Requests with a fixed payload, routes, log lines, and the LTL manager's requests and answers.
#include "null_platform.h"
#include "operation.h"
#include "versions/versions.h"

#include <kyt.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <iterator>

namespace bench {

namespace {

constexpr std::uint32_t queue = 7;
constexpr std::uint32_t source = 0x0a0a400a, group = 0xe8400101;
constexpr std::uint8_t v6_source[16] = {0x20, 1, 0x0d, 0xb8}, v6_group[16] = {0xff, 0x0e};

kyt_msg_ref reference;
std::uint32_t context;

// A call without anything to prepare.
template <typename Call, typename Once>
void add(operations &table, const char *name, const versions<Call> &calls, Once once) {
    operation op;
    op.name = name;
    table.push_back(with(std::move(op), calls, once));
}

struct registration {
    decltype(&vell_register) join;
    decltype(&vell_register_ack) acknowledge;
    decltype(&vell_deregister) leave;
};
constexpr registration vell_registration = {vell_register, vell_register_ack, vell_deregister};
constexpr registration floor_registration = {floor_register, floor_register_ack, floor_deregister};

void add_registration(operations &table) {
    add(table, "empty call", versions(vell_send_igmp_snoop_update, floor_send_igmp_snoop_update),
        [](auto &call, unsigned) { return call(); });
    // Begins and ends registered.
    add(table, "deregister, register and acknowledge",
        versions(&vell_registration, &floor_registration), [](auto &calls, unsigned) {
            return calls.leave() + calls.join(queue, 5, "/bench") + calls.acknowledge(nullptr);
        });
}

struct route_calls {
    decltype(&vell_mrib_add_oifs_begin) begin;
    decltype(&vell_mrib_add_reg_oif) add;
    decltype(&vell_mrib_add_oifs_end) end;
    decltype(&vell_send_v4_mroute_update) send;
};
constexpr route_calls vell_route = {vell_mrib_add_oifs_begin, vell_mrib_add_reg_oif,
                                    vell_mrib_add_oifs_end, vell_send_v4_mroute_update};
constexpr route_calls floor_route = {floor_mrib_add_oifs_begin, floor_mrib_add_reg_oif,
                                     floor_mrib_add_oifs_end, floor_send_v4_mroute_update};

// One route of a message, with room for the head of its list.
struct VELL_RECORD route_message {
    vell_mrib_message head;
    vell_mrib_route route;
    std::uint8_t tlvs[8];
};
route_message message;

std::uint32_t send_route(const route_calls &calls, std::uint32_t oifs) {
    calls.begin();
    for (std::uint32_t i = 0; i < oifs; ++i)
        calls.add(0x1a000000 + i);
    calls.end(&message.route);
    return calls.send(&message, sizeof(message), 1, 0, &reference);
}

void add_routes(operations &table) {
    table.push_back(with(
        operation{
            .name = "route send", .target = 1.05, .target_of = floor_version, .guarded = true},
        versions(vell_send_v4_mroute_update, floor_send_v4_mroute_update),
        [](auto &send, unsigned) { return send(&message, sizeof(message), 1, 0, &reference); }));
    for (const std::uint32_t oifs : {1U, 8U, 64U, 512U, 2048U, 8191U})
        table.push_back(with(operation{.name = "route, begin to send",
                                       .size = oifs,
                                       .unit = "OIF",
                                       .batch = std::max(8000 / oifs, 1U),
                                       .on_curve = oifs != 8 && oifs != 64},
                             versions(&vell_route, &floor_route),
                             [oifs](auto &calls, unsigned) { return send_route(calls, oifs); }));
    add(table, "IPv6 route notice",
        versions(vell_send_v6_mroute_update, floor_send_v6_mroute_update),
        [](auto &send, unsigned) { return send(1, 2, 3); });
    add(table, "dux role",
        versions(vell_mrib_send_dux_role_update, floor_mrib_send_dux_role_update),
        [](auto &send, unsigned) { return send(vell_dux_role_forward_even); });
}

void add_statistics(operations &table) {
    table.push_back(with(
        operation{
            .name = "IPv4 statistics", .target = 1.05, .target_of = floor_version, .guarded = true},
        versions(vell_send_v4_mroute_stats_req, floor_send_v4_mroute_stats_req),
        [](auto &send, unsigned) { return send(1, source, 32, group, 32, 0); }));
    add(table, "IPv4 statistics clear",
        versions(vell_send_v4_mroute_clear_req, floor_send_v4_mroute_clear_req),
        [](auto &send, unsigned) { return send(1, source, 32, group, 32); });
    add(table, "IPv6 statistics",
        versions(vell_send_v6_mroute_stats_req, floor_send_v6_mroute_stats_req),
        [](auto &send, unsigned) { return send(1, v6_source, 128, v6_group, 128); });
    add(table, "IPv6 statistics clear",
        versions(vell_send_v6_mroute_clear_req, floor_send_v6_mroute_clear_req),
        [](auto &send, unsigned) { return send(1, v6_source, 128, v6_group, 128); });
}

void add_notifications(operations &table) {
    static vell_zeb_message overlay[4] = {{0, sizeof(overlay)}, {}, {}, {}};
    add(table, "out-of-band marker",
        versions(vell_send_igmp_oob_notification, floor_send_igmp_oob_notification),
        [](auto &send, unsigned) { return send(1); });
    add(table, "download complete",
        versions(vell_send_igmp_download_complete, floor_send_igmp_download_complete),
        [](auto &send, unsigned) { return send(); });
    add(table, "overlay feature disable",
        versions(vell_send_zeb_feature_disable, floor_send_zeb_feature_disable),
        [](auto &send, unsigned) { return send(queue, 0); });
    add(table, "overlay VLANs disable",
        versions(vell_send_zeb_vlans_disable, floor_send_zeb_vlans_disable),
        [](auto &send, unsigned) { return send(queue, overlay); });
    add(table, "overlay route update",
        versions(vell_send_zeb_route_update, floor_send_zeb_route_update),
        [](auto &send, unsigned) { return send(queue, overlay, &reference); });
}

// The two lines are reached as clients have them written. The error is that of a sender without a
// client. The traces are those of a delta of removed interfaces: a line for each, and two more.
void add_log_lines(operations &table) {
    constexpr std::uint32_t removed = 256;
    static std::array<vell_l2_oif, removed> was;
    static struct {
        vell_flood_delta head;
        vell_flood_update updates[removed];
    } delta;
    for (std::uint32_t i = 0; i < removed; ++i)
        was[i].value.if_index = 0x1a000000 + i;

    for (const bool open : {true, false}) {
        table.push_back(with(operation{.name = "log line, error without values",
                                       .target = open ? 0.18 : 0.28,
                                       .history_open = open,
                                       .registered = false},
                             versions(vell_send_v6_mroute_update, floor_send_v6_mroute_update,
                                      plain_send_v6_mroute_update),
                             [](auto &send, unsigned) { return send(1, 2, 3); }));
        table.push_back(with(
            operation{.name = "log line, trace with two numbers",
                      .repeats = removed + 2,
                      .batch = 10,
                      .target = open ? 0.18 : 0.28,
                      .history_open = open,
                      .guarded = true},
            versions(vell_find_oiflist_delta, floor_find_oiflist_delta, plain_find_oiflist_delta),
            [](auto &find, unsigned) {
                return find(was.data(), removed, nullptr, 0, &delta.head);
            }));
    }
}

void add_ltl(operations &table) {
    constexpr std::uint32_t interfaces = 64;
    static std::uint32_t if_indexes[interfaces];
    std::generate(std::begin(if_indexes), std::end(if_indexes),
                  [i = 0x1a000000U]() mutable { return i++; });
    const auto send_list = [](auto &send, unsigned) {
        return send(10, interfaces, if_indexes, 20, 30);
    };
    const auto read = [](auto &handle, unsigned) {
        std::uint32_t result1 = 0, result2 = 0;
        return static_cast<std::uint32_t>(handle(nullptr, &result1, &result2)) + result1 + result2;
    };
    const operation list = {.name = "", .size = interfaces, .unit = "interface"};
    operation alloc = list, modify = list;
    alloc.name = "LTL allocation";
    modify.name = "LTL modification";
    table.push_back(with(std::move(alloc),
                         versions(vell_nerb_l2_ltl_alloc, floor_nerb_l2_ltl_alloc), send_list));
    table.push_back(with(std::move(modify),
                         versions(vell_nerb_l2_ltl_modify, floor_nerb_l2_ltl_modify), send_list));
    add(table, "LTL release", versions(vell_nerb_l2_ltl_dealloc, floor_nerb_l2_ltl_dealloc),
        [](auto &send, unsigned) { return send(10, 20, 30); });
    table.push_back(
        with(operation{.name = "LTL answer", .restore = [] { null_platform::answer_entries = 1; }},
             versions(vell_nerb_handle_l2_response, floor_nerb_handle_l2_response), read));
    add(table, "LTL allocation's answer",
        versions(vell_nerb_handle_l2_alloc_response, floor_nerb_handle_l2_alloc_response), read);
}

// What the answer is turned into is the caller's, who frees it.
std::uint32_t read_flood_answer(decltype(vell_handle_l2_mc_update_flood_ltl_resp) &read,
                                std::uint32_t vlans) {
    std::uint8_t *result = nullptr;
    const std::uint32_t done = read(&context, &result);
    if (null_platform::recording) [[unlikely]]
        null_platform::record(result, sizeof(vell_l2_message) + vlans * sizeof(vell_flood_result));
    std::free(result);
    return done;
}

void add_flood_answers(operations &table) {
    for (std::uint32_t i = 0; i < null_platform::most_answer_entries; ++i)
        null_platform::answer[i] = {{i + 1, 0, 0, 0}};
    for (const std::uint32_t vlans : {1U, 8U, 64U, 512U, 2048U, 4095U})
        table.push_back(with(operation{.name = "flood answer",
                                       .size = vlans,
                                       .unit = "VLAN",
                                       .batch = std::max(1000 / vlans, 1U),
                                       .restore = [=] { null_platform::answer_entries = vlans; },
                                       .on_curve = vlans != null_platform::most_answer_entries},
                             versions(vell_handle_l2_mc_update_flood_ltl_resp,
                                      floor_handle_l2_mc_update_flood_ltl_resp),
                             [=](auto &read, unsigned) { return read_flood_answer(read, vlans); }));
}

} // namespace

void add_requests(operations &table) {
    add_registration(table);
    add_routes(table);
    add_statistics(table);
    add_notifications(table);
    add_log_lines(table);
    add_ltl(table);
    add_flood_answers(table);
}

} // namespace bench
