// From interface names to interface indexes.
#pragma once

#include "bridge_mdb.h"
#include "interface_source.h"
#include "mroute_table.h"

#include <cstdint>
#include <map>
#include <ostream>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace feed {

// An interface that an input names, and the first place where it does.
struct interface_use {
    std::string name;
    std::string place;
};

// The interfaces of all resolved entries, and the ports of all entries but the bridges themselves,
// in order of appearance.
std::vector<interface_use> interface_uses(const mroute_table &table);
std::vector<interface_use> interface_uses(const mdb_table &table);

class interface_indexes {
public:
    // Learns the names. A name that the source does not know is the index N when it is if<N>, as
    // `ip` writes an interface that is gone; else it gets the smallest free number that is not in
    // `taken`, in order of appearance, when `number_unknown` is set; else it is an input_error.
    interface_indexes(const std::vector<interface_use> &uses, const interface_source &source,
                      bool number_unknown, std::set<std::uint32_t> taken = {});
    interface_indexes(const mroute_table &table, const interface_source &source,
                      bool number_unknown)
        : interface_indexes(interface_uses(table), source, number_unknown) {}

    std::uint32_t of(const std::string &name) const { return indexes_.at(name); }

    // The names that were given numbers, in order of appearance.
    const std::vector<std::pair<std::string, std::uint32_t>> &numbered() const { return numbered_; }

private:
    std::map<std::string, std::uint32_t> indexes_;
    std::vector<std::pair<std::string, std::uint32_t>> numbered_;
};

// "interface lan1 is number 1", one a line.
void print_numbered(const interface_indexes &interfaces, std::ostream &out);

} // namespace feed
