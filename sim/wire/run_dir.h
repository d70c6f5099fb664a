// The directory of the simulator's socket and logs: 0700, and of this user only.
#pragma once

#include <string>
#include <string_view>

namespace sim {

// The one spelling of a path that is used and printed: without repeated slashes, "." components and
// a slash at the end. Symbolic links and ".." are left as they are.
std::string clean_path(std::string_view path);

// VELLSIM_RUN_DIR, else $XDG_RUNTIME_DIR/vellsim, else /tmp/vellsim-<uid>. A variable that is empty
// counts as not set, and so does an XDG_RUNTIME_DIR that is not absolute.
std::string run_dir();

// Makes the directory, but not its parents, and its "log" folder where they are missing, and checks
// them as check_run_dir does. Returns an empty string, or the path and the reason.
std::string prepare_run_dir(const std::string &path);

// Checks that this is a directory of this user that is closed to others, however it is spelled: a
// symbolic link is refused. Clients check it too, since anyone may have put a directory of that
// name into /tmp before the switch did. Returns an empty string, or the path and the reason.
std::string check_run_dir(const std::string &path);

} // namespace sim
