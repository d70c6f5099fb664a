// The layer-2 entries that the switch holds, as `vellsim show l2 --json` prints them.
#pragma once

#include "l2_entry.h"
#include "text_input.h"

#include <vector>

namespace feed {

// Throws input_error when the text is anything but such a list.
std::vector<l2_entry> parse_held_l2(const text_input &input);

} // namespace feed
