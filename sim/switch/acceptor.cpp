#include "sim/switch/acceptor.h"

#include "sim/switch/service.h"
#include "sim/wire/service_socket.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fmt/format.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <utility>

namespace sim {

namespace {

constexpr std::chrono::milliseconds pause_after_failure{250};

// All client ids several times over; a few descriptors are left for the log and for what the
// process began with.
std::size_t most_connections() {
    constexpr rlim_t most = 1024;
    constexpr rlim_t spare = 16;
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY) {
        return most;
    }
    return static_cast<std::size_t>(std::clamp<rlim_t>(limit.rlim_cur, spare + 1, most + spare) -
                                    spare);
}

std::uint32_t peer_pid(int fd) {
    ucred peer{};
    socklen_t size = sizeof peer;
    return getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0
               ? static_cast<std::uint32_t>(peer.pid)
               : 0;
}

} // namespace

acceptor::acceptor(int listening_fd, log_function log)
    : listening_fd_(listening_fd), log_(std::move(log)), most_connections_(most_connections()) {}

void acceptor::say_trouble(const std::string &text) {
    if (!std::exchange(trouble_said_, true)) {
        log_(log_level_error, text);
    }
}

bool acceptor::is_open(std::size_t connections, clock::time_point now) {
    if (again_ && now < *again_) {
        return false;
    }
    again_.reset();
    if (connections >= most_connections_) {
        say_trouble(fmt::format("{} connections are open: no more are accepted until one ends",
                                connections));
        return false;
    }
    return true;
}

void acceptor::take(std::size_t connections, const admit_function &admit) {
    while (connections < most_connections_ && take_one(admit)) {
        ++connections;
    }
}

bool acceptor::take_one(const admit_function &admit) {
    file_descriptor accepted(
        accept4(listening_fd_, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
    if (!accepted) {
        const int error = errno;
        if (error == EAGAIN) {
            // Everybody who waited is in: the trouble, if there was any, is over.
            trouble_said_ = false;
        } else if (error != EINTR && error != ECONNABORTED) {
            again_ = clock::now() + pause_after_failure;
            say_trouble(fmt::format("no connection can be accepted: {}", std::strerror(error)));
        }
        return false;
    }
    const std::uint32_t pid = peer_pid(accepted.get());
    if (const std::string reason = check_peer(accepted.get()); !reason.empty()) {
        log_(log_level_error, fmt::format("connection of pid {}: {}: closed", pid, reason));
        return true;
    }
    admit(std::move(accepted), pid);
    return true;
}

} // namespace sim
