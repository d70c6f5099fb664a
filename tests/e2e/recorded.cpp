#include "tests/e2e/recorded.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <fmt/format.h>
#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <optional>
#include <tuple>
#include <vector>

namespace {

using nlohmann::json;

std::optional<json> read(const std::string &path) {
    std::ifstream file(path);
    return file ? std::optional(json::parse(file)) : std::nullopt;
}

std::string interface_text(const std::string &name, std::uint32_t number) {
    return fmt::format("{}={:#x}", name, number);
}

// How the switch numbers and names the interface that the kernel names so: eth3-7 is Eth3/7, eth3-7-1
// its first lane, po1 Po1, vlan10 Vlan10, and any other goes by the kernel's index.
std::string interface_text_of(const std::string &name, unsigned kernel_index) {
    unsigned first = 0;
    unsigned second = 0;
    unsigned third = 0;
    char end = 0;
    if (std::sscanf(name.c_str(), "eth%u-%u-%u%c", &first, &second, &third, &end) == 3) {
        return interface_text(fmt::format("Eth{}/{}/{}", first, second, third),
                              26u << 26 | first << 16 | second << 8 | third);
    }
    if (std::sscanf(name.c_str(), "eth%u-%u%c", &first, &second, &end) == 2) {
        return interface_text(fmt::format("Eth{}/{}", first, second),
                              26u << 26 | first << 16 | second << 8);
    }
    if (std::sscanf(name.c_str(), "po%u%c", &first, &end) == 1) {
        return interface_text(fmt::format("Po{}", first), 6u << 26 | first);
    }
    if (std::sscanf(name.c_str(), "vlan%u%c", &first, &end) == 1) {
        return interface_text(fmt::format("Vlan{}", first), 5u << 26 | first);
    }
    return interface_text(fmt::format("if{}", kernel_index), 1u << 26 | kernel_index);
}

std::string vlan_interface_text(unsigned vlan) {
    return interface_text(fmt::format("Vlan{}", vlan), 5u << 26 | vlan);
}

// "10.0.0.9/32"; an address of 0 is any address.
std::string prefix(const std::string &address) {
    return address + (address == "0.0.0.0" ? "/0" : "/32");
}

std::string route_text(unsigned table, const std::string &source, const std::string &group,
                       const std::string &rpf_interface, const std::vector<std::string> &outgoing,
                       const std::set<std::string> &flags) {
    return fmt::format("table {}: ({}, {}) from {} to [{}], flags [{}]", table, source, group,
                       rpf_interface, fmt::join(outgoing, " "), fmt::join(flags, " "));
}

std::string group_text(unsigned vlan, const std::string &source, const std::string &group,
                       const std::string &bridge, bool is_permanent,
                       const std::set<std::string> &ports) {
    return fmt::format("VLAN {}: ({}, {}) on {}, {}: [{}]", vlan, source, group, bridge,
                       is_permanent ? "permanent" : "learned", fmt::join(ports, " "));
}

std::string flood_text(unsigned vlan, const std::set<std::string> &interfaces,
                       const std::set<unsigned> &line_cards) {
    return fmt::format("VLAN {}: [{}] on line cards [{}]", vlan, fmt::join(interfaces, " "),
                       fmt::join(line_cards, " "));
}

std::string ltl_text(unsigned vlan, const std::set<std::string> &interfaces) {
    return fmt::format("VLAN {}: [{}]", vlan, fmt::join(interfaces, " "));
}

unsigned vlan_in(const std::string &bridge) {
    return static_cast<unsigned>(std::stoul(bridge.substr(2)));
}

class recording {
public:
    explicit recording(const std::string &directory) : directory_(directory) {
        for (const char *file : {"/links.json", "/ports.json"}) {
            for (const json &row : read(directory + file).value_or(json::array())) {
                indexes_[row["ifname"]] = row["ifindex"];
                if (row.value("state", "forwarding") != "forwarding") {
                    not_forwarding_.insert(row["ifname"]);
                }
            }
        }
    }

    plain_tables tables() const {
        plain_tables all;
        for (const json &row : read(directory_ + "/routes.json").value_or(json::array())) {
            add_route(all, row);
        }
        for (const json &database : read(directory_ + "/mdb.json").value_or(json::array())) {
            add_groups(all, database["mdb"]);
        }
        add_floods(all, read(directory_ + "/ports.json").value_or(json::array()));
        return all;
    }

private:
    std::string interface(const std::string &name) const {
        return interface_text_of(name, indexes_.at(name));
    }

    // What has no incoming interface yet is not a route: the kernel still asks its daemon. What has
    // lost it is not one any more.
    void add_route(plain_tables &all, const json &row) const {
        if (!indexes_.contains(row["iif"])) {
            return;
        }
        const std::string table = row.value("table", "default");
        const std::string source = prefix(row["src"]);
        const std::string group = prefix(row["dst"]);
        std::vector<std::string> outgoing;
        for (const json &hop : row["multipath"]) {
            outgoing.push_back(interface(hop["oif"]));
        }
        std::set<std::string> flags;
        if (outgoing.empty()) {
            flags.insert("drop_route");
        }
        if (group.starts_with("224.0.0.")) {
            flags.insert("local_group");
        }
        if (source == "0.0.0.0/0") {
            flags.insert("wildcard_route");
        }
        const auto number = table == "default" ? 253 : static_cast<unsigned>(std::stoul(table));
        all.routes.insert(
            route_text(number, source, group, interface(row["iif"]), outgoing, flags));
    }

