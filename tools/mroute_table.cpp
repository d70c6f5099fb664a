#include "mroute_table.h"

#include "address.h"
#include "input_error.h"
#include "json_input.h"
#include "printable.h"

#include <charconv>
#include <fmt/format.h>
#include <limits>
#include <nlohmann/json.hpp>
#include <string_view>

namespace feed {

namespace {

constexpr char producer[] = "`ip -j mroute show`";

// What `ip` writes where an interface name would be when the kernel names no interface.
constexpr char no_interface[] = "unresolved";

std::uint32_t parse_address(const json_view &view, std::string_view expected) {
    const std::string &text = view.string(expected);
    if (const auto address = parse_ipv4(text))
        return *address;
    if (text.find(':') != std::string::npos) {
        view.fail(fmt::format(
            "{} is an IPv6 address; a route record carries IPv4 only: record the table with "
            "`ip -4 -j mroute show`",
            in_quotes(text)));
    }
    view.reject(expected);
}

std::uint32_t parse_source(const json_view &entry) {
    constexpr char expected[] = "the source, an IPv4 address";
    const json_view view = entry.member("src", expected);
    const std::uint32_t source = parse_address(view, expected);
    if (is_multicast(source))
        view.fail(fmt::format("the source {} is a multicast group", ipv4_text(source)));
    return source;
}

// The kernel takes 0.0.0.0 for "any group", in an entry for any source only.
std::uint32_t parse_group(const json_view &entry, std::uint32_t source) {
    constexpr char expected[] = "the group, an IPv4 multicast address";
    const json_view view = entry.member("dst", expected);
    const std::uint32_t group = parse_address(view, expected);
    if (!is_multicast(group) && !(group == 0 && source == 0))
        view.fail(
            fmt::format("the group {} is not a multicast address (224.0.0.0/4)", ipv4_text(group)));
    return group;
}

const std::string &parse_interface(const json_view &view) {
    constexpr char expected[] = "the name of an interface";
    const std::string &name = view.string(expected);
    if (name.empty())
        view.reject(expected);
    return name;
}

mroute_oif parse_oif(const json_view &view) {
    view.expect_object("an outgoing interface, an object with \"oif\"");
    mroute_oif oif;
    oif.name = parse_interface(view.member("oif", "the name of an interface"));
    if (const auto ttl = view.find("ttl"))
        oif.ttl = ttl->number(1, 255, "a TTL threshold");
    return oif;
}

std::vector<mroute_oif> parse_oifs(const json_view &entry) {
    std::vector<mroute_oif> oifs;
    const auto multipath = entry.find("multipath");
    if (!multipath)
        return oifs;
    for (const json_view &view : multipath->elements("an array of outgoing interfaces"))
        oifs.push_back(parse_oif(view));
    return oifs;
}

std::uint32_t parse_table_text(const json_view &view, const std::string &text) {
    if (text == "default")
        return 253;
    if (text == "main")
        return 254;
    if (text == "local")
        return 255;
    std::uint32_t number = 0;
    const char *end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, number);
    if (result.ec == std::errc() && result.ptr == end && number > 0)
        return number;
    if (!text.empty() && text.find_first_not_of("0123456789") == std::string::npos)
        view.reject("a table number from 1 to 4294967295");
    view.fail(fmt::format("the table name {} is none of default, main and local; `ip -N -j mroute "
                          "show table all` prints "
                          "numbers for names of /etc/iproute2/rt_tables",
                          in_quotes(text)));
}

std::optional<std::uint32_t> parse_table(const json_view &entry) {
    const auto view = entry.find("table");
    if (!view)
        return std::nullopt;
    if (view->value().is_number())
        return view->number(1, std::numeric_limits<std::uint32_t>::max(), "a table number");
    return parse_table_text(*view, view->string("the name or the number of a table, a string"));
}

bool is_unresolved(const json_view &entry) {
    constexpr char expected[] = "\"resolved\" or \"unresolved\"";
    const auto state = entry.find("state");
    if (!state)
        return false;
    const std::string &text = state->string(expected);
    if (text != "resolved" && text != "unresolved")
        state->reject(expected);
    return text == "unresolved";
}

mroute_entry parse_entry(const json_view &view) {
    view.expect_object("a multicast route, an object");
    mroute_entry entry;
    entry.source = parse_source(view);
    entry.group = parse_group(view, entry.source);
    entry.table = parse_table(view);
    entry.oifs = parse_oifs(view);
    if (is_unresolved(view)) {
        entry.state = mroute_state::unresolved;
        return entry;
    }
    entry.iif = parse_interface(view.member("iif", "the incoming interface"));
    if (entry.iif == no_interface) {
        entry.iif.clear();
        entry.state = mroute_state::interface_gone;
    }
    return entry;
}

} // namespace

std::string mroute_table::place(std::size_t entry, const std::string &pointer) const {
    return fmt::format("{}: entry {} of {} (/{}{})", name, entry + 1, entries.size(), entry,
                       pointer);
}

mroute_table parse_mroute_table(const text_input &input) {
    const json_document document = parse_json(input, producer);
    mroute_table table{input.name, {}};
    const auto views = json_view(document).elements(
        fmt::format("an array of multicast routes, the output of {}", producer));
    table.entries.reserve(views.size());
    for (const json_view &view : views)
        table.entries.push_back(parse_entry(view));
    return table;
}

} // namespace feed
