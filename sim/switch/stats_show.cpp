// `show stats` and `vellsim count`.
#include "sim/base/text.h"
#include "sim/switch/answer.h"
#include "sim/switch/limits.h"
#include "sim/switch/service.h"

#include <iterator>
#include <optional>

namespace sim {

namespace {

std::string key_text(const counter_key &key) {
    return sg_text(key.source, key.source_length, key.group, key.group_length);
}

void print_key(output &out, const counter_key &key) {
    out.json("table", key.table);
    out.json("family", kind_name(key.group.kind));
    out.json("source", address_text(key.source));
    out.json("source_len", key.source_length);
    out.json("group", address_text(key.group));
    out.json("group_len", key.group_length);
    out.text("{} in table {}", key_text(key), key.table);
}

// The route is on a line of its own: two IPv6 addresses leave no room for counters beside them.
void print_counters(output &out, const counter_key &key, const route_counters &counters) {
    out.open_object();
    print_key(out, key);
    out.field("packets", "\n{:>20}", counters.seen.packets);
    out.field("bytes", " {:>20}", counters.seen.bytes);
    out.field("wrong_if", " {:>15}", counters.seen.wrong_if);
    out.field("requests", " {:>11}", counters.requests);
    out.field("clears", " {:>8}\n", counters.clears);
    out.close_object();
}

// The first route after a counter key; no route comes after an IPv6 key in the same table.
auto route_after(const service &vell, const counter_key &key) {
    return vell.routes.upper_bound(
        key.group.kind == l2_address_kind::ipv4
            ? to_route_key(key)
            : route_key{key.table, UINT32_MAX, UINT32_MAX, UINT8_MAX, UINT8_MAX});
}

// Counters and routes that have none yet, in the order of their keys.
struct stats_walk {
    const service &vell;
    std::optional<std::uint64_t> table;
    std::optional<counter_key> last{};

    bool operator()(output &out, row_count &rows) {
        auto counted = last ? vell.counters.upper_bound(*last) : vell.counters.begin();
        auto route = last ? route_after(vell, *last) : vell.routes.begin();
        for (int i = 0; i < answer::rows_at_once && !answer::is_enough(out); ++i) {
            const bool has_counters = counted != vell.counters.end();
            const bool has_route = route != vell.routes.end();
            if (!has_counters && !has_route) {
                return true;
            }
            const counter_key of_route = has_route ? key_of(route->first) : counter_key{};
            const bool is_route = has_route && (!has_counters || of_route <= counted->first);
            const bool is_counted = has_counters && (!has_route || counted->first <= of_route);
            last = is_counted ? counted->first : of_route;
            print_row(out, rows, is_counted ? counted->second : route_counters());
            counted = is_counted ? std::next(counted) : counted;
            route = is_route ? std::next(route) : route;
        }
        return false;
    }

    void print_row(output &out, row_count &rows, const route_counters &counters) const {
        if ((!table || *table == last->table) && rows.take()) {
            print_counters(out, *last, counters);
        }
    }
};

struct counter_member {
    std::string_view name;
    std::uint64_t traffic::*value;
};
constexpr counter_member counter_members[] = {
    {"packets", &traffic::packets}, {"bytes", &traffic::bytes}, {"wrong_if", &traffic::wrong_if}};

template <typename... Values>
[[noreturn]] void refuse_count(fmt::format_string<Values...> format, Values &&...values) {
    throw wrong_question{"count: " + fmt::format(format, std::forward<Values>(values)...)};
}

std::uint8_t prefix_length(const question &asked, const char *name, const l2_address &address) {
    const std::uint64_t most = address.kind == l2_address_kind::ipv4 ? 32 : 128;
    const std::uint64_t length = asked.number(name).value_or(most);
    if (length > most) {
        refuse_count("{}: {} is above {}, the length of an {} address", name, length, most,
                     most == 32 ? "IPv4" : "IPv6");
    }
    return static_cast<std::uint8_t>(length);
}

counter_key counted_key(const question &asked) {
    constexpr std::uint64_t default_table = 253;
    counter_key key{.table =
                        static_cast<std::uint32_t>(asked.number("table").value_or(default_table)),
                    .group = asked.address("group").value(),
                    .source = asked.address("source").value()};
    if (key.source.kind != key.group.kind) {
        refuse_count("source: {} is not of the family of group {}", address_text(key.source),
                     address_text(key.group));
    }
    key.source_length = prefix_length(asked, "source_len", key.source);
    key.group_length = prefix_length(asked, "group_len", key.group);
    if (key.group_length > 0 && !is_multicast(key.group)) {
        refuse_count("group: {} is not multicast", address_text(key.group));
    }
    return key;
}

// Throws before anything is counted when one counter would overflow.
traffic sum_of(const traffic &seen, const question &asked) {
    traffic sum = seen;
    std::uint64_t all = 0;
    for (const auto &[name, value] : counter_members) {
        const std::uint64_t added = asked.number(name).value_or(0);
        if (added > UINT64_MAX - seen.*value) {
            refuse_count("{}: {} more than {} are more than 64 bits hold", name, added,
                         seen.*value);
        }
        sum.*value += added;
        all |= added;
    }
    if (all == 0) {
        refuse_count("nothing to count: give packets, bytes or wrong_if");
    }
    return sum;
}

void print_count(output &out, const counter_key &key, const route_counters &counters,
                 bool is_installed) {
    out.open_object();
    print_key(out, key);
    out.json("packets", counters.seen.packets);
    out.json("bytes", counters.seen.bytes);
    out.json("wrong_if", counters.seen.wrong_if);
    out.text(": {}, {}, {}\n", counted(counters.seen.packets, "packet"),
             counted(counters.seen.bytes, "byte"), counted(counters.seen.wrong_if, "RPF failure"));
    out.json("requests", counters.requests);
    out.json("clears", counters.clears);
    out.json("held", is_installed);
    // No IPv6 route is ever installed as a record.
    if (!is_installed && key.group.kind == l2_address_kind::ipv4) {
        out.text("No such route is installed; requests that name it will find its counters.\n");
    }
    out.close_object();
}

} // namespace

answer show_stats(service &vell, const question &asked) {
    answer made(asked);
    made.once([](output &out, row_count &) {
        out.text("{:>20} {:>20} {:>15} {:>11} {:>8}\n", "Packets", "Bytes", "RPF failures",
                 "Requests", "Clears");
        out.open_rows("stats");
    });
    made.add(stats_walk{vell, asked.number("table")});
    made.end_rows("route");
    return made;
}

answer count_traffic(service &vell, const question &asked) {
    const counter_key key = counted_key(asked);
    const auto kept = vell.counters.find(key);
    if (kept == vell.counters.end() && vell.counters.size() >= counter_limit) {
        refuse_count("the switch keeps {} counters, and no more", counter_limit);
    }
    route_counters counters = kept == vell.counters.end() ? route_counters{} : kept->second;
    counters.seen = sum_of(counters.seen, asked);
    counters.counted = true;
    vell.counters[key] = counters;
    answer made(asked);
    made.once([key, counters, is_installed = holds_route(vell, key)](output &out, row_count &rows) {
        rows.take();
        out.open_rows("count");
        print_count(out, key, counters, is_installed);
        out.close_list();
    });
    return made;
}

} // namespace sim
