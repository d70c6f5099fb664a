// Logging happens between a call that failed and the look at why it did, so it leaves errno as it
// found it.
#pragma once

#include <cerrno>

namespace sim {

class errno_keeper {
public:
    errno_keeper() = default;
    errno_keeper(const errno_keeper &) = delete;
    errno_keeper &operator=(const errno_keeper &) = delete;
    ~errno_keeper() { errno = kept_; }

private:
    int kept_ = errno;
};

} // namespace sim
