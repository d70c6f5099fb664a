// What the recorded samples say, read as plainly as can be: what the switch holds is measured by
// it.
#pragma once

#include <algorithm>
#include <map>
#include <nlohmann/json.hpp>
#include <ostream>
#include <set>
#include <string>
#include <tuple>
#include <vector>

struct recording {
    std::string name;
    std::string said; // by vellfeed, when it is fed

    friend void PrintTo(const recording &one, std::ostream *out) { *out << one.name; }
};

// An entry in terms of the recording: VLAN, group and source, empty for any.
using entry_key = std::tuple<int, std::string, std::string>;

struct plain_entry {
    bool permanent = false;
    std::set<std::string> ports;

    bool operator==(const plain_entry &) const = default;
    friend void PrintTo(const plain_entry &entry, std::ostream *out) {
        *out << (entry.permanent ? "permanent" : "learned");
        for (const auto &port : entry.ports)
            *out << " " << port;
    }
};
using plain_entries = std::map<entry_key, plain_entry>;

inline int vlan_of(const nlohmann::json &entry) {
    return entry.contains("vid") ? entry["vid"].get<int>()
                                 : std::stoi(entry["dev"].get<std::string>().substr(2));
}

// Whether the kernel sends the group's packets there: not where the source is blocked, and not for
// an entry that only lists sources, which have entries of their own.
inline bool is_outgoing(const nlohmann::json &entry) {
    const auto flags = entry["flags"].get<std::vector<std::string>>();
    const bool blocked = std::find(flags.begin(), flags.end(), "blocked") != flags.end();
    return !blocked &&
           (entry.contains("src") || entry.value("filter_mode", "exclude") == "exclude");
}

// The entries of "bridge -j -d mdb show", whose rows are single ports.
inline plain_entries recorded_groups(const nlohmann::json &database) {
    plain_entries entries;
    for (const auto &bridges : database) {
        for (const auto &row : bridges["mdb"]) {
            plain_entry &entry = entries[{vlan_of(row), row["grp"], row.value("src", "")}];
            entry.permanent |= row["state"] == "permanent";
            if (is_outgoing(row))
                entry.ports.insert(row["port"]);
        }
    }
    return entries;
}

// How the switch names the interface that the kernel names so: eth3-7 is Eth3/7, po1 Po1, vlan10
// Vlan10, and cam1 if141.
inline std::string switch_name_of(const std::string &name, int kernel_index) {
    if (name.starts_with("eth")) {
        const std::size_t dash = name.find('-');
        return "Eth" + name.substr(3, dash - 3) + "/" + name.substr(dash + 1);
    }
    if (name.starts_with("po"))
        return "Po" + name.substr(2);
    if (name.starts_with("vlan"))
        return "Vlan" + name.substr(4);
    return "if" + std::to_string(kernel_index);
}
