// A helper program's output, to be read while it runs; that the program succeeded is never assumed.
#pragma once

#include "sim/base/file_descriptor.h"

#include <csignal>
#include <string>
#include <sys/types.h>
#include <vector>

namespace feed {

struct program_end {
    std::string said;    // on standard error, one line, not escaped
    std::string failure; // "`ip -j link show` failed with exit code 1: what it said"; empty: none
    bool by_signal = false; // as one is that prints to nobody
};

// Runs a program without a shell, with nothing on its standard input. While it runs, an ignored
// SIGCHLD is not ignored: a process that ignores it never learns how its children ended.
class program_input {
public:
    // The program is looked up on the PATH, then in /sbin. Its output goes into a pipe, or into the
    // file `output`. Throws input_error when it cannot be run.
    explicit program_input(const std::vector<std::string> &arguments, int output = -1);
    program_input(const program_input &) = delete;
    program_input &operator=(const program_input &) = delete;
    ~program_input(); // ends a program that was not waited for

    const std::string &name() const { return name_; } // "`ip -j link show`"
    int output() const { return output_.get(); }

    // Closes the pipe and waits for the end. Throws input_error when how it ended cannot be learned.
    program_end finish();

private:
    int wait();

    std::string name_;
    sim::file_descriptor output_;
    sim::file_descriptor errors_;
    struct sigaction on_child_before_ {};
    pid_t pid_ = -1; // until it was waited for
};

} // namespace feed
