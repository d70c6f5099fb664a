// The counters, and what requests do to them: layouts are drawn in stats.h.
#include "sim/switch/stats.h"

#include "sim/switch/byte_reader.h"
#include "sim/switch/request.h"
#include "sim/wire/frame.h"
#include "sim/wire/protocol.h"
#include "sim/wire/vell_sim.h"

#include <cstring>

namespace sim {

namespace {

struct statistics_request {
    counter_key key;
    bool clear = false;
};

std::uint8_t read_length(byte_reader &reader, std::string_view what, unsigned most) {
    const std::size_t offset = reader.offset();
    const std::uint8_t length = reader.u8(what);
    if (length > most) {
        refuse_at(offset, "{} {} is above {}", what, length, most);
    }
    return length;
}

l2_address read_ipv6(byte_reader &reader, std::string_view what) {
    l2_address address{l2_address_kind::ipv6};
    std::memcpy(address.bytes.data(), reader.take(address.bytes.size(), what).data(),
                address.bytes.size());
    return address;
}

// Of an IPv4 request only the statistics request says whether to clear; a clear request always
// does.
statistics_request decode(const request &asked) {
    const std::uint32_t opcode = asked.head.opcode;
    const bool is_ipv4 =
        opcode == VELL_SIM_OPCODE_IPV4_STATS || opcode == VELL_SIM_OPCODE_IPV4_CLEAR;
    const bool is_clear =
        opcode == VELL_SIM_OPCODE_IPV4_CLEAR || opcode == VELL_SIM_OPCODE_IPV6_CLEAR;
    require_length(asked.payload, !is_ipv4 ? 40 : is_clear ? 16 : 20);
    byte_reader reader(asked.payload);
    statistics_request decoded{.key = {}, .clear = is_clear};
    counter_key &key = decoded.key;
    key.table = reader.u32("table id");
    key.source_length = read_length(reader, "source prefix length", is_ipv4 ? 32 : 128);
    key.group_length = read_length(reader, "group prefix length", is_ipv4 ? 32 : 128);
    if (is_ipv4) {
        reader.skip(2, "reserved");
        key.source = ipv4_address(reader.u32("source"));
        key.group = ipv4_address(reader.u32("group"));
        decoded.clear = is_clear || reader.u32("clear") != 0;
    } else {
        key.source = read_ipv6(reader, "source");
        key.group = read_ipv6(reader, "group");
    }
    return decoded;
}

void write_address(const l2_address &address, std::uint8_t (&to)[16]) {
    if (address.kind == l2_address_kind::ipv4) {
        const std::uint32_t number = ipv4_number(address);
        std::memcpy(to, &number, sizeof number);
    } else {
        std::memcpy(to, address.bytes.data(), sizeof to);
    }
}

route_counters *find_counters(service &vell, const counter_key &key) {
    if (const auto found = vell.counters.find(key); found != vell.counters.end()) {
        return &found->second;
    }
    return holds_route(vell, key) ? &vell.counters[key] : nullptr;
}

vell_sim_stats look_up(service &vell, const statistics_request &wanted) {
    const counter_key &key = wanted.key;
    vell_sim_stats found{};
    found.table = key.table;
    found.source_length = key.source_length;
    found.group_length = key.group_length;
    found.family = key.group.kind == l2_address_kind::ipv4 ? 4 : 6;
    write_address(key.source, found.source);
    write_address(key.group, found.group);
    route_counters *counters = find_counters(vell, key);
    if (counters == nullptr) {
        found.status = VELL_SIM_NO_SUCH_ROUTE;
        return found;
    }
    found.cleared = wanted.clear ? 1 : 0;
    found.packets = counters->seen.packets;
    found.bytes = counters->seen.bytes;
    found.wrong_if = counters->seen.wrong_if;
    ++counters->requests;
    if (wanted.clear) {
        ++counters->clears;
        counters->seen = {};
    }
    return found;
}

} // namespace

counter_key key_of(const route_key &key) {
    return {.table = key.table,
            .group = ipv4_address(key.group),
            .source = ipv4_address(key.source),
            .source_length = key.source_length,
            .group_length = key.group_length};
}

route_key to_route_key(const counter_key &key) {
    return {.table = key.table,
            .group = ipv4_number(key.group),
            .source = ipv4_number(key.source),
            .source_length = key.source_length,
            .group_length = key.group_length};
}

void forget_uncounted(counter_table &counters, const route_key &gone) {
    const auto found = counters.find(key_of(gone));
    if (found != counters.end() && !found->second.counted) {
        counters.erase(found);
    }
}

bool holds_route(const service &vell, const counter_key &key) {
    return key.group.kind == l2_address_kind::ipv4 && vell.routes.contains(to_route_key(key));
}

void handle_statistics(request &asked) {
    const statistics_request wanted = decode(asked);
    require_registered(asked);
    const vell_sim_stats found = look_up(asked.vell, wanted);
    add_replies(
        asked.replies,
        message_frame(asked.head.sap, asked.head.opcode, std::as_bytes(std::span(&found, 1))),
        asked.vell.faults.answer);
}

} // namespace sim
