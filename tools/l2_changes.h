// From the entries that the service holds to those that it is to hold.
#pragma once

#include "l2_entry.h"

#include <cstdint>
#include <vector>

namespace feed {

enum class l2_operation {
    add,    // adds the ports to the entry, and makes the entry when it is new
    remove, // takes the ports from the entry; an entry without ports is gone
};

struct l2_change {
    l2_operation operation = l2_operation::add;
    l2_entry entry; // with the ports that come or go
};

// All of it, to a service that holds nothing.
std::vector<l2_change> all_added(const std::vector<l2_entry> &entries);

// What makes `older` into `newer`, removals first. Both are in the order of their keys.
std::vector<l2_change> changes(const std::vector<l2_entry> &older,
                               const std::vector<l2_entry> &newer);

} // namespace feed
