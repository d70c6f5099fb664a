#include "held_routes.h"

#include "address.h"
#include "held_list.h"

#include <algorithm>
#include <charconv>

namespace feed {

namespace {

constexpr held_table table = {"routes", "routes"};

std::uint32_t parse_address(const json_view &route, const char *key) {
    constexpr char expected[] = "an IPv4 address";
    const json_view view = route.member(key, expected);
    const auto address = parse_ipv4(view.string(expected));
    if (!address)
        view.reject(expected);
    return *address;
}

route_key parse_key(const json_view &route) {
    route_key key;
    key.table = held_number(route, "table");
    key.source = parse_address(route, "source");
    key.source_length = static_cast<std::uint8_t>(held_number(route, "source_len", 32));
    key.group = parse_address(route, "group");
    key.group_length = static_cast<std::uint8_t>(held_number(route, "group_len", 32));
    return key;
}

std::vector<std::string> parse_flags(const json_view &route) {
    std::vector<std::string> flags;
    for (const json_view &flag :
         route.member("flags", "an array of names").elements("an array of names"))
        flags.push_back(flag.string("the name of a flag"));
    std::sort(flags.begin(), flags.end());
    return flags;
}

std::uint64_t parse_flags_word(const json_view &route) {
    constexpr char expected[] = "the flag word, a string like \"0x80\"";
    const json_view view = route.member("flags_word", expected);
    const std::string &text = view.string(expected);
    if (!text.starts_with("0x"))
        view.reject(expected);
    std::uint64_t word = 0;
    const char *end = text.data() + text.size();
    const auto result = std::from_chars(text.data() + 2, end, word, 16);
    if (result.ec != std::errc() || result.ptr != end)
        view.reject(expected);
    return word;
}

std::vector<held_oif> parse_oifs(const json_view &route) {
    std::vector<held_oif> oifs;
    constexpr char expected[] = "an array of outgoing interfaces";
    for (const json_view &oif : route.member("oifs", expected).elements(expected))
        oifs.push_back({held_number(oif, "if_index"), held_number(oif, "kind")});
    return oifs;
}

std::size_t count_entries(const json_view &route, const char *key) {
    constexpr char expected[] = "an array of encapsulations";
    return route.member(key, expected).elements(expected).size();
}

held_route parse_route(const json_view &view) {
    view.expect_object("a route, an object");
    held_route route;
    route.key = parse_key(view);
    route.opcode = held_number(view, "opcode");
    route.flags = parse_flags(view);
    route.flags_word = parse_flags_word(view);
    route.epoch = held_number(view, "epoch");
    route.rpf_if = held_number(view, "rpf_if");
    route.df_ordinal = held_number(view, "df_ordinal");
    route.oifs = parse_oifs(view);
    route.mti = count_entries(view, "mti");
    route.glt = count_entries(view, "glt");
    return route;
}

} // namespace

std::vector<held_route> parse_held_routes(const text_input &input) {
    const json_document document = parse_held(input, table);
    return parse_held_list(held_rows(document, table), parse_route);
}

} // namespace feed
