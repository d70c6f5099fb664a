// The directory of the simulator's socket and logs, 0700 and of this user only, and the switch's
// socket in it.
#pragma once

#include "sim/base/file_descriptor.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <sys/un.h>
#include <unistd.h>

namespace sim {

// The one spelling of a path that is used and printed: without repeated slashes, "." components and
// a slash at the end. Symbolic links and ".." are left as they are.
std::string clean_path(std::string_view path);

// VELLSIM_RUN_DIR, else $XDG_RUNTIME_DIR/vellsim, else /tmp/vellsim-<uid>. A variable that is empty
// counts as not set, and so does an XDG_RUNTIME_DIR that is not absolute.
std::string run_dir();

// Makes the directory and its "log" folder where they are missing, and checks both as check_run_dir
// does. The directory above must be there. Returns an empty string, or the path and the reason.
std::string prepare_run_dir(const std::string &path);

// Checks that this is a directory of this user that is closed to others, however it is spelled: a
// symbolic link is refused. Clients check it too, since anyone may have put a directory of that
// name into /tmp before the switch did. Returns an empty string, or the path and the reason.
std::string check_run_dir(const std::string &path);

// The socket of the vell service, inside the run directory.
inline constexpr char service_socket[] = "vell.sock";

// Where a switch writes its process id, inside the run directory.
inline constexpr char pid_file[] = "vellsim.pid";

// " (pid 4711)" of the switch that has the run directory, or nothing when that is unknown.
std::string running_pid(const std::string &run_directory);

// Fills in the address of the service's socket in the run directory. Returns an empty string, or
// what is wrong: the path and the reason.
std::string service_address(const std::string &run_directory, sockaddr_un &address);

// The process at the other end of a Unix socket; 0 when that is unknown.
std::uint32_t peer_pid(int fd);

// Whether the process at the other end of a Unix socket is of this user: an empty string, or the
// reason why not.
std::string check_peer(int fd, uid_t user = geteuid());

struct connection {
    file_descriptor socket; // empty when there is none
    std::string reason;     // why not: the path and the reason
};

// Connects to the switch. The run directory must be safe (check_run_dir) and the switch of this
// user. A switch whose queue of waiting connections is full is given timeout_ms milliseconds.
connection connect_service(const std::string &run_directory, int timeout_ms);

} // namespace sim
