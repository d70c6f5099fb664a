// A file descriptor that closes itself.
#pragma once

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

} // namespace sim
