#include "tests/e2e/process.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <spawn.h>
#include <stdexcept>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

extern char **environ;

namespace {

using clock_type = std::chrono::steady_clock;
constexpr auto patience = std::chrono::seconds(60);

struct pipe_ends {
    int read_end;
    int write_end;
};

pipe_ends make_pipe() {
    std::array<int, 2> ends;
    if (pipe2(ends.data(), O_CLOEXEC) != 0)
        throw std::system_error(errno, std::generic_category(), "pipe2");
    return {ends[0], ends[1]};
}

// Standard input, output and error of a child; -1 leaves the parent's.
struct child_streams {
    int in = -1;
    int out = -1;
    int err = -1;
};

pid_t spawn(const std::vector<std::string> &command, const child_streams &streams) {
    std::vector<char *> arguments;
    for (const std::string &word : command)
        arguments.push_back(const_cast<char *>(word.c_str()));
    arguments.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    int target = 0;
    for (const int stream : {streams.in, streams.out, streams.err}) {
        if (stream >= 0)
            posix_spawn_file_actions_adddup2(&actions, stream, target);
        ++target;
    }
    pid_t pid = -1;
    const int error =
        posix_spawn(&pid, command[0].c_str(), &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0)
        throw std::system_error(error, std::generic_category(), command[0]);
    return pid;
}

int status_of(int wait_status) {
    return WIFSIGNALED(wait_status) ? 128 + WTERMSIG(wait_status) : WEXITSTATUS(wait_status);
}

int wait_for(pid_t pid) {
    const auto deadline = clock_type::now() + patience;
    for (int wait_status = 0;;) {
        const pid_t ended = waitpid(pid, &wait_status, WNOHANG);
        if (ended == pid)
            return status_of(wait_status);
        if (clock_type::now() > deadline) {
            ADD_FAILURE() << "process " << pid << " does not end";
            kill(pid, SIGKILL);
            waitpid(pid, &wait_status, 0);
            return status_of(wait_status);
        }
        usleep(2000);
    }
}

// Reads what is there; closes and forgets the descriptor at its end.
void read_some(int &descriptor, std::string &text) {
    std::array<char, 65536> buffer;
    const ssize_t count = read(descriptor, buffer.data(), buffer.size());
    if (count > 0) {
        text.append(buffer.data(), static_cast<std::size_t>(count));
        return;
    }
    close(descriptor);
    descriptor = -1;
}

void write_some(int &descriptor, const std::string &text, std::size_t &written) {
    const ssize_t count = write(descriptor, text.data() + written, text.size() - written);
    if (count > 0)
        written += static_cast<std::size_t>(count);
    if (count < 0 || written == text.size()) {
        close(descriptor);
        descriptor = -1;
    }
}

} // namespace

finished_program run_program(const std::vector<std::string> &command, const std::string &in) {
    signal(SIGPIPE, SIG_IGN);
    const pipe_ends to_child = make_pipe(), from_out = make_pipe(), from_err = make_pipe();
    const pid_t pid = spawn(command, {to_child.read_end, from_out.write_end, from_err.write_end});
    for (const int child_end : {to_child.read_end, from_out.write_end, from_err.write_end})
        close(child_end);
    fcntl(to_child.write_end, F_SETFL, O_NONBLOCK);

    finished_program result;
    int input = to_child.write_end, output = from_out.read_end, errors = from_err.read_end;
    std::size_t written = 0;
    if (in.empty()) {
        close(input);
        input = -1;
    }
    const auto deadline = clock_type::now() + patience;
    while (output >= 0 || errors >= 0) {
        std::array<pollfd, 3> streams = {
            {{input, POLLOUT, 0}, {output, POLLIN, 0}, {errors, POLLIN, 0}}};
        poll(streams.data(), streams.size(), 1000);
        if (streams[0].revents != 0)
            write_some(input, in, written);
        if (streams[1].revents != 0)
            read_some(output, result.out);
        if (streams[2].revents != 0)
            read_some(errors, result.err);
        if (clock_type::now() > deadline) {
            kill(pid, SIGKILL);
            ADD_FAILURE() << command[0] << " does not end";
        }
    }
    if (input >= 0)
        close(input);
    result.status = wait_for(pid);
    return result;
}

running_program::running_program(const std::vector<std::string> &command) {
    const pipe_ends from_out = make_pipe();
    pid = spawn(command, {-1, from_out.write_end, -1});
    close(from_out.write_end);
    out = from_out.read_end;
    for (char c = 0; read(out, &c, 1) == 1 && c != '\n';)
        line += c;
}

running_program::~running_program() {
    kill_at_once();
    close(out);
}

void running_program::send_signal(int number) const {
    if (pid > 0)
        kill(pid, number);
}

int running_program::wait_for_end() {
    const int status = pid > 0 ? wait_for(pid) : -1;
    pid = -1;
    return status;
}

void running_program::kill_at_once() {
    if (pid <= 0)
        return;
    send_signal(SIGKILL);
    wait_for_end();
}
