// Runs a piece of a test in a forked child: what is said once a process is then said once a test.
#pragma once

#include <array>
#include <cerrno>
#include <functional>
#include <stdexcept>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

namespace sim_test {

struct child_result {
    int exit_code; // -1 when a signal ended it
    std::string error_output;
};

inline std::string read_to_end(int fd) {
    std::string text;
    std::array<char, 4096> part;
    for (ssize_t count; (count = read(fd, part.data(), part.size())) != 0;) {
        if (count > 0)
            text.append(part.data(), static_cast<std::size_t>(count));
        else if (errno != EINTR)
            break;
    }
    return text;
}

// The body's result becomes the exit code.
inline child_result run_in_child(const std::function<int()> &body) {
    int ends[2];
    if (pipe(ends) != 0)
        throw std::runtime_error("no pipe");
    const pid_t child = fork();
    if (child == 0) {
        dup2(ends[1], STDERR_FILENO);
        close(ends[0]);
        close(ends[1]);
        _exit(body());
    }
    close(ends[1]);
    child_result result{-1, read_to_end(ends[0])};
    close(ends[0]);
    int status = 0;
    if (waitpid(child, &status, 0) == child && WIFEXITED(status))
        result.exit_code = WEXITSTATUS(status);
    return result;
}

} // namespace sim_test
