// The switch's place in a run directory: at most one switch has it, and what others find there,
// its socket and the file with its pid, is gone once it is closed.
//
//     vell.sock      the socket of the vell service
//     vellsim.pid    the switch's process id
//
// A switch has the place while it holds a lock on the run directory, which the kernel gives back
// however the switch ends. Directory, socket and pid file may be removed while it lives, by a
// cleaner of temporary files for example. A second switch may then have started in a directory of
// the same name, so that nothing is removed that is not this switch's own.
#pragma once

#include "sim/base/file_descriptor.h"

#include <string>
#include <sys/types.h>

namespace sim {

class listener {
public:
    explicit listener(std::string run_directory) : run_directory_(std::move(run_directory)) {}

    // Prepares the run directory and listens, non-blocking, on its socket; also once more, after
    // another process has removed it. Returns an empty string, or what is wrong.
    std::string open();

    // Whether clients find this switch's socket.
    bool is_in_place() const;

    // The next connection that waits, not blocking, or an empty one. Throws when none can be made.
    file_descriptor accept() const;

    // Removes what clients find, and then lets the next switch in.
    void close();

    int fd() const { return socket_.get(); }
    const std::string &path() const { return path_; }

private:
    // A file, whatever its name is meanwhile. Its number is not used again while it is open.
    struct file_id {
        dev_t device = 0;
        ino_t inode = 0;
        bool operator==(const file_id &) const = default;
    };

    static file_id id_of(const std::string &path);
    std::string lock_directory();
    std::string bind_socket();
    std::string write_pid();

    std::string run_directory_;
    std::string path_;
    file_descriptor lock_;
    file_descriptor pid_file_;
    file_descriptor socket_;
    file_id directory_id_;
    file_id socket_id_;
    file_id pid_id_;
};

} // namespace sim
