#include "feed/program_input.h"

#include "feed/failure.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <fmt/format.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

namespace feed {

namespace {

[[noreturn]] void fail(const std::string &what, int error) {
    throw input_error(fmt::format("{}: {}", what, std::strerror(error)));
}

// How a child starts: its descriptors, no signals blocked, and none of those ignored that end it.
class spawn_settings {
public:
    spawn_settings(int output, int errors) {
        posix_spawn_file_actions_init(&actions_);
        posix_spawn_file_actions_addopen(&actions_, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        posix_spawn_file_actions_adddup2(&actions_, output, STDOUT_FILENO);
        posix_spawn_file_actions_adddup2(&actions_, errors, STDERR_FILENO);
        posix_spawnattr_init(&attributes_);
        sigset_t signals;
        sigemptyset(&signals);
        posix_spawnattr_setsigmask(&attributes_, &signals);
        sigaddset(&signals, SIGPIPE);
        posix_spawnattr_setsigdefault(&attributes_, &signals);
        posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    }
    spawn_settings(const spawn_settings &) = delete;
    spawn_settings &operator=(const spawn_settings &) = delete;
    ~spawn_settings() {
        posix_spawnattr_destroy(&attributes_);
        posix_spawn_file_actions_destroy(&actions_);
    }

    // Debian has iproute2's bridge in /sbin, which is not on the PATH of its users.
    int spawn(pid_t &pid, char **arguments) const {
        const int error =
            posix_spawnp(&pid, arguments[0], &actions_, &attributes_, arguments, environ);
        if (error != ENOENT) {
            return error;
        }
        const std::string in_sbin = std::string("/sbin/") + arguments[0];
        return posix_spawn(&pid, in_sbin.c_str(), &actions_, &attributes_, arguments, environ);
    }

private:
    posix_spawn_file_actions_t actions_;
    posix_spawnattr_t attributes_;
};

// What a file has, on one line.
std::string one_line(int file) {
    std::array<char, 4096> text;
    const ssize_t size = ::pread(file, text.data(), text.size(), 0);
    std::string line(text.data(), static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
    while (line.ends_with('\n')) {
        line.pop_back();
    }
    std::ranges::replace(line, '\n', ' ');
    return line;
}

} // namespace

program_input::program_input(const std::vector<std::string> &arguments, int output)
    : name_(fmt::format("`{}`", shortened(fmt::format("{}", fmt::join(arguments, " "))))),
      // A file takes all that the program says while nobody reads it; a pipe would not.
      errors_(sim::above_standard(sim::file_descriptor(memfd_create("errors", MFD_CLOEXEC)))) {
    std::array<int, 2> ends = {-1, -1};
    if (!errors_ || (output < 0 && ::pipe2(ends.data(), O_CLOEXEC) != 0)) {
        fail(name_ + ": has no place for its output", errno);
    }
    output_ = sim::above_standard(sim::file_descriptor(ends[0]));
    const sim::file_descriptor writing = sim::above_standard(sim::file_descriptor(ends[1]));
    std::vector<char *> pointers;
    for (const std::string &argument : arguments) {
        pointers.push_back(const_cast<char *>(argument.c_str()));
    }
    pointers.push_back(nullptr);
    struct sigaction by_default {};
    ::sigaction(SIGCHLD, &by_default, &on_child_before_);
    const int error = spawn_settings(output < 0 ? writing.get() : output, errors_.get())
                          .spawn(pid_, pointers.data());
    if (error != 0) {
        pid_ = -1;
        ::sigaction(SIGCHLD, &on_child_before_, nullptr);
        throw input_error(fmt::format("{} cannot be run: {}; is it installed and on the PATH?",
                                      shortened(arguments[0]), std::strerror(error)));
    }
}

program_input::~program_input() {
    if (pid_ > 0) {
        ::kill(pid_, SIGKILL);
        try {
            wait();
        } catch (const input_error &) {
            // It is on its way out because of another error.
        }
    }
}

int program_input::wait() {
    int status = 0;
    pid_t waited = -1;
    do {
        waited = ::waitpid(pid_, &status, 0);
    } while (waited < 0 && errno == EINTR);
    const int error = errno;
    ::sigaction(SIGCHLD, &on_child_before_, nullptr);
    pid_ = -1;
    if (waited < 0) {
        fail(name_ + ": its end could not be waited for", error);
    }
    return status;
}

program_end program_input::finish() {
    output_.reset();
    const int status = wait();
    program_end end{one_line(errors_.get()), {}, WIFSIGNALED(status)};
    if (status != 0) {
        const std::string ending =
            end.by_signal ? fmt::format("was ended by signal {}", WTERMSIG(status))
                          : fmt::format("failed with exit code {}", WEXITSTATUS(status));
        end.failure = fmt::format("{} {}{}{}", name_, ending, end.said.empty() ? "" : ": ",
                                  shortened(end.said));
    }
    return end;
}

} // namespace feed
