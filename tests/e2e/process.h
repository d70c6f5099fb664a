// A program that a test runs: its output, its end, and its death where the test wants it.
#pragma once

#include <chrono>
#include <string>
#include <sys/types.h>
#include <vector>

struct finished_program {
    int status = -1; // the exit code, or 128 and the signal's number
    std::string out;
    std::string err;
};

// Runs a program to its end, `in` on its standard input. A program that does not end is killed, and
// the test fails.
finished_program run_program(const std::vector<std::string> &command, const std::string &in = {});

// A program that goes on while the test does something else. It is killed at the latest when this
// goes.
class running_program {
public:
    // Starts the program and waits until it has printed a line.
    explicit running_program(const std::vector<std::string> &command);
    running_program(const running_program &) = delete;
    running_program &operator=(const running_program &) = delete;
    ~running_program();

    const std::string &first_line() const { return line; }
    void send_signal(int number) const;
    // Waits for the end and returns the status, as in finished_program.
    int wait_for_end();
    // Kills it without letting it clean up.
    void kill_at_once();

private:
    pid_t pid = -1;
    int out = -1;
    std::string line;
};
