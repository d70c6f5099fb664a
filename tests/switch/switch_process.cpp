#include "tests/switch/switch_process.h"

#include "sim/switch/log_read.h"

#include <array>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

using sim::file_descriptor;

namespace {

constexpr int patience_ms = 60'000;

// A limit of 0 seconds is none.
pid_t start(const std::vector<std::string> &arguments, int out, int err, unsigned limit_s) {
    std::vector<char *> argv = {const_cast<char *>(VELLSIM_PATH)};
    for (const std::string &argument : arguments) {
        argv.push_back(const_cast<char *>(argument.c_str()));
    }
    argv.push_back(nullptr);
    const pid_t pid = fork();
    if (pid == 0) {
        // A test that crashes leaves no switch behind.
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        alarm(limit_s);
        dup2(out, STDOUT_FILENO);
        dup2(err, STDERR_FILENO);
        execv(VELLSIM_PATH, argv.data());
        _exit(127);
    }
    return pid;
}

int wait_for(pid_t pid) {
    int status = 0;
    if (waitpid(pid, &status, 0) != pid) {
        return -1;
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 256 + WTERMSIG(status);
}

// Reads to the end or to a line feed. False when neither comes in time.
bool read_text(int fd, bool to_line_feed, std::string &text) {
    std::array<char, 4096> buffer;
    for (;;) {
        pollfd entry{fd, POLLIN, 0};
        if (poll(&entry, 1, patience_ms) <= 0) {
            return false;
        }
        const ssize_t count = read(fd, buffer.data(), to_line_feed ? 1 : buffer.size());
        if (count <= 0) {
            return count == 0;
        }
        text.append(buffer.data(), static_cast<std::size_t>(count));
        if (to_line_feed && text.back() == '\n') {
            return true;
        }
    }
}

// The processor time that a process has taken so far, in clock ticks.
long ticks_of(pid_t pid) {
    const int stat = open(fmt::format("/proc/{}/stat", pid).c_str(), O_RDONLY | O_CLOEXEC);
    char text[1024] = {};
    EXPECT_GT(read(stat, text, sizeof text - 1), 0);
    close(stat);
    long user = 0;
    long system = 0;
    // The fields behind the name, which is in brackets: a letter, ten numbers, the two times.
    EXPECT_EQ(sscanf(strrchr(text, ')'), ") %*c %*d %*d %*d %*d %*d %*u %*u %*u %*u %*u %ld %ld",
                     &user, &system),
              2);
    return user + system;
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
    lseek(fd, 0, SEEK_SET);
    read_text(fd, false, text);
    return text;
}

temporary_directory::temporary_directory() {
    std::string name = std::filesystem::temp_directory_path() / "switch-test-XXXXXX";
    if (mkdtemp(name.data()) == nullptr) {
        std::abort();
    }
    path_ = name;
}

temporary_directory::~temporary_directory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

command_result vellsim(const std::vector<std::string> &arguments, sim::file_descriptor out) {
    // Files, not pipes: whatever it writes, it never waits for its reader.
    const file_descriptor err = unnamed_file();
    command_result result;
    result.exit_code = wait_for(start(arguments, out.get(), err.get(), patience_ms / 1000));
    result.out = read_file(out.get());
    result.err = read_file(err.get());
    return result;
}

switch_process::switch_process(const std::string &run_directory,
                               const std::vector<std::string> &options, int error_fd) {
    std::vector<std::string> arguments = {"run", "--run-dir", run_directory};
    arguments.insert(arguments.end(), options.begin(), options.end());
    if (error_fd < 0) {
        arguments.push_back("--quiet");
    }
    pipe_ends out = make_pipe();
    pid_ = start(arguments, out.write.get(), error_fd < 0 ? STDERR_FILENO : error_fd, 0);
    out.write.reset();
    output_ = std::move(out.read);
    EXPECT_TRUE(read_text(output_.get(), true, ready_line_)) << "the switch is not ready";
}

switch_process::~switch_process() {
    if (exit_code_ < 0) {
        // A test that cares how the switch ends asks itself; here even a stuck one has to go.
        kill(pid_, SIGKILL);
        wait_for(pid_);
    }
}

void switch_process::signal(int number) const {
    kill(pid_, number);
}

bool switch_process::is_idle() const {
    const long before = ticks_of(pid_);
    // The switch says nothing more on its standard output, so this is a plain wait.
    pollfd silent{output_.get(), POLLIN, 0};
    const bool goes_on = poll(&silent, 1, 1000) == 0;
    return goes_on && ticks_of(pid_) - before < sysconf(_SC_CLK_TCK) / 2;
}

int switch_process::wait() {
    std::string rest;
    if (exit_code_ < 0 && read_text(output_.get(), false, rest)) {
        exit_code_ = wait_for(pid_);
    }
    return exit_code_;
}

std::vector<std::string> service_log(const std::string &run_directory, std::uint32_t level) {
    std::vector<std::string> texts;
    const sim::log_contents contents = sim::read_log_files(run_directory, "service");
    EXPECT_TRUE(contents.error.empty() && contents.complaints.empty());
    for (const sim::log_line &line : contents.lines) {
        if (line.level == level) {
            texts.push_back(line.text);
        }
    }
    return texts;
}
