// From interface names to interface indexes.
#pragma once

#include "mroute_table.h"

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace feed {

// Where indexes come from: the recorded links, or the machine itself.
struct interface_source {
    std::string name;                                       // for error messages: "links.json", "this machine"
    std::function<std::uint32_t(const std::string &)> find; // 0: not there
};
interface_source recorded_links(const std::string &name, std::map<std::string, std::uint32_t> links);
interface_source this_machine();

class interface_indexes {
public:
    // Learns the names of all resolved entries. A name that the source does not know is the index N when it is if<N>,
    // as `ip` writes an interface that is gone; else it gets the smallest free number, in order of appearance, when
    // `number_unknown` is set; else it is an input_error.
    interface_indexes(const mroute_table &table, const interface_source &source, bool number_unknown);

    std::uint32_t of(const std::string &name) const { return indexes_.at(name); }

    // The names that were given numbers, in order of appearance.
    const std::vector<std::pair<std::string, std::uint32_t>> &numbered() const { return numbered_; }

private:
    std::map<std::string, std::uint32_t> indexes_;
    std::vector<std::pair<std::string, std::uint32_t>> numbered_;
};

} // namespace feed
