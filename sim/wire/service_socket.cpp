#include "sim/wire/service_socket.h"

#include "sim/base/deadline.h"
#include "sim/wire/frame.h"
#include "sim/wire/run_dir.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <utility>

namespace sim {

namespace {

// The send timeout of a Unix socket also bounds how long connect() waits for a place in the
// listener's queue.
void bound_connect(int fd, int left_ms) {
    if (left_ms < 0)
        return;
    timeval limit{};
    limit.tv_sec = left_ms / 1000;
    limit.tv_usec = left_ms % 1000;
    limit.tv_usec *= 1000;
    setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
}

// Returns 0 or the errno.
int connect_until(int fd, const sockaddr_un &address, const deadline &until) {
    // Never 0, which would mean to wait for ever. The first attempt may be made whatever the time
    // left.
    for (int left = until.left_ms();; left = until.left_ms()) {
        bound_connect(fd, left == 0 ? 1 : left);
        if (connect(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0)
            return 0;
        if (errno == EAGAIN || (errno == EINTR && left == 0))
            return ETIMEDOUT;
        if (errno != EINTR)
            return errno;
    }
}

} // namespace

std::string running_pid(const std::string &run_directory) {
    const std::string path = run_directory + "/" + pid_file;
    const file_descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
    char text[16] = {};
    const ssize_t size = file ? read(file.get(), text, sizeof text - 1) : 0;
    const std::size_t digits = size > 0 ? std::strspn(text, "0123456789") : 0;
    if (digits == 0 || text[digits] != '\n') {
        return {};
    }
    return " (pid " + std::string(text, digits) + ")";
}

std::string service_address(const std::string &run_directory, sockaddr_un &address) {
    const std::string path = run_directory + "/" + service_socket;
    address = {};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path)
        return path + ": is too long for a socket (" + std::to_string(path.size()) +
               " bytes, at most " + std::to_string(sizeof address.sun_path - 1) +
               "); choose a shorter VELLSIM_RUN_DIR";
    std::memcpy(address.sun_path, path.data(), path.size());
    return {};
}

std::string check_peer(int fd, uid_t user) {
    ucred peer{};
    socklen_t size = sizeof peer;
    if (getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0)
        return std::string("the other end's user is unknown: ") + std::strerror(errno);
    if (peer.uid != user)
        return "the other end is of user " + std::to_string(peer.uid) + ", not of user " +
               std::to_string(user);
    return {};
}

connection connect_service(const std::string &run_directory, int timeout_ms) {
    sockaddr_un address;
    if (std::string reason = service_address(run_directory, address); !reason.empty())
        return {{}, std::move(reason)};
    if (std::string reason = check_run_dir(run_directory); !reason.empty())
        return {{}, std::move(reason)};
    file_descriptor fd =
        above_standard(file_descriptor(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)));
    if (!fd)
        return {{}, std::string("no socket: ") + std::strerror(errno)};
    if (const int error = connect_until(fd.get(), address, deadline::after_ms(timeout_ms));
        error != 0)
        return {{}, std::string(address.sun_path) + ": " + std::strerror(error)};
    if (std::string reason = check_peer(fd.get()); !reason.empty())
        return {{}, std::string(address.sun_path) + ": " + reason};
    return {std::move(fd), {}};
}

} // namespace sim
