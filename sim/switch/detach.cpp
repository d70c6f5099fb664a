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

// Nothing of the caller's is kept: no session, no descriptor but the standard ones and `teller`, so
// that nobody waits for a switch that has no part in what they wait for. Returns false with errno.
bool leave_caller(file_descriptor &teller) {
    constexpr int kept = STDERR_FILENO + 1;
    if (setsid() < 0 || (teller.get() != kept && dup3(teller.get(), kept, O_CLOEXEC) < 0)) {
        return false;
    }
    if (teller.get() != kept) {
        teller = file_descriptor(kept);
    }
    return close_range(kept + 1, ~0u, 0) == 0;
}

// Once it is ready: its log is in a file, and no directory stays in use for it.
bool leave_terminal() {
    const file_descriptor nothing(open("/dev/null", O_RDWR | O_CLOEXEC));
    return nothing && dup2(nothing.get(), STDIN_FILENO) >= 0 &&
           dup2(nothing.get(), STDOUT_FILENO) >= 0 && dup2(nothing.get(), STDERR_FILENO) >= 0 &&
           chdir("/") == 0;
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
        if (!leave_caller(teller)) {
            std::_Exit(fail("setsid or close_range"));
        }
        const int code = serve([&teller] {
            const char ready = 1;
            if (!leave_terminal()) {
                std::_Exit(fail("/dev/null"));
            }
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
