#include "sim/switch/listener.h"

#include "sim/wire/frame.h"
#include "sim/wire/run_dir.h"
#include "sim/wire/service_socket.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fmt/format.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <system_error>

namespace sim {

namespace {

// Enough for a switch that is alive and busy, since a waiting connection needs no answer from it.
constexpr int answer_ms = 2000;

std::string lock_directory(const std::string &run_directory, listener &made) {
    made.lock.reset(open(run_directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!made.lock) {
        return fmt::format("{}: {}", run_directory, std::strerror(errno));
    }
    if (flock(made.lock.get(), LOCK_EX | LOCK_NB) == 0) {
        return {};
    }
    if (errno == EWOULDBLOCK) {
        return fmt::format("another switch holds {}; `vellsim stop` ends it", run_directory);
    }
    return fmt::format("{}: {}", run_directory, std::strerror(errno));
}

// Makes sure that nobody listens at the socket's place and that the place is empty.
std::string clear_place(const std::string &run_directory, const std::string &path) {
    struct stat entry {};
    if (lstat(path.c_str(), &entry) != 0) {
        return errno == ENOENT ? std::string() : fmt::format("{}: {}", path, std::strerror(errno));
    }
    if (!S_ISSOCK(entry.st_mode)) {
        return fmt::format("{}: is in the way, and is not a socket", path);
    }
    if (connect_service(run_directory, answer_ms).socket) {
        return fmt::format("a switch answers on {}; `vellsim stop` ends it", path);
    }
    if (unlink(path.c_str()) != 0 && errno != ENOENT) {
        return fmt::format("{}: {}", path, std::strerror(errno));
    }
    return {};
}

std::string bind_and_listen(const sockaddr_un &address, listener &made) {
    made.socket.reset(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    // The mode has to be right from the first moment on, so it comes from the umask.
    const mode_t old_mask = umask(0177);
    const bool bound =
        made.socket &&
        bind(made.socket.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
    const int bind_error = errno;
    umask(old_mask);
    if (!bound) {
        return fmt::format("{}: {}", made.path, std::strerror(bind_error));
    }
    if (listen(made.socket.get(), SOMAXCONN) != 0) {
        return fmt::format("{}: {}", made.path, std::strerror(errno));
    }
    return {};
}

// Only the run directory itself is made: what to add when there is no place to make it in.
std::string missing_parent(const std::string &run_directory) {
    std::filesystem::path path = run_directory;
    while (!path.has_filename() && path != path.parent_path()) {
        path = path.parent_path();
    }
    const std::filesystem::path parent = path.parent_path();
    std::error_code unknown;
    const bool missing = !parent.empty() && std::filesystem::status(parent, unknown).type() ==
                                                std::filesystem::file_type::not_found;
    return missing ? fmt::format(" (the parent directory {} is missing)", parent.string()) : "";
}

std::string open_steps(const std::string &run_directory, listener &made) {
    sockaddr_un address;
    if (std::string error = service_address(run_directory, address); !error.empty()) {
        return error;
    }
    made.path = address.sun_path;
    if (std::string error = prepare_run_dir(run_directory); !error.empty()) {
        return error + missing_parent(run_directory);
    }
    if (std::string error = lock_directory(run_directory, made); !error.empty()) {
        return error;
    }
    if (std::string error = clear_place(run_directory, made.path); !error.empty()) {
        return error;
    }
    return bind_and_listen(address, made);
}

} // namespace

void listener::close() {
    unlink(path.c_str());
    socket.reset();
    lock.reset();
}

listener open_listener(const std::string &run_directory) {
    listener made;
    made.error = open_steps(run_directory, made);
    return made;
}

} // namespace sim
