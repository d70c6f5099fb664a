// The program, apart from its process.
#pragma once

#include <ostream>

namespace feed {

// Runs vellfeed. Returns its exit code: 0, 1 when it could not do what it was asked, 2 when it was
// asked wrongly.
int run_vellfeed(int argc, const char *const *argv, std::ostream &out, std::ostream &err);

} // namespace feed
