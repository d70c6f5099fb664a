// The directory in which the simulator's sockets and logs live: 0700, and of this user only.
#pragma once

#include <string>

namespace sim {

// VELLSIM_RUN_DIR, else $XDG_RUNTIME_DIR/vellsim, else /tmp/vellsim-<uid>. A variable that is empty
// counts as not set, and so does an XDG_RUNTIME_DIR that is not absolute.
std::string run_dir();

// Makes the directory, its parents excepted, and its "log" folder where they are missing, and
// checks that they are this user's and closed to others. Returns an empty string, or what is wrong:
// the path and the reason.
std::string prepare_run_dir(const std::string &path);

// The same check without making anything: clients make it too, since anyone may have put a
// directory of that name into /tmp before the switch did.
std::string check_run_dir(const std::string &path);

} // namespace sim
