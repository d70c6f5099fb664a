// A file descriptor that closes itself.
#pragma once

#include <fcntl.h>
#include <unistd.h>
#include <utility>

namespace sim {

class file_descriptor {
public:
    file_descriptor() = default;
    explicit file_descriptor(int fd) : fd_(fd) {}
    file_descriptor(file_descriptor &&other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    file_descriptor &operator=(file_descriptor &&other) noexcept {
        reset(std::exchange(other.fd_, -1));
        return *this;
    }
    ~file_descriptor() { reset(); }

    int get() const { return fd_; }
    explicit operator bool() const { return fd_ >= 0; }

    void reset(int fd = -1) {
        if (fd_ >= 0)
            ::close(fd_);
        fd_ = fd;
    }

private:
    int fd_ = -1;
};

// The same file under a descriptor above those of standard input, output and error, which the
// process may have closed: what is printed there must not go into a file or connection of ours.
inline file_descriptor above_standard(file_descriptor file) {
    if (!file || file.get() > STDERR_FILENO) {
        return file;
    }
    return file_descriptor(::fcntl(file.get(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
}

// A descriptor of standard input, output or error that somebody closed before would otherwise be
// the next file's, and what is printed would go there. What is in its place cannot be read from or
// written to.
inline void hold_standard_descriptors() {
    for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (::fcntl(fd, F_GETFD) < 0) {
            ::open("/dev/null", fd == STDIN_FILENO ? O_WRONLY : O_RDONLY);
        }
    }
}

} // namespace sim
