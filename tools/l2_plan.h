// Which layer-2 entries a snooping database is to become.
#pragma once

#include "bridge_mdb.h"
#include "bridge_vlan.h"
#include "interface_indexes.h"
#include "l2_entry.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace feed {

struct l2_plan {
    std::vector<l2_entry> entries; // in the order of their keys
    std::size_t ports_without =
        0;                        // that an entry is kept for, but that the kernel sends nothing to
    std::size_t router_ports = 0; // which a layer-2 entry has no place for
    std::size_t other_bridges = 0; // entries of bridges that were left out
};

// Throws input_error when the bridges' indexes are other ones than the source's: then the two do
// not belong together, and the ports' indexes would be wrong as well.
void check_bridges(const mdb_table &table, const interface_source &source);

// The bridges' own indexes.
std::set<std::uint32_t> bridge_indexes(const mdb_table &table);

// How the ports of entries are counted: the index of the port that an entry names, in its VLAN, and
// such an index in words.
struct port_numbering {
    std::function<std::uint32_t(const mdb_entry &entry, std::uint32_t vlan)> index;
    std::function<std::string(std::uint32_t index)> text;
};

// By the kernel's indexes, as layer-2 entries have them.
port_numbering kernel_numbering(const interface_indexes &interfaces);

// As the switch counts them, by which the LTL manager knows them. A port's name may say where it
// is, else it is known by the kernel's index; the bridge itself is the VLAN's own interface. Its
// index() throws input_error, with the entry's place in `table`, when the kernel's index is too
// large for that.
port_numbering switch_numbering(const mdb_table &table, const interface_indexes &interfaces);

// Throws input_error when a bridge's VLAN is not known, or when entries contradict each other.
l2_plan plan_l2(const mdb_table &table, const port_numbering &numbering, const bridge_vlans &vlans);

} // namespace feed
