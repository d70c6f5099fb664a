#include "tests/support/process.h"

#include "tests/support/wait.h"

#include <array>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

using sim::file_descriptor;

namespace {

struct streams {
    int in = STDIN_FILENO;
    int out = STDOUT_FILENO;
    int err = STDERR_FILENO;
};

pid_t start_child(const streams &its, const std::function<int()> &body) {
    const pid_t pid = fork();
    if (pid == 0) {
        // A test that crashes leaves no process behind.
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        dup2(its.in, STDIN_FILENO);
        dup2(its.out, STDOUT_FILENO);
        dup2(its.err, STDERR_FILENO);
        _exit(body());
    }
    return pid;
}

pid_t start_program(const std::vector<std::string> &command, const streams &its) {
    std::vector<char *> argv;
    for (const std::string &word : command) {
        argv.push_back(const_cast<char *>(word.c_str()));
    }
    argv.push_back(nullptr);
    return start_child(its, [&argv] {
        execv(argv[0], argv.data());
        return 127;
    });
}

int wait_for(pid_t pid) {
    int status = 0;
    pid_t ended = 0;
    if (!wait_until([&] { return (ended = waitpid(pid, &status, WNOHANG)) != 0; })) {
        ADD_FAILURE() << "process " << pid << " does not end";
        kill(pid, SIGKILL);
        ended = waitpid(pid, &status, 0);
    }
    if (ended != pid) {
        ADD_FAILURE() << "process " << pid << " is not a child";
        return -1;
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 256 + WTERMSIG(status);
}

// A process that does not read all of it, or ends before, is none of the writer's business.
void write_to_pipe(const file_descriptor &pipe, const std::string &text) {
    sigset_t broken_pipe;
    sigemptyset(&broken_pipe);
    sigaddset(&broken_pipe, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &broken_pipe, nullptr);
    for (std::size_t done = 0; done < text.size();) {
        const ssize_t count = write(pipe.get(), text.data() + done, text.size() - done);
        if (count < 0) {
            return;
        }
        done += static_cast<std::size_t>(count);
    }
}

std::chrono::nanoseconds processor_time(pid_t pid) {
    clockid_t clock{};
    timespec taken{};
    EXPECT_EQ(clock_getcpuclockid(pid, &clock), 0);
    EXPECT_EQ(clock_gettime(clock, &taken), 0);
    return std::chrono::seconds(taken.tv_sec) + std::chrono::nanoseconds(taken.tv_nsec);
}

} // namespace

pipe_ends make_pipe() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        std::abort();
    }
    return {file_descriptor(ends[0]), file_descriptor(ends[1])};
}

file_descriptor unnamed_file() {
    return file_descriptor(
        open(std::filesystem::temp_directory_path().c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600));
}

std::string read_file(int fd) {
    std::string text;
    std::array<char, 4096> part;
    lseek(fd, 0, SEEK_SET);
    for (ssize_t count; (count = read(fd, part.data(), part.size())) > 0;) {
        text.append(part.data(), static_cast<std::size_t>(count));
    }
    return text;
}

command_result run_program(const std::vector<std::string> &command, const std::string &in) {
    // Files, not pipes: however much it writes, it never waits for its reader.
    const file_descriptor out = unnamed_file();
    const file_descriptor err = unnamed_file();
    pipe_ends input = make_pipe();
    const pid_t pid = start_program(command, {input.read.get(), out.get(), err.get()});
    input.read.reset();
    std::thread writer([&] {
        write_to_pipe(input.write, in);
        input.write.reset();
    });
    const int exit_code = wait_for(pid);
    writer.join();
    return {exit_code, read_file(out.get()), read_file(err.get())};
}

command_result run_in_child(const std::function<int()> &body) {
    const file_descriptor err = unnamed_file();
    const int exit_code = wait_for(start_child({.err = err.get()}, body));
    return {exit_code, "", read_file(err.get())};
}

running_program::running_program(const std::vector<std::string> &command, int error_fd) {
    pipe_ends out = make_pipe();
    pid_ = start_program(command,
                         {.out = out.write.get(), .err = error_fd < 0 ? STDERR_FILENO : error_fd});
    out.write.reset();
    output_ = std::move(out.read);
    first_line_ = next_line();
}

std::string running_program::next_line() {
    pollfd ready{output_.get(), POLLIN, 0};
    std::string line;
    for (char next = 0; next != '\n'; line += next) {
        if (poll(&ready, 1, patience_ms) <= 0 || read(output_.get(), &next, 1) != 1) {
            ADD_FAILURE() << "process " << pid_ << " prints no line, only \"" << line << '"';
            break;
        }
    }
    return line;
}

running_program::~running_program() {
    if (exit_code_ < 0) {
        // A test that cares how the program ends asks itself; here even a stuck one has to go.
        signal(SIGKILL);
        wait();
    }
}

void running_program::signal(int number) const {
    kill(pid_, number);
}

bool running_program::is_idle() const {
    constexpr int moment_ms = 300;
    const auto before = processor_time(pid_);
    // It says nothing more on its standard output, so this is a plain wait.
    pollfd silent{output_.get(), POLLIN, 0};
    const bool goes_on = poll(&silent, 1, moment_ms) == 0;
    return goes_on && processor_time(pid_) - before < std::chrono::milliseconds(moment_ms / 10);
}

int running_program::wait() {
    if (exit_code_ < 0) {
        exit_code_ = wait_for(pid_);
    }
    return exit_code_;
}
