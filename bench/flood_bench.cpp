// What a flood update costs, against a plain version: the same merge, but with every list sorted
// whether it is in order or not, and two snprintf calls a trace.
//
// Both versions run in turn within each round, so that whatever else the machine does weighs on
// both alike, and the figures are medians over the rounds. Run it under callgrind with --once to
// count instructions instead.
#include "median.h"
#include "plain_log.h"

#include <nerb.h>
#include <qarnutils.h>
#include <vell.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string_view>
#include <vector>

// The platform's side, as light as can be, and the same for both versions.
static std::uint32_t checksum;

extern "C" {
std::uint32_t if_index_get_type(std::uint32_t, std::uint8_t *type) {
    *type = IF_INDEX_TYPE_PHY_ETH;
    return 0;
}
std::uint32_t if_index_phy_eth_get_fields(std::uint32_t if_index, std::uint8_t *slot,
                                          std::uint8_t *port, std::uint32_t *third) {
    *slot = static_cast<std::uint8_t>(if_index >> 12 & 31);
    *port = static_cast<std::uint8_t>(if_index);
    *third = 0;
    return 0;
}

// Adds up what it is sent, to see that both versions send the same.
std::uint32_t nerb_send_flood_ltl_update_req(std::uint32_t, const void *payload, void *) {
    const auto *words = static_cast<const std::uint32_t *>(payload);
    std::uint32_t sum = *words;
    for (std::uint32_t vlans = *words++; vlans != 0; --vlans) {
        const std::uint32_t size = 6 + 2 * words[5];
        for (std::uint32_t i = 0; i < size; ++i)
            sum = sum * 31 + words[i];
        words += size;
    }
    checksum = sum;
    return 0;
}
}

std::uint8_t vell_client_id = 9;
std::uint32_t vell_client_q = 7;
std::uint32_t vell_client_uuid = 5;

