#include "client/client_state.h"
#include "client/log.h"
#include "client/transport.h"

#include <kyt.h>
#include <qarnutils.h>
#include <vell.h>

#include <cstddef>
#include <cstdint>

namespace vell {

namespace {

struct ipv4_route_key {
    std::uint32_t table_id;
    std::uint8_t source_length;
    std::uint8_t group_length;
    std::uint8_t reserved[2];
    std::uint32_t source;
    std::uint32_t group;
};
static_assert(sizeof(ipv4_route_key) == 16 && offsetof(ipv4_route_key, source_length) == 4 &&
              offsetof(ipv4_route_key, group_length) == 5 &&
              offsetof(ipv4_route_key, source) == 8 && offsetof(ipv4_route_key, group) == 12);

struct ipv4_stats_request {
    ipv4_route_key route;
    std::uint32_t clear_counters;
};
static_assert(sizeof(ipv4_stats_request) == 20 &&
              offsetof(ipv4_stats_request, clear_counters) == 16);

// The addresses follow the mask lengths without a gap, at addresses that no wider access would
// suit.
struct ipv6_route_key {
    std::uint32_t table_id;
    std::uint8_t source_length;
    std::uint8_t group_length;
    std::uint8_t source[16];
    std::uint8_t group[16];
    std::uint8_t reserved[2];
};
static_assert(sizeof(ipv6_route_key) == 40 && offsetof(ipv6_route_key, source) == 6 &&
              offsetof(ipv6_route_key, group) == 22);

// What tells one of these requests from another in the log.
struct stats_sender {
    log_function function;
    log_line not_registered_line;
    log_line send_failed_line; // 0: a failed send is silent
};

constexpr stats_sender v4_stats = {"vell_send_v4_mroute_stats_req", 823, 847};
constexpr stats_sender v4_clear = {"vell_send_v4_mroute_clear_req", 941, 964};
constexpr stats_sender v6_stats = {"vell_send_v6_mroute_stats_req", 885, 0};
constexpr stats_sender v6_clear = {"vell_send_v6_mroute_clear_req", 999, 1022};

// Returns the refusal's result.
int refuse(const stats_sender &sender) {
    vell_log(log_error, sender.function, sender.not_registered_line,
             "%s(%d):ERROR: Client not registered\n");
    return 0;
}

// All senders report a failure with these words, the clear requests included.
void log_send_failure(const stats_sender &sender) {
    if (sender.send_failed_line.number != 0)
        vell_log(log_error, sender.function, sender.send_failed_line,
                 "%s(%d):ERROR: Send stat req to vell failed.. \n");
}

[[gnu::always_inline]] inline int send_ipv6_key(const stats_sender &sender,
                                                const service_request &request,
                                                std::uint32_t table_id, const void *source,
                                                std::uint8_t source_length, const void *group,
                                                std::uint8_t group_length) {
    if (!client_acknowledged())
        return refuse(sender);

    // Not cleared first: every byte is written here, and clearing would cost a fifth of the call.
    ipv6_route_key key;
    key.table_id = table_id;
    key.source_length = source_length;
    key.group_length = group_length;
    ipv6_addr_copy(source, key.source);
    ipv6_addr_copy(group, key.group);
    key.reserved[0] = key.reserved[1] = 0;
    if (!send_and_release(request, vell_client_q, &key, sizeof(key))) {
        log_send_failure(sender);
        return 0;
    }
    return 1;
}

} // namespace

} // namespace vell

using namespace vell;

int vell_send_v4_mroute_stats_req(std::uint32_t table_id, std::uint32_t source,
                                  std::uint8_t source_length, std::uint32_t group,
                                  std::uint8_t group_length, std::uint32_t clear_counters) {
    if (!client_acknowledged())
        return refuse(v4_stats);

    const ipv4_stats_request payload = {.route = {.table_id = table_id,
                                                  .source_length = source_length,
                                                  .group_length = group_length,
                                                  .reserved = {},
                                                  .source = source,
                                                  .group = group},
                                        .clear_counters = clear_counters};
    kyt_msg_ref reference;
    if (!send_request(request::ipv4_stats, vell_client_q, &payload, sizeof(payload), &reference)) {
        log_send_failure(v4_stats);
        return 0;
    }
    if (clear_counters != 0)
        vell_log(log_trace, v4_stats.function, 851,
                 "%s(%d):TRACE: %s: Sent Clear counters request\n", v4_stats.function.name);
    kyt_drop(vell_client_q, &reference);
    return 1;
}

int vell_send_v4_mroute_clear_req(std::uint32_t table_id, std::uint32_t source,
                                  std::uint8_t source_length, std::uint32_t group,
                                  std::uint8_t group_length) {
    if (!client_acknowledged())
        return refuse(v4_clear);

    const ipv4_route_key payload = {.table_id = table_id,
                                    .source_length = source_length,
                                    .group_length = group_length,
                                    .reserved = {},
                                    .source = source,
                                    .group = group};
    if (!send_and_release(request::ipv4_stats_clear, vell_client_q, &payload, sizeof(payload))) {
        log_send_failure(v4_clear);
        return 0;
    }
    return 1;
}

int vell_send_v6_mroute_stats_req(std::uint32_t table_id, const void *source,
                                  std::uint8_t source_length, const void *group,
                                  std::uint8_t group_length) {
    return send_ipv6_key(v6_stats, request::ipv6_stats, table_id, source, source_length, group,
                         group_length);
}

int vell_send_v6_mroute_clear_req(std::uint32_t table_id, const void *source,
                                  std::uint8_t source_length, const void *group,
                                  std::uint8_t group_length) {
    return send_ipv6_key(v6_clear, request::ipv6_stats_clear, table_id, source, source_length,
                         group, group_length);
}
