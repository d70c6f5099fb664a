#include "bridge_mdb.h"

#include "input_error.h"
#include "json_input.h"
#include "printable.h"
#include "vlan.h"

#include <algorithm>
#include <fmt/format.h>
#include <limits>
#include <string_view>

namespace feed {

namespace {

constexpr char producer[] = "`bridge -j -d mdb show`";

constexpr std::uint32_t largest_index = std::numeric_limits<std::int32_t>::max();
const std::string &parse_name(const json_view &entry, const char *key, std::string_view expected) {
    const json_view view = entry.member(key, expected);
    const std::string &name = view.string(expected);
    if (name.empty())
        view.reject(expected);
    return name;
}

net_address parse_group(const json_view &entry) {
    constexpr char expected[] = "the group, an IPv4, IPv6 or MAC address";
    const json_view view = entry.member("grp", expected);
    const auto group = parse_net_address(view.string(expected));
    if (!group)
        view.reject(expected);
    if (!is_multicast(*group))
        view.fail(fmt::format("the group {} is not a multicast address", address_text(*group)));
    return *group;
}

std::optional<net_address> parse_source(const json_view &entry, const net_address &group) {
    const auto view = entry.find("src");
    if (!view)
        return std::nullopt;
    if (group.kind == address_kind::mac)
        view->fail("a MAC group has no source");
    const char *expected = group.kind == address_kind::ipv4
                               ? "the source, an IPv4 address as the group is"
                               : "the source, an IPv6 address as the group is";
    const auto source = parse_ip(view->string(expected));
    if (!source || source->kind != group.kind)
        view->reject(expected);
    // Any source is said by leaving it away.
    if (is_multicast(*source) || is_any(*source))
        view->fail(
            fmt::format("the source {} is not the address of a host", address_text(*source)));
    return source;
}

bool parse_permanence(const json_view &entry) {
    constexpr char expected[] = "\"permanent\" or \"temp\"";
    const json_view view = entry.member("state", expected);
    const std::string &state = view.string(expected);
    if (state != "permanent" && state != "temp")
        view.reject(expected);
    return state == "permanent";
}

bool is_blocked(const json_view &entry) {
    const auto flags = entry.find("flags");
    if (!flags)
        return false;
    bool blocked = false;
    for (const json_view &flag : flags->elements("an array of flags"))
        blocked = flag.string("the name of a flag") == "blocked" || blocked;
    return blocked;
}

// Without a source, a port in this mode is there for its list of sources, which have entries of
// their own.
bool takes_listed_sources_only(const json_view &entry, const mdb_entry &parsed) {
    constexpr char expected[] = "\"include\" or \"exclude\"";
    const auto mode = entry.find("filter_mode");
    if (!mode)
        return false;
    const std::string &text = mode->string(expected);
    if (text != "include" && text != "exclude")
        mode->reject(expected);
    return text == "include" && !parsed.source;
}

mdb_entry parse_entry(const json_view &view) {
    mdb_entry entry;
    entry.label = view.entry();
    entry.pointer = view.pointer();
    entry.bridge = parse_name(view, "dev", "the bridge's name");
    entry.bridge_index =
        view.member("index", "the bridge's index").number(1, largest_index, "an interface index");
    entry.port = parse_name(view, "port", "the port's name");
    if (const auto remote = view.find("dst"))
        remote->fail("is the far end of a tunnel; a layer-2 entry has ports only: leave the bridge "
                     "out with --bridge");
    entry.group = parse_group(view);
    entry.source = parse_source(view, entry.group);
    if (const auto vid = view.find("vid"))
        entry.vid = vid->number(1, largest_vlan, "a VLAN id");
    entry.permanent = parse_permanence(view);
    entry.forwards = !is_blocked(view) && !takes_listed_sources_only(view, entry);
    return entry;
}

class mdb_parser {
public:
    mdb_parser(const std::string &name, const std::set<std::string> &bridges) : bridges_(bridges) {
        table_.name = name;
    }

    void add(const json_view &database) {
        database.expect_object("the databases, an object with \"mdb\"");
        constexpr char expected[] = "an array of entries";
        for (const json_view &view : database.member("mdb", expected).entries(expected))
            add_entry(view);
        if (const auto router = database.find("router")) {
            for (const auto &[bridge, ports] :
                 router->members("the bridges' router ports, an object"))
                add_router_ports(bridge, ports);
        }
    }

    mdb_table take() { return std::move(table_); }

private:
    bool is_wanted(const std::string &bridge) const {
        return bridges_.empty() || bridges_.contains(bridge);
    }

    void add_entry(const json_view &view) {
        view.expect_object("an entry, an object");
        const std::string &bridge = parse_name(view, "dev", "the bridge's name");
        table_.bridges.insert(bridge);
        if (is_wanted(bridge))
            table_.entries.push_back(parse_entry(view));
        else
            ++table_.other_bridges;
    }

    void add_router_ports(const std::string &bridge, const json_view &ports) {
        const std::size_t count = ports.elements("an array of router ports").size();
        table_.bridges.insert(bridge);
        table_.router_ports += is_wanted(bridge) ? count : 0;
    }

    const std::set<std::string> &bridges_;
    mdb_table table_;
};

} // namespace

std::string mdb_table::place(const mdb_entry &entry, const std::string &pointer) const {
    return fmt::format("{}: {} ({}{})", name, entry.label, entry.pointer, pointer);
}

mdb_table parse_mdb(const text_input &input, const std::set<std::string> &bridges) {
    const json_document document = parse_json(input, producer);
    mdb_parser parser(input.name, bridges);
    for (const json_view &database : json_view(document).elements(
             fmt::format("an array with the databases, the output of {}", producer)))
        parser.add(database);
    return parser.take();
}

} // namespace feed
