// The layer-2 entries that were fed against those that the switch holds.
#pragma once

#include "comparison.h"
#include "l2_entry.h"

#include <vector>

namespace feed {

comparison compare_l2(const std::vector<l2_entry> &fed, const std::vector<l2_entry> &held);

} // namespace feed
