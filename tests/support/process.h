// Programs that a test runs, and pieces of a test in processes of their own. One that does not end
// in time is killed, and the test fails.
#pragma once

#include "sim/base/file_descriptor.h"

#include <functional>
#include <string>
#include <sys/types.h>
#include <vector>

#if defined(__SANITIZE_ADDRESS__)
#define UNDER_ADDRESS_SANITIZER
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define UNDER_ADDRESS_SANITIZER
#endif
#endif

// Which takes memory of its own for what a program reads and keeps.
#ifdef UNDER_ADDRESS_SANITIZER
inline constexpr bool under_address_sanitizer = true;
#else
inline constexpr bool under_address_sanitizer = false;
#endif

struct pipe_ends {
    sim::file_descriptor read;
    sim::file_descriptor write;
};
pipe_ends make_pipe();

// A file without a name, to read back what a process has written.
sim::file_descriptor unnamed_file();
std::string read_file(int fd);

struct command_result {
    int exit_code = -1; // or 256 plus the number of the signal that killed it
    std::string out;
    std::string err;
};

// Runs a program to its end, `in` on its standard input.
command_result run_program(const std::vector<std::string> &command, const std::string &in = {});

// Runs the body in a forked child, its result being the exit code: what is said once per process is
// then said once per test.
command_result run_in_child(const std::function<int()> &body);

// A program that goes on while the test does something else, and is killed when this goes.
class running_program {
public:
    // Waits for the program's first line. Without a descriptor for its standard error, that is the
    // test's.
    explicit running_program(const std::vector<std::string> &command, int error_fd = -1);
    ~running_program();
    running_program(const running_program &) = delete;
    running_program &operator=(const running_program &) = delete;

    pid_t pid() const { return pid_; }
    const std::string &first_line() const { return first_line_; }
    void signal(int number) const;

    // Waits for the next line that it prints, with its line feed.
    std::string next_line();

    // Watches the program for a moment: whether it goes on and takes next to no processor time.
    bool is_idle() const;

    // Waits for the end: the exit code, or 256 plus the number of the signal that killed it.
    int wait();

private:
    pid_t pid_ = -1;
    int exit_code_ = -1;
    sim::file_descriptor output_;
    std::string first_line_;
};
