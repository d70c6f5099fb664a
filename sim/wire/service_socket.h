// The switch's socket in the run directory: its address, connecting to it, and whom it may be
// shared with.
#pragma once

#include "sim/base/file_descriptor.h"

#include <string>
#include <sys/types.h>
#include <sys/un.h>
#include <unistd.h>

namespace sim {

// Where a switch writes its process id, inside the run directory.
inline constexpr char pid_file[] = "vellsim.pid";

// " (pid 4711)" of the switch that has the run directory, or nothing when that is unknown.
std::string running_pid(const std::string &run_directory);

// Fills in the address of the service's socket in the run directory. Returns an empty string, or
// what is wrong: the path and the reason.
std::string service_address(const std::string &run_directory, sockaddr_un &address);

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
