#include "text_input.h"

#include "input_error.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <fmt/format.h>
#include <optional>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace feed {

namespace {

// Far above any kernel's table, far below what this 32-bit process can hold.
constexpr std::size_t largest_input = 128u << 20;

class descriptor {
public:
    explicit descriptor(int fd = -1) : fd_(fd) {}
    descriptor(descriptor &&other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    descriptor &operator=(descriptor &&other) noexcept {
        std::swap(fd_, other.fd_);
        return *this;
    }
    ~descriptor() { close(); }
    int get() const { return fd_; }
    void close() {
        if (fd_ >= 0)
            ::close(std::exchange(fd_, -1));
    }

private:
    int fd_;
};

struct pipe_ends {
    descriptor read;
    descriptor write;
};

pipe_ends make_pipe() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        throw input_error(fmt::format("no pipe could be made: {}", std::strerror(errno)));
    return {descriptor(ends[0]), descriptor(ends[1])};
}

// Reads what is there now, up to one buffer full. False at the end.
bool read_some(int fd, const std::string &name, std::string &text) {
    char buffer[65536];
    const ssize_t count = read(fd, buffer, sizeof buffer);
    if (count < 0) {
        if (errno == EINTR)
            return true;
        throw input_error(fmt::format("{}: cannot be read: {}", name, std::strerror(errno)));
    }
    text.append(buffer, static_cast<std::size_t>(count));
    if (text.size() > largest_input)
        throw input_error(fmt::format("{}: is larger than {} MiB", name, largest_input >> 20));
    return count > 0;
}

class spawn_actions {
public:
    spawn_actions() { posix_spawn_file_actions_init(&actions_); }
    spawn_actions(const spawn_actions &) = delete;
    spawn_actions &operator=(const spawn_actions &) = delete;
    ~spawn_actions() { posix_spawn_file_actions_destroy(&actions_); }
    void redirect(int from, int to) { posix_spawn_file_actions_adddup2(&actions_, from, to); }
    const posix_spawn_file_actions_t *get() const { return &actions_; }

private:
    posix_spawn_file_actions_t actions_;
};

// A started program. It is waited for, whatever happens to its output.
class child_process {
public:
    child_process(const std::vector<std::string> &arguments, int output, int errors) {
        spawn_actions actions;
        actions.redirect(output, STDOUT_FILENO);
        actions.redirect(errors, STDERR_FILENO);
        std::vector<char *> pointers;
        for (const std::string &argument : arguments)
            pointers.push_back(const_cast<char *>(argument.c_str()));
        pointers.push_back(nullptr);
        const int status =
            posix_spawnp(&pid_, pointers[0], actions.get(), nullptr, pointers.data(), environ);
        if (status != 0)
            throw input_error(fmt::format("{} cannot be run: {}; is it installed and on the PATH?",
                                          arguments[0], std::strerror(status)));
    }
    child_process(const child_process &) = delete;
    child_process &operator=(const child_process &) = delete;
    ~child_process() {
        if (!waited_)
            wait();
    }
    int wait() {
        int status = 0;
        while (waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
        }
        waited_ = true;
        return status;
    }

private:
    pid_t pid_ = -1;
    bool waited_ = false;
};

// Both at once, so that a program that fills one pipe never waits for a reader of the other.
void read_both(const std::string &name, descriptor &output, std::string &text, descriptor &errors,
               std::string &said) {
    while (output.get() >= 0 || errors.get() >= 0) {
        pollfd waits[] = {{output.get(), POLLIN, 0}, {errors.get(), POLLIN, 0}};
        if (poll(waits, 2, -1) < 0 && errno != EINTR)
            throw input_error(
                fmt::format("{}: cannot be waited for: {}", name, std::strerror(errno)));
        if (waits[0].revents != 0 && !read_some(output.get(), name, text))
            output.close();
        if (waits[1].revents != 0 && !read_some(errors.get(), name, said))
            errors.close();
    }
}

std::string joined(const std::vector<std::string> &arguments) {
    return fmt::format("`{}`", fmt::join(arguments, " "));
}

std::string ending(int status) {
    if (WIFSIGNALED(status))
        return fmt::format("was ended by signal {}", WTERMSIG(status));
    return fmt::format("failed with exit code {}", WEXITSTATUS(status));
}

std::string one_line(std::string text) {
    while (!text.empty() && text.back() == '\n')
        text.pop_back();
    for (char &c : text) {
        if (c == '\n')
            c = ' ';
    }
    return text;
}

} // namespace

text_input read_text(const std::string &path) {
    text_input input;
    descriptor file;
    int fd = STDIN_FILENO;
    if (path == "-") {
        input.name = "standard input";
    } else {
        input.name = path;
        file = descriptor(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_LARGEFILE));
        if (file.get() < 0)
            throw input_error(fmt::format("{}: cannot be opened: {}", path, std::strerror(errno)));
        fd = file.get();
    }
    while (read_some(fd, input.name, input.text)) {
    }
    return input;
}

text_input read_command(const std::vector<std::string> &arguments) {
    text_input input{joined(arguments), {}};
    pipe_ends output = make_pipe();
    pipe_ends errors = make_pipe();
    child_process child(arguments, output.write.get(), errors.write.get());
    output.write.close();
    errors.write.close();
    std::string said;
    try {
        read_both(input.name, output.read, input.text, errors.read, said);
    } catch (...) {
        // The child must not be waited for while it waits for a reader.
        output.read.close();
        errors.read.close();
        throw;
    }
    const int status = child.wait();
    if (status != 0) {
        throw input_error(fmt::format("{} {}{}{}", input.name, ending(status),
                                      said.empty() ? "" : ": ", one_line(said)));
    }
    return input;
}

} // namespace feed