namespace {

constexpr std::uint16_t vlans = 100;
constexpr std::uint32_t interfaces = 64;
constexpr std::size_t record_size = 80 + 32 * interfaces;
constexpr std::size_t first_record = 8;

// The plain version. It sends what the library sends, and traces what the library traces.
namespace plain {

template <typename... Values>
void trace(const char *function, int line, const char *marked, const char *unmarked,
           Values... values) {
    plain_log(104, function, line, marked, unmarked, values...);
}

int compare(const void *first, const void *second) {
    const std::uint32_t a = static_cast<const vell_l2_oif *>(first)->value.if_index;
    const std::uint32_t b = static_cast<const vell_l2_oif *>(second)->value.if_index;
    return a > b ? 1 : a < b ? -1 : 0;
}

void set_bit(vell_flood_delta *delta, std::uint32_t if_index) {
    std::uint8_t type, slot, port;
    std::uint32_t third;
    if (if_index_get_type(if_index, &type) == 0 && type == IF_INDEX_TYPE_PHY_ETH &&
        if_index_phy_eth_get_fields(if_index, &slot, &port, &third) == 0)
        delta->flc_bitmask |= 1U << slot % 32;
}

void merge(const vell_l2_vlan_record *was, const vell_l2_vlan_record *is, vell_flood_delta *delta) {
    const auto *const old_oifs = reinterpret_cast<const vell_l2_oif *>(was + 1);
    const auto *const new_oifs = reinterpret_cast<const vell_l2_oif *>(is + 1);
    auto *const updates = reinterpret_cast<vell_flood_update *>(delta + 1);
    std::uint32_t i = 0, j = 0, k = 0;
    while (i < was->count || j < is->count) {
        const std::uint32_t o = i < was->count ? old_oifs[i].value.if_index : 0xffffffff;
        const std::uint32_t u = j < is->count ? new_oifs[j].value.if_index : 0xffffffff;
        if (j == is->count || (i < was->count && o < u)) {
            updates[k++] = {o, vell_flood_removed};
            ++i;
            continue;
        }
        set_bit(delta, u);
        if (i < was->count && o == u)
            ++i;
        else
            updates[k++] = {u, vell_flood_added};
        ++j;
    }
    delta->update_count = k;
}

void trace_delta(const vell_flood_delta *delta) {
    static const char function[] = "vell_find_oiflist_delta";
    trace(function, 1201, "%s(%d):TRACE: FLC_BITMASK: 0x%x\n", "%s(%d):FLC_BITMASK: 0x%x\n",
          delta->flc_bitmask);
    trace(function, 1202, "%s(%d):TRACE: Update list:\n", "%s(%d):Update list:\n");
    const auto *const updates = reinterpret_cast<const vell_flood_update *>(delta + 1);
    for (std::uint32_t i = 0; i < delta->update_count; ++i)
        trace(function, 1206, "%s(%d):TRACE: IfIdx: %d Op: %d\n", "%s(%d):IfIdx: %d Op: %d\n",
              updates[i].if_index, updates[i].operation);
}

void send(std::uint8_t *was, std::uint8_t *is) {
    trace("vell_send_l2_mc_update_flood_ltl", 1304, "%s(%d):TRACE: Num of msgs %d\n",
          "%s(%d):Num of msgs %d\n", vlans);
    auto *const payload =
        static_cast<std::uint8_t *>(std::calloc(1, 4 + vlans * (24 + 2 * interfaces * 8)));
    const std::uint32_t count = vlans;
    std::memcpy(payload, &count, sizeof(count));
    auto *delta = reinterpret_cast<vell_flood_delta *>(payload + 4);
    for (std::size_t at = first_record; at < first_record + vlans * record_size;
         at += record_size) {
        auto *const old_record = reinterpret_cast<vell_l2_vlan_record *>(was + at);
        auto *const new_record = reinterpret_cast<vell_l2_vlan_record *>(is + at);
        delta->vlan = old_record->vlan;
        trace("vell_build_nerb_flood_ltl_pyld", 1244, "%s(%d):TRACE: Delta for vlan %d\n",
              "%s(%d):Delta for vlan %d\n", delta->vlan);
        std::qsort(old_record + 1, old_record->count, sizeof(vell_l2_oif), compare);
        std::qsort(new_record + 1, new_record->count, sizeof(vell_l2_oif), compare);
        merge(old_record, new_record, delta);
        trace_delta(delta);
        delta = reinterpret_cast<vell_flood_delta *>(
            reinterpret_cast<vell_flood_update *>(delta + 1) + delta->update_count);
    }
    nerb_send_flood_ltl_update_req(vell_client_q, payload, &records_seen);
    std::free(payload);
}

} // namespace plain

void fast_send(std::uint8_t *was, std::uint8_t *is) {
    if (vell_send_l2_mc_update_flood_ltl(was, 0, vlans, is, 0, vlans, &records_seen) != 1)
        std::abort();
}

using Sender = void (*)(std::uint8_t *was, std::uint8_t *is);
using Message = std::vector<std::uint8_t>;

struct Workload {
    const char *name;
    Message was;
    Message is;
};

// `changed` of the interfaces are others than in a message without changes.
Message message_of(std::uint32_t changed, bool shuffled) {
    std::mt19937 random(7);
    Message message(first_record + vlans * record_size);
    for (std::uint32_t vlan = 0; vlan < vlans; ++vlan) {
        auto *const record =
            reinterpret_cast<vell_l2_vlan_record *>(&message[first_record + vlan * record_size]);
        auto *const oifs = reinterpret_cast<vell_l2_oif *>(record + 1);
        record->vlan = vlan + 1;
        record->count = interfaces;
        for (std::uint32_t i = 0; i < interfaces; ++i) {
            const std::uint32_t other = i < changed * 10 && i % 10 == 0 ? 1 : 0;
            oifs[i].kind = vell_l2_oif_if_index;
            oifs[i].value.if_index = 0x1a000000 + i * 0x800 + other;
        }
        if (shuffled)
            std::shuffle(oifs, oifs + interfaces, random);
    }
    return message;
}

std::vector<Workload> workloads() {
    constexpr std::uint32_t tenth = interfaces / 10;
    return {{"unchanged", message_of(0, false), message_of(0, false)},
            {"10 % changed", message_of(0, false), message_of(tenth, false)},
            {"shuffled", message_of(tenth, true), message_of(tenth, true)}};
}

// The messages are sorted where they lie, so each send starts from a copy, which is not part of the
// time.
double microseconds_each(Sender send, const Workload &workload, unsigned count) {
    std::chrono::duration<double, std::micro> taken{};
    Message was, is;
    for (unsigned i = 0; i < count; ++i) {
        was = workload.was;
        is = workload.is;
        const auto start = std::chrono::steady_clock::now();
        send(was.data(), is.data());
        taken += std::chrono::steady_clock::now() - start;
    }
    return taken.count() / count;
}

bool sends_the_same(const Workload &workload) {
    microseconds_each(fast_send, workload, 1);
    const auto fast_checksum = checksum;
    microseconds_each(plain::send, workload, 1);
    return fast_checksum == checksum;
}

bool compare(const Workload &workload, bool history) {
    constexpr unsigned rounds = 31;
    constexpr unsigned sends = 10;
    history_takes_messages = history;
    if (!sends_the_same(workload)) {
        std::fprintf(stderr, "flood_bench: %s: the versions do not send the same\n", workload.name);
        return false;
    }
    std::vector<double> fast_times, plain_times, ratios;
    for (unsigned round = 0; round < rounds; ++round) {
        fast_times.push_back(microseconds_each(fast_send, workload, sends));
        plain_times.push_back(microseconds_each(plain::send, workload, sends));
        ratios.push_back(fast_times.back() / plain_times.back());
    }
    std::printf("%-16s  %-7s  %9.1f  %9.1f  %6.2f\n", workload.name, history ? "open" : "closed",
                median(fast_times), median(plain_times), median(ratios));
    return true;
}

// One update of each kind by one version, for an instruction count.
int run_once(std::string_view version) {
    const Sender send = version == "fast" ? fast_send : version == "plain" ? plain::send : nullptr;
    if (send == nullptr) {
        std::fprintf(stderr, "flood_bench: --once takes fast or plain\n");
        return 2;
    }
    for (const auto &workload : workloads())
        microseconds_each(send, workload, 1);
    return 0;
}

} // namespace

int main(int argc, char **argv) {
    if (argc == 3 && std::string_view(argv[1]) == "--once")
        return run_once(argv[2]);
    std::printf("%u VLANs of %u interfaces\n%-16s  %-7s  %9s  %9s  %6s\n", vlans, interfaces,
                "flood update", "history", "vell us", "plain us", "ratio");
    bool comparable = true;
    for (const bool history : {true, false})
        for (const auto &workload : workloads())
            comparable = compare(workload, history) && comparable;
    return comparable && records_seen != 0 ? 0 : 1;
}
