// What the platform's shared objects owe the C code that calls them: no exception comes out of a
// call, and where it matters errno is left as it was.
#pragma once

#include <cerrno>
#include <exception>

namespace sim {

// Runs the body of a C function; `otherwise` is its result when memory runs out.
template <class Result, class Body>
Result guarded(Result otherwise, Body body) noexcept {
    try {
        return body();
    } catch (const std::exception &) {
        return otherwise;
    }
}

// Logging happens between a call that failed and the look at why it did.
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
