// Which new connections the switch takes, and when it takes none.
#pragma once

#include "sim/base/file_descriptor.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace sim {

class acceptor {
public:
    using clock = std::chrono::steady_clock;
    using log_function = std::function<void(std::uint32_t level, const std::string &text)>;
    using admit_function = std::function<void(file_descriptor socket, std::uint32_t pid)>;

    acceptor(int listening_fd, log_function log);

    int fd() const { return listening_fd_; }

    // Whether to look for new connections now, while so many are open. At the limit, and for a
    // moment after the system had no descriptor left, they wait in the socket's queue: looking
    // would find them again and again.
    bool is_open(std::size_t connections, clock::time_point now);

    // When to look again, while a pause is on.
    std::optional<clock::time_point> again() const { return again_; }

    // Admits those who wait and are of this user.
    void take(std::size_t connections, const admit_function &admit);

private:
    bool take_one(const admit_function &admit);
    void say_trouble(const std::string &text);

    int listening_fd_;
    log_function log_;
    std::size_t most_connections_;
    std::optional<clock::time_point> again_;
    bool trouble_said_ = false;
};

} // namespace sim
