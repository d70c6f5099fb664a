// A moment on the monotonic clock, so that a wait that a signal cuts short goes on with the time
// that is left.
#pragma once

#include <algorithm>
#include <chrono>
#include <limits>
#include <optional>

namespace sim {

class deadline {
public:
    // This many milliseconds from now; negative is never.
    static deadline after_ms(int ms) {
        deadline result;
        if (ms >= 0) {
            result.when_ = clock::now() + std::chrono::milliseconds(ms);
        }
        return result;
    }

    // The time left in the form that poll() takes: 0 when it has passed, -1 when it never comes.
    // Rounded up, so that a wait for it does not end before it.
    int left_ms() const {
        if (!when_) {
            return -1;
        }
        const auto left =
            std::chrono::ceil<std::chrono::milliseconds>(*when_ - clock::now()).count();
        return static_cast<int>(std::clamp<long long>(left, 0, std::numeric_limits<int>::max()));
    }

private:
    using clock = std::chrono::steady_clock;
    std::optional<clock::time_point> when_;
};

} // namespace sim
