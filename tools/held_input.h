// What the switch holds, as `vellsim show` prints it.
#pragma once

#include "text_input.h"

#include <string>

namespace feed {

// The file, standard input for "-", or, without a path, what vellsim prints of `table` now. Throws
// input_error.
text_input read_held(const std::string &path, const std::string &table);

} // namespace feed
