// vellsim as its users run it: a process of its own in a run directory of its own.
#pragma once

#include "sim/base/file_descriptor.h"

#include <string>
#include <sys/types.h>
#include <vector>

// A directory that is gone with all it holds when the test ends.
class temporary_directory {
public:
    temporary_directory();
    ~temporary_directory();
    temporary_directory(const temporary_directory &) = delete;
    temporary_directory &operator=(const temporary_directory &) = delete;

    const std::string &path() const { return path_; }

private:
    std::string path_;
};

struct command_result {
    int exit_code = -1;
    std::string out;
    std::string err;
};

struct pipe_ends {
    sim::file_descriptor read;
    sim::file_descriptor write;
};
pipe_ends make_pipe();

// A file without a name, to read back what a process has written.
sim::file_descriptor unnamed_file();
std::string read_file(int fd);

// Runs vellsim to its end, its standard output in a file.
command_result vellsim(const std::vector<std::string> &arguments,
                       sim::file_descriptor out = unnamed_file());

// `vellsim run` in the background, ready when the constructor returns.
class switch_process {
public:
    // Quiet, unless there is a descriptor for its standard error.
    explicit switch_process(const std::string &run_directory,
                            const std::vector<std::string> &options = {}, int error_fd = -1);
    ~switch_process();
    switch_process(const switch_process &) = delete;
    switch_process &operator=(const switch_process &) = delete;

    pid_t pid() const { return pid_; }
    const std::string &ready_line() const { return ready_line_; }
    void signal(int number) const;

    // Watches the switch for a second: whether it takes next to no processor time.
    bool is_idle() const;

    // Waits for the process to end: its exit code, or 256 plus the signal that killed it.
    int wait();

private:
    pid_t pid_ = -1;
    int exit_code_ = -1;
    sim::file_descriptor output_;
    std::string ready_line_;
};

// The texts of the run directory's service log of this level.
std::vector<std::string> service_log(const std::string &run_directory, std::uint32_t level);
