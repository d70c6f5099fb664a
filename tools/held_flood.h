// The flood sets that the LTL manager holds, as `vellsim show flood --json` prints them.
#pragma once

#include "flood_set.h"
#include "text_input.h"

#include <vector>

namespace feed {

// Throws input_error when the text is anything but such a list.
std::vector<flood_set> parse_held_flood(const text_input &input);

} // namespace feed
