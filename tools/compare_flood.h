// The flood sets that were fed against those that the LTL manager holds.
#pragma once

#include "comparison.h"
#include "flood_set.h"

#include <vector>

namespace feed {

// VLAN interfaces are not to be held. A set that is held without an interface, of a VLAN that was
// not fed, is as good as none: the manager keeps the VLANs that once had one.
comparison compare_flood(const std::vector<flood_set> &fed, std::vector<flood_set> held);

} // namespace feed
