#include "feed/failure.h"
#include "feed/kernel.h"

#include <algorithm>
#include <charconv>
#include <fmt/format.h>
#include <limits>

namespace feed {

namespace {

// What `ip` writes for an interface that the kernel does not name.
constexpr char no_interface[] = "unresolved";
constexpr std::uint32_t default_table = 253;

// The list's length is a 16-bit number of bytes: 4 for the count and 8 for each interface.
constexpr std::size_t most_oifs = (0xffff - 4) / 8;

bool is_multicast(std::uint32_t address) {
    return address >> 28 == 0xe;
}

std::uint32_t read_address(const json_view &view, std::string_view expected) {
    const std::string &text = view.string(expected);
    const auto address = sim::parse_ipv4(text);
    if (!address && text.find(':') != text.npos) {
        view.fail(fmt::format("{} is an IPv6 address; a route record carries IPv4 only: record the "
                              "table with `ip -4 -j mroute show table all`",
                              in_quotes(text)));
    }
    if (!address) {
        view.reject(expected);
    }
    return *address;
}

std::uint32_t read_source(const json_view &row) {
    constexpr char expected[] = "the source, an IPv4 address";
    const json_view view = row.member("src", expected);
    const std::uint32_t source = read_address(view, expected);
    if (is_multicast(source)) {
        view.fail(fmt::format("the source {} is a multicast group", sim::ipv4_text(source)));
    }
    return source;
}

// The kernel takes 0.0.0.0 for any group, in an entry for any source only.
std::uint32_t read_group(const json_view &row, std::uint32_t source) {
    constexpr char expected[] = "the group, an IPv4 multicast address";
    const json_view view = row.member("dst", expected);
    const std::uint32_t group = read_address(view, expected);
    if (!is_multicast(group) && (group != 0 || source != 0)) {
        view.fail(fmt::format("the group {} is not a multicast address (224.0.0.0/4)",
                              sim::ipv4_text(group)));
    }
    return group;
}

std::uint32_t read_table_text(const json_view &view, const std::string &text) {
    constexpr std::pair<std::string_view, std::uint32_t> names[] = {
        {"default", default_table}, {"main", 254}, {"local", 255}};
    for (const auto &[name, number] : names) {
        if (text == name) {
            return number;
        }
    }
    std::uint32_t number = 0;
    const char *end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, number);
    if (result.ec == std::errc() && result.ptr == end && number > 0) {
        return number;
    }
    if (!text.empty() && text.find_first_not_of("0123456789") == text.npos) {
        view.reject("a table number from 1 to 4294967295");
    }
    view.fail(fmt::format("the table name {} is none of default, main and local; `ip -N -j mroute "
                          "show table all` prints numbers for names of /etc/iproute2/rt_tables",
                          in_quotes(text)));
}

// `ip` names the table only when it is asked for more than one.
std::uint32_t read_table(const json_view &row) {
    const auto view = row.find("table");
    if (!view) {
        return default_table;
    }
    return view->is_number()
               ? view->number(1, std::numeric_limits<std::uint32_t>::max(), "a table number")
               : read_table_text(*view,
                                 view->string("the name or the number of a table, a string"));
}

std::uint32_t number_of(planning &now, const json_view &view, const std::string &name) {
    return number_or_fail(now.numbers, name, [&](const char *what) { view.fail(what); });
}

struct kernel_oif {
    json_view name;
    bool has_threshold;
};

// Of entries that are left out, too: what is not a table is not one in part.
std::vector<kernel_oif> read_oifs(const json_view &row) {
    std::vector<kernel_oif> oifs;
    const auto multipath = row.find("multipath");
    if (!multipath) {
        return oifs;
    }
    for (const json_view &view : multipath->elements("an array of outgoing interfaces")) {
        constexpr char expected[] = "the name of an interface";
        view.expect_object("an outgoing interface, an object with \"oif\"");
        read_name(view, "oif", expected);
        const auto ttl = view.find("ttl");
        oifs.push_back(
            {view.member("oif", expected), ttl && ttl->number(1, 255, "a TTL threshold") > 1});
    }
    if (oifs.size() > most_oifs) {
        multipath->fail(fmt::format("{} outgoing interfaces; a route record holds up to {}",
                                    oifs.size(), most_oifs));
    }
    return oifs;
}

std::vector<std::uint32_t> number_oifs(planning &now, const std::vector<kernel_oif> &oifs) {
    std::vector<std::uint32_t> numbers;
    numbers.reserve(oifs.size());
    for (const kernel_oif &oif : oifs) {
        numbers.push_back(number_of(now, oif.name, oif.name.string("")));
        now.made.without.ttl_thresholds += oif.has_threshold ? 1 : 0;
    }
    std::vector<std::uint32_t> sorted = numbers;
    std::ranges::sort(sorted);
    if (const auto twice = std::ranges::adjacent_find(sorted); twice != sorted.end()) {
        const auto second =
            std::ranges::find(std::ranges::find(numbers, *twice) + 1, numbers.end(), *twice);
        const json_view &name = oifs[static_cast<std::size_t>(second - numbers.begin())].name;
        name.fail(fmt::format("the outgoing interface {} is already in the list",
                              in_quotes(name.string(""))));
    }
    return numbers;
}

void add_route(planning &now, const json_view &row) {
    constexpr char expected[] = "the name of an interface";
    row.expect_object("a multicast route, an object");
    const std::uint32_t source = read_source(row);
    const std::uint32_t group = read_group(row, source);
    const route_key key = {read_table(row), source, static_cast<std::uint8_t>(source == 0 ? 0 : 32),
                           group, static_cast<std::uint8_t>(group == 0 ? 0 : 32)};
    const std::vector<kernel_oif> oifs = read_oifs(row);
    const auto state = row.find("state");
    if (state && !is_first(*state, "resolved", "unresolved")) {
        ++now.made.without.unresolved_routes;
        return;
    }
    const json_view iif = row.member("iif", "the incoming interface");
    const std::string &iif_name = iif.string(expected);
    if (iif_name.empty()) {
        iif.reject(expected);
    }
    if (iif_name == no_interface) {
        ++now.made.without.routes_without_iif;
        return;
    }
    route made;
    made.rpf_if = number_of(now, iif, iif_name);
    made.oifs = number_oifs(now, oifs);
    made.flags = (made.oifs.empty() ? route_flag_drop : 0) |
                 (group >> 8 == 0xe00000 ? route_flag_local_group : 0) |
                 (source == 0 ? route_flag_wildcard : 0);
    if (!now.made.wanted.routes.try_emplace(key, std::move(made)).second) {
        row.fail(
            fmt::format("{} is in an earlier entry already; the service distinguishes routes by "
                        "table, source and group",
                        key_text(key)));
    }
}

} // namespace

void plan_routes(planning &now) {
    now.made.said.routes =
        now.tables.read("routes.json", [&](const json_view &row) { add_route(now, row); })
            .has_value();
}

} // namespace feed
