#include "bridge_ports.h"

#include "input_error.h"
#include "json_input.h"
#include "printable.h"

#include <fmt/format.h>
#include <limits>
#include <map>

namespace feed {

namespace {

constexpr char producer[] = "`bridge -j -d link show`";
constexpr std::uint32_t largest_index = std::numeric_limits<std::int32_t>::max();

const std::string &parse_name(const json_view &view, const char *expected) {
    const std::string &name = view.string(expected);
    if (name.empty())
        view.reject(expected);
    return name;
}

bool parse_flooding(const json_view &port) {
    constexpr char expected[] = "true or false; `bridge` prints it with -d only";
    return port.member("mcast_flood", expected).boolean(expected);
}

class port_parser {
public:
    port_parser(const std::string &name, const std::set<std::string> &bridges) : bridges_(bridges) {
        table_.name = name;
    }

    void add(const json_view &view) {
        view.expect_object("a port, an object");
        const std::size_t entry = table_.entries++;
        constexpr char expected[] = "the port's name";
        // A network card that switches between its own functions tells of itself once more, as no
        // port of the bridge.
        if (view.find("hwmode"))
            return;
        const auto master = view.find("master");
        if (!master) {
            view.member("ifname",
                        expected); // else it is another list, and no port of it would be one
            return;
        }
        const std::string &bridge = parse_name(*master, "the bridge's name");
        table_.bridges.insert(bridge);
        if (!bridges_.empty() && !bridges_.contains(bridge)) {
            ++table_.other_bridges;
            return;
        }
        const json_view name = view.member("ifname", expected);
        bridge_port port = {entry, parse_name(name, expected), 0, bridge, parse_flooding(view)};
        port.index = view.member("ifindex", "the port's index")
                         .number(1, largest_index, "an interface index");
        const auto [first, is_new] = entries_.emplace(port.name, entry);
        if (!is_new)
            name.fail(fmt::format("the port {} stands in entry {} already", in_quotes(port.name),
                                  first->second + 1));
        table_.ports.push_back(std::move(port));
    }

    port_table take() { return std::move(table_); }

private:
    const std::set<std::string> &bridges_;
    port_table table_;
    std::map<std::string, std::size_t> entries_; // by name
};

} // namespace

std::string port_table::place(const bridge_port &port, const std::string &pointer) const {
    return fmt::format("{}: entry {} of {} (/{}{})", name, port.entry + 1, entries, port.entry,
                       pointer);
}

port_table parse_bridge_ports(const text_input &input, const std::set<std::string> &bridges) {
    const json_document document = parse_json(input, producer);
    port_parser parser(input.name, bridges);
    for (const json_view &view :
         json_view(document).elements(fmt::format("an array of ports, the output of {}", producer)))
        parser.add(view);
    return parser.take();
}

} // namespace feed
