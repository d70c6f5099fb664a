#include "held_l2.h"

#include "held_list.h"
#include "input_error.h"
#include "json_input.h"

#include <algorithm>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace feed {

namespace {

constexpr char producer[] = "`vellsim show l2 --json`";

address_kind parse_kind(const json_view &entry) {
    constexpr char expected[] = "\"ipv4\", \"ipv6\" or \"mac\"";
    const json_view view = entry.member("kind", expected);
    const std::string &text = view.string(expected);
    for (const address_kind kind : {address_kind::ipv4, address_kind::ipv6, address_kind::mac}) {
        if (text == kind_name(kind))
            return kind;
    }
    view.reject(expected);
}

net_address parse_address(const json_view &view, address_kind kind) {
    const std::string expected = fmt::format("an address of kind {}", kind_name(kind));
    const auto address = parse_net_address(view.string(expected));
    if (!address || address->kind != kind)
        view.reject(expected);
    return *address;
}

l2_key parse_key(const json_view &entry) {
    const address_kind kind = parse_kind(entry);
    l2_key key;
    key.vlan = held_number(entry, "vlan");
    key.group = parse_address(entry.member("group", "an address"), kind);
    const json_view source = entry.member("source", "an address or null");
    if (!source.value().is_null())
        key.source = parse_address(source, kind);
    return key;
}

std::vector<l2_port> parse_ports(const json_view &entry) {
    std::vector<l2_port> ports;
    constexpr char expected[] = "an array of ports";
    for (const json_view &port : entry.member("ports", expected).elements(expected))
        ports.push_back({held_number(port, "if_index"), held_number(port, "flags")});
    std::sort(ports.begin(), ports.end());
    return ports;
}

l2_entry parse_entry(const json_view &view) {
    view.expect_object("a layer-2 entry, an object");
    constexpr char truth[] = "true or false";
    l2_entry entry;
    entry.key = parse_key(view);
    entry.bridge = held_number(view, "bridge");
    entry.permanent = view.member("permanent", truth).boolean(truth);
    entry.ports = parse_ports(view);
    return entry;
}

} // namespace

std::vector<l2_entry> parse_held_l2(const text_input &input) {
    const json_document document = parse_json(input, producer);
    const json_view root(document);
    root.expect_object(fmt::format("an object with \"l2\", the output of {}", producer));
    constexpr char expected[] = "an array of layer-2 entries";
    const json_view l2 = root.member("l2", "what is held");
    const std::vector<json_view> entries = l2.member("entries", expected).elements(expected);
    check_whole(root, "layer-2 entries", entries.size());
    return parse_held_list(entries, parse_entry);
}

} // namespace feed
