#include "sim/switch/detach.h"

#include "sim/base/file_descriptor.h"
#include "sim/switch/console.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/wait.h>
#include <unistd.h>

namespace sim {

namespace {

int fail(const char *what) {
    complain(fmt::format("the switch cannot go on in the background: {}: {}", what,
                         std::strerror(errno)));
    return EXIT_FAILURE;
}

// Whoever reads what this process prints is not to wait for a switch that prints nothing more.
void leave_terminal() {
    setsid();
    const file_descriptor nothing(open("/dev/null", O_RDWR | O_CLOEXEC));
    if (nothing) {
        dup2(nothing.get(), STDIN_FILENO);
        dup2(nothing.get(), STDOUT_FILENO);
        dup2(nothing.get(), STDERR_FILENO);
    }
}

int exit_code_of(pid_t child) {
    int status = 0;
    while (waitpid(child, &status, 0) < 0) {
        if (errno != EINTR) {
            return fail("waitpid");
        }
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : EXIT_FAILURE;
}

} // namespace

int run_detached(const std::function<int(const std::function<void()> &ready)> &serve) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        return fail("pipe");
    }
    file_descriptor told(ends[0]);
    file_descriptor teller(ends[1]);
    const pid_t child = fork();
    if (child < 0) {
        return fail("fork");
    }
    if (child == 0) {
        told = file_descriptor();
        const int code = serve([&teller] {
            const char ready = 1;
            leave_terminal();
            if (write(teller.get(), &ready, sizeof ready) != sizeof ready) {
                std::_Exit(EXIT_FAILURE); // nobody waits for it any more
            }
            teller = file_descriptor();
        });
        std::exit(code);
    }
    teller = file_descriptor();
    char ready = 0;
    ssize_t got = 0;
    do {
        got = read(told.get(), &ready, sizeof ready);
    } while (got < 0 && errno == EINTR);
    return got == sizeof ready ? EXIT_SUCCESS : exit_code_of(child);
}

} // namespace sim
