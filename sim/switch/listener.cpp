#include "sim/switch/listener.h"

#include "sim/wire/frame.h"
#include "sim/wire/run_dir.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fmt/format.h>
#include <poll.h>
#include <stdexcept>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <system_error>
#include <unistd.h>

namespace sim {

namespace {

std::string pid_path(const std::string &run_directory) {
    return run_directory + "/" + pid_file;
}

// What to add to an error when the directory above is missing: the switch makes its run directory,
// but nothing above it.
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

std::string failure_at(const std::string &path) {
    return fmt::format("{}: {}", path, std::strerror(errno));
}

} // namespace

listener::file_id listener::id_of(const std::string &path) {
    struct stat entry {};
    return lstat(path.c_str(), &entry) == 0 ? file_id{entry.st_dev, entry.st_ino} : file_id{};
}

std::string listener::lock_directory() {
    lock_ = file_descriptor(
        ::open(run_directory_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NOFOLLOW));
    if (!lock_) {
        return failure_at(run_directory_);
    }
    // `vellsim stop` takes the lock for a moment, to see that it is free.
    for (int tries = 10; flock(lock_.get(), LOCK_EX | LOCK_NB) != 0; --tries) {
        if (errno != EWOULDBLOCK) {
            return failure_at(run_directory_);
        }
        if (tries == 0) {
            return fmt::format("another switch{} runs in {}; `vellsim stop` ends it",
                               running_pid(run_directory_), run_directory_);
        }
        poll(nullptr, 0, 10);
    }
    directory_id_ = id_of(run_directory_);
    return {};
}

std::string listener::bind_socket() {
    sockaddr_un address;
    if (std::string error = service_address(run_directory_, address); !error.empty()) {
        return error;
    }
    struct stat entry {};
    if (lstat(path_.c_str(), &entry) == 0 && !S_ISSOCK(entry.st_mode)) {
        return fmt::format("{}: is in the way, and is not a socket", path_);
    }
    // The lock says that no switch listens on a socket that is there.
    if (unlink(path_.c_str()) != 0 && errno != ENOENT) {
        return failure_at(path_);
    }
    socket_ = file_descriptor(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    // The mode has to be right from the first moment on, so it comes from the umask.
    const mode_t old_mask = umask(0177);
    const bool bound = socket_ && bind(socket_.get(), reinterpret_cast<const sockaddr *>(&address),
                                       sizeof address) == 0;
    const int bind_error = errno;
    umask(old_mask);
    errno = bind_error;
    if (!bound || listen(socket_.get(), SOMAXCONN) != 0) {
        return failure_at(path_);
    }
    socket_id_ = id_of(path_);
    return {};
}

std::string listener::write_pid() {
    const std::string path = pid_path(run_directory_);
    // What was left there is not written through: it may be a link.
    if (unlink(path.c_str()) != 0 && errno != ENOENT) {
        return failure_at(path);
    }
    pid_file_ = file_descriptor(
        ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600));
    const std::string text = fmt::format("{}\n", getpid());
    if (!pid_file_ ||
        write(pid_file_.get(), text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
        return failure_at(path);
    }
    pid_id_ = id_of(path);
    return {};
}

std::string listener::open() {
    path_ = run_directory_ + "/" + service_socket;
    sockaddr_un address;
    std::string error = service_address(run_directory_, address);
    if (error.empty()) {
        error = prepare_run_dir(run_directory_);
        error += error.empty() ? "" : missing_parent(run_directory_);
    }
    for (const auto step :
         {&listener::lock_directory, &listener::write_pid, &listener::bind_socket}) {
        if (error.empty()) {
            error = (this->*step)();
        }
    }
    return error;
}

bool listener::is_in_place() const {
    return id_of(run_directory_) == directory_id_ && id_of(path_) == socket_id_;
}

file_descriptor listener::accept() const {
    for (;;) {
        file_descriptor made(accept4(fd(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
        if (made || errno == EAGAIN) {
            return made;
        }
        if (errno != EINTR && errno != ECONNABORTED) {
            throw std::runtime_error(failure_at("no connection can be accepted"));
        }
    }
}

void listener::close() {
    if (id_of(path_) == socket_id_) {
        unlink(path_.c_str());
    }
    if (const std::string path = pid_path(run_directory_); id_of(path) == pid_id_) {
        unlink(path.c_str());
    }
    pid_file_.reset();
    socket_.reset();
    lock_.reset();
}

} // namespace sim
