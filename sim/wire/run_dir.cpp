#include "sim/wire/run_dir.h"

#include "sim/base/deadline.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fmt/format.h>
#include <optional>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>
#include <utility>

namespace sim {

namespace {

std::string environment(const char *name) {
    const char *value = std::getenv(name);
    return value == nullptr ? "" : value;
}

std::string failed(std::string_view path) {
    return fmt::format("{}: {}", path, std::strerror(errno));
}

std::string check_spelling(const std::string &path) {
    if (path.empty()) {
        return "the run directory's path is empty: name a directory";
    }
    // Its parent may have been reached through a link, which lstat would not show.
    if (path == ".." || path.ends_with("/..")) {
        return path + ": ends in \"..\": name the directory itself";
    }
    return {};
}

std::string check_own_directory(const std::string &path) {
    struct stat entry {};
    if (lstat(path.c_str(), &entry) != 0) {
        return failed(path);
    }
    if (S_ISLNK(entry.st_mode)) {
        return path + ": is a symbolic link";
    }
    if (!S_ISDIR(entry.st_mode)) {
        return path + ": is not a directory";
    }
    if (entry.st_uid != geteuid()) {
        return fmt::format("{}: belongs to user {}, not to user {}", path, entry.st_uid, geteuid());
    }
    if ((entry.st_mode & 077u) != 0) {
        return fmt::format("{}: is open to other users (mode {:04o}, it must be 0700)", path,
                           entry.st_mode & 07777u);
    }
    return {};
}

std::string make_own_directory(const std::string &path) {
    if (mkdir(path.c_str(), 0700) != 0 && errno != EEXIST) {
        return failed(path);
    }
    return check_own_directory(path);
}

std::optional<ucred> peer_of(int fd) {
    ucred peer{};
    socklen_t size = sizeof peer;
    return getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 ? std::optional(peer)
                                                                      : std::nullopt;
}

// The send timeout of a Unix socket also bounds how long connect() waits for a place in the
// listener's queue.
void bound_connect(int fd, int left_ms) {
    if (left_ms >= 0) {
        const timeval limit{left_ms / 1000, left_ms % 1000 * 1000LL};
        setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
    }
}

// Returns 0 or the errno.
int connect_until(int fd, const sockaddr_un &address, const deadline &until) {
    // Never 0, which would mean to wait for ever. The first attempt may be made whatever the time
    // left.
    for (int left = until.left_ms();; left = until.left_ms()) {
        bound_connect(fd, left == 0 ? 1 : left);
        if (connect(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0) {
            return 0;
        }
        if (errno == EAGAIN || (errno == EINTR && left == 0)) {
            return ETIMEDOUT;
        }
        if (errno != EINTR) {
            return errno;
        }
    }
}

} // namespace

std::string clean_path(std::string_view path) {
    std::filesystem::path clean;
    for (const std::filesystem::path &component : std::filesystem::path(path)) {
        if (!component.empty() && component != ".") {
            clean /= component;
        }
    }
    return clean.empty() && !path.empty() ? "." : clean.string();
}

std::string run_dir() {
    if (const std::string path = environment("VELLSIM_RUN_DIR"); !path.empty()) {
        return clean_path(path);
    }
    if (const std::string path = environment("XDG_RUNTIME_DIR"); path.starts_with('/')) {
        return clean_path(path + "/vellsim");
    }
    return fmt::format("/tmp/vellsim-{}", geteuid());
}

std::string prepare_run_dir(const std::string &path) {
    const std::string directory = clean_path(path);
    if (std::string reason = check_spelling(directory); !reason.empty()) {
        return reason;
    }
    if (std::string reason = make_own_directory(directory); !reason.empty()) {
        return reason;
    }
    return make_own_directory(directory + "/log");
}

std::string check_run_dir(const std::string &path) {
    const std::string directory = clean_path(path);
    const std::string reason = check_spelling(directory);
    return reason.empty() ? check_own_directory(directory) : reason;
}

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
    if (path.size() >= sizeof address.sun_path) {
        return fmt::format("{}: is too long for a socket ({} bytes, at most {}); choose a shorter "
                           "VELLSIM_RUN_DIR",
                           path, path.size(), sizeof address.sun_path - 1);
    }
    std::memcpy(address.sun_path, path.data(), path.size());
    return {};
}

std::uint32_t peer_pid(int fd) {
    const std::optional<ucred> peer = peer_of(fd);
    return peer ? static_cast<std::uint32_t>(peer->pid) : 0;
}

std::string check_peer(int fd, uid_t user) {
    const std::optional<ucred> peer = peer_of(fd);
    if (!peer) {
        return failed("the other end's user is unknown");
    }
    return peer->uid == user
               ? ""
               : fmt::format("the other end is of user {}, not of user {}", peer->uid, user);
}

connection connect_service(const std::string &run_directory, int timeout_ms) {
    sockaddr_un address;
    std::string reason = service_address(run_directory, address);
    reason = reason.empty() ? check_run_dir(run_directory) : reason;
    if (!reason.empty()) {
        return {{}, std::move(reason)};
    }
    file_descriptor fd =
        above_standard(file_descriptor(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)));
    if (!fd) {
        return {{}, failed("no socket")};
    }
    errno = connect_until(fd.get(), address, deadline::after_ms(timeout_ms));
    if (errno != 0) {
        return {{}, failed(address.sun_path)};
    }
    if (reason = check_peer(fd.get()); !reason.empty()) {
        return {{}, fmt::format("{}: {}", address.sun_path, reason)};
    }
    return {std::move(fd), {}};
}

} // namespace sim