    // Whether the kernel sends the group's packets there: not where the source is blocked or the port
    // does not forward, and not for an entry that only lists sources, which have entries of their own.
    bool is_outgoing(const json &row) const {
        const auto flags = row["flags"].get<std::vector<std::string>>();
        return std::ranges::count(flags, "blocked") == 0 &&
               !not_forwarding_.contains(row["port"]) &&
               (row.contains("src") || row.value("filter_mode", "exclude") == "exclude");
    }

    // The rows are single ports.
    void add_groups(plain_tables &all, const json &rows) const {
        struct plain_group {
            std::string bridge;
            bool is_permanent = false;
            std::set<std::string> interfaces;
            std::set<std::string> ports; // with their flags
        };
        std::map<std::tuple<unsigned, std::string, std::string>, plain_group> groups;
        for (const json &row : rows) {
            const std::string bridge = row["dev"];
            const unsigned vlan =
                row.contains("vid") ? row["vid"].get<unsigned>() : vlan_in(bridge);
            plain_group &group = groups[{vlan, row.value("src", "*"), row["grp"]}];
            group.bridge = interface_text_of(bridge, row["index"]);
            group.is_permanent |= row["state"] == "permanent";
            if (is_outgoing(row)) {
                const bool is_bridge = row["port"] == bridge;
                const std::string name =
                    is_bridge ? vlan_interface_text(vlan) : interface(row["port"]);
                group.interfaces.insert(name);
                group.ports.insert(name + (is_bridge ? " flags 4" : " flags 0"));
            }
        }
        for (const auto &[key, group] : groups) {
            const auto &[vlan, source, address] = key;
            all.groups.insert(
                group_text(vlan, source, address, group.bridge, group.is_permanent, group.ports));
            if (!group.interfaces.empty()) {
                all.ltls.insert(ltl_text(vlan, group.interfaces));
            }
        }
    }

    // A VLAN that is flooded nowhere is not in the switch, nor is a VLAN interface in a flood set.
    void add_floods(plain_tables &all, const json &ports) const {
        std::map<unsigned, std::set<std::string>> sets;
        std::map<unsigned, std::set<unsigned>> line_cards;
        for (const json &port : ports) {
            const std::string name = port["ifname"];
            if (!port["mcast_flood"] || name.starts_with("vlan") ||
                not_forwarding_.contains(name)) {
                continue;
            }
            const unsigned vlan = vlan_in(port["master"]);
            sets[vlan].insert(interface(name));
            if (name.starts_with("eth")) {
                line_cards[vlan].insert(static_cast<unsigned>(std::stoul(name.substr(3))));
            }
        }
        for (const auto &[vlan, interfaces] : sets) {
            all.floods.insert(flood_text(vlan, interfaces, line_cards[vlan]));
        }
    }

    std::string directory_;
    std::map<std::string, unsigned> indexes_;
    std::set<std::string> not_forwarding_;
};

std::string shown_interface(const json &one) {
    return interface_text(one["name"], one["if_index"]);
}

std::set<std::string> shown_interfaces(const json &row) {
    std::set<std::string> interfaces;
    for (const json &one : row["interfaces"]) {
        EXPECT_TRUE(interfaces.insert(shown_interface(one)).second) << row;
    }
    return interfaces;
}

std::string shown_prefix(const json &row, const std::string &member) {
    return row[member].get<std::string>() + "/" + row[member + "_len"].dump();
}

std::string shown_route(const json &row) {
    std::vector<std::string> outgoing;
    for (const json &one : row["oifs"]) {
        outgoing.push_back(shown_interface(one));
    }
    // How it came says nothing of the route.
    std::set<std::string> flags = row["flags"];
    flags.erase("download");
    flags.erase("download_done");
    return route_text(row["table"], shown_prefix(row, "source"), shown_prefix(row, "group"),
                      interface_text(row["rpf_if_name"], row["rpf_if"]), outgoing, flags);
}

std::string shown_group(const json &row) {
    std::set<std::string> ports;
    for (const json &one : row["ports"]) {
        const std::string port = shown_interface(one) + " flags " + one["flags"].dump();
        EXPECT_TRUE(ports.insert(port).second) << row;
    }
    return group_text(row["vlan"], row["source"].is_null() ? "*" : row["source"], row["group"],
                      interface_text(row["bridge_name"], row["bridge"]), row["permanent"], ports);
}

} // namespace

void PrintTo(const plain_tables &tables, std::ostream *out) {
    const auto print = [out](const char *name, const auto &rows) {
        *out << "\n" << name << ":";
        for (const std::string &row : rows) {
            *out << "\n    " << row;
        }
    };
    print("routes", tables.routes);
    print("groups", tables.groups);
    print("floods", tables.floods);
    print("ltls", tables.ltls);
}

plain_tables recorded_tables(const std::string &directory) {
    return recording(directory).tables();
}

plain_tables shown_tables(const json &routes, const json &l2, const json &flood, const json &ltl) {
    plain_tables all;
    for (const json &row : routes) {
        EXPECT_TRUE(all.routes.insert(shown_route(row)).second) << row;
    }
    for (const json &row : l2["entries"]) {
        EXPECT_TRUE(all.groups.insert(shown_group(row)).second) << row;
    }
    for (const json &row : flood) {
        const std::set<std::string> interfaces = shown_interfaces(row);
        // The manager remembers each VLAN that it had a flood set of.
        if (!interfaces.empty()) {
            all.floods.insert(flood_text(row["vlan"], interfaces, row["line_cards"]));
        }
    }
    for (const json &row : ltl) {
        all.ltls.insert(ltl_text(row["vlan"], shown_interfaces(row)));
    }
    return all;
}
