// What a command prints. Text for people is best effort: a reader that is gone, or a full disk, is
// no reason to fail. What was asked for is not: print() says when it cannot be written.
#pragma once

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace sim {

// "vellsim: text" and a line feed on standard error.
inline void complain(const std::string &text) {
    const std::string line = "vellsim: " + text + "\n";
    std::fwrite(line.data(), 1, line.size(), stderr);
}

// The exit code of a command that fails.
inline int fail(const std::string &why) {
    complain(why);
    return EXIT_FAILURE;
}

// Onto standard output. Returns the exit code.
inline int print(const std::string &text) {
    // A long text is written, and lost, before the flush, which then has nothing left to fail at.
    const bool written = std::fwrite(text.data(), 1, text.size(), stdout) == text.size();
    if (!written || std::fflush(stdout) != 0) {
        return fail(std::string("the output cannot be written: ") + std::strerror(errno));
    }
    return EXIT_SUCCESS;
}

} // namespace sim
