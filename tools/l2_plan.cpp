#include "l2_plan.h"

#include "input_error.h"
#include "printable.h"
#include "switch_port.h"

#include <vell.h>

#include <fmt/format.h>

namespace feed {

namespace {

// An entry as it grows, port by port.
struct growing_entry {
    const mdb_entry *first;
    std::size_t number; // of the first
    bool permanent = false;
    std::map<std::uint32_t, const mdb_entry *> ports; // by index
};

class planner {
public:
    planner(const mdb_table &table, const port_numbering &numbering, const bridge_vlans &vlans)
        : table_(table), numbering_(numbering), vlans_(vlans) {}

    l2_plan run() {
        for (std::size_t i = 0; i < table_.entries.size(); ++i)
            add(i, table_.entries[i]);
        for (const auto &[key, entry] : entries_)
            plan_.entries.push_back(finished(key, entry));
        plan_.router_ports = table_.router_ports;
        plan_.other_bridges = table_.other_bridges;
        return std::move(plan_);
    }

private:
    void add(std::size_t number, const mdb_entry &entry) {
        check_index(entry);
        const l2_key key = {vlan_of(entry), entry.group, entry.source};
        growing_entry &grown =
            entries_.emplace(key, growing_entry{&entry, number, false, {}}).first->second;
        check_bridge(key, *grown.first, entry);
        // The kernel keeps this for each port, the service for the whole entry.
        grown.permanent |= entry.permanent;
        if (entry.forwards)
            add_port(key, grown, entry);
        else
            ++plan_.ports_without;
    }

    std::uint32_t vlan_of(const mdb_entry &entry) const {
        if (entry.vid)
            return *entry.vid;
        const std::uint32_t vlan = vlan_of_bridge(entry.bridge, vlans_);
        if (vlan == 0) {
            throw input_error(fmt::format("{}: the bridge {} has no VLAN in its name, as br10 has, "
                                          "and its entry no \"vid\"; {}",
                                          table_.place(entry, "/dev"), in_quotes(entry.bridge),
                                          vlan_remedy(entry.bridge)));
        }
        return vlan;
    }

    void check_index(const mdb_entry &entry) {
        const mdb_entry &first = *bridges_.emplace(entry.bridge, &entry).first->second;
        if (first.bridge_index != entry.bridge_index) {
            throw input_error(fmt::format("{}: the bridge {} has the index {} here and {} in {}",
                                          table_.place(entry, "/index"), in_quotes(entry.bridge),
                                          entry.bridge_index, first.bridge_index, first.label));
        }
    }

    void check_bridge(const l2_key &key, const mdb_entry &first, const mdb_entry &entry) const {
        if (first.bridge != entry.bridge) {
            throw input_error(fmt::format(
                "{}: {} is on the bridge {} here and on {} in {}; an entry has one bridge",
                table_.place(entry, "/dev"), key_text(key), in_quotes(entry.bridge),
                in_quotes(first.bridge), first.label));
        }
    }

    // A port may stand in an entry several times: a port that sends to each receiver alone does for
    // each of them.
    void add_port(const l2_key &key, growing_entry &grown, const mdb_entry &entry) {
        const std::uint32_t index = numbering_.index(entry, key.vlan);
        const mdb_entry &first = *grown.ports.emplace(index, &entry).first->second;
        if (first.port != entry.port) {
            throw input_error(
                fmt::format("{}: the port {} of {} has the index {}, and so has {} in {}",
                            table_.place(entry, "/port"), in_quotes(entry.port), key_text(key),
                            numbering_.text(index), in_quotes(first.port), first.label));
        }
    }

    static l2_entry finished(const l2_key &key, const growing_entry &grown) {
        l2_entry entry;
        entry.entry = grown.number;
        entry.key = key;
        entry.bridge = grown.first->bridge_index;
        entry.permanent = grown.permanent;
        for (const auto &[index, port] : grown.ports)
            entry.ports.push_back(
                {index, port->on_bridge_itself() ? std::uint32_t{VELL_L2_OIF_SVI} : 0});
        return entry;
    }

    const mdb_table &table_;
    const port_numbering &numbering_;
    const bridge_vlans &vlans_;
    l2_plan plan_;
    std::map<l2_key, growing_entry> entries_;
    std::map<std::string, const mdb_entry *> bridges_; // the first entry of each
};

} // namespace

void check_bridges(const mdb_table &table, const interface_source &source) {
    for (const mdb_entry &entry : table.entries) {
        const std::uint32_t index = source.find(entry.bridge);
        if (index != 0 && index != entry.bridge_index) {
            throw input_error(fmt::format(
                "{}: the bridge {} has the index {} here, and {} says {}: they do not belong "
                "together",
                table.place(entry, "/index"), in_quotes(entry.bridge), entry.bridge_index,
                source.name, index));
        }
    }
}

std::set<std::uint32_t> bridge_indexes(const mdb_table &table) {
    std::set<std::uint32_t> indexes;
    for (const mdb_entry &entry : table.entries)
        indexes.insert(entry.bridge_index);
    return indexes;
}

port_numbering kernel_numbering(const interface_indexes &interfaces) {
    return {[&interfaces](const mdb_entry &entry, std::uint32_t) {
                return entry.on_bridge_itself() ? entry.bridge_index : interfaces.of(entry.port);
            },
            [](std::uint32_t index) { return fmt::format("{}", index); }};
}

port_numbering switch_numbering(const mdb_table &table, const interface_indexes &interfaces) {
    return {[&](const mdb_entry &entry, std::uint32_t vlan) {
                if (entry.on_bridge_itself())
                    return index_of_vlan(vlan);
                if (const auto said = index_in_link_name(entry.port))
                    return *said;
                const std::uint32_t kernel_index = interfaces.of(entry.port);
                if (const auto index = index_of_link(entry.port, kernel_index))
                    return *index;
                throw input_error(fmt::format(
                    "{}: the index {} of the port {} is too large for an interface that the "
                    "switch knows by it alone",
                    table.place(entry, "/port"), kernel_index, in_quotes(entry.port)));
            },
            switch_name};
}

l2_plan plan_l2(const mdb_table &table, const port_numbering &numbering,
                const bridge_vlans &vlans) {
    return planner(table, numbering, vlans).run();
}

} // namespace feed
