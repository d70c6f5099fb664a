// A signal every millisecond, without SA_RESTART: every call that can be interrupted is.
#pragma once

#include <csignal>
#include <sys/time.h>

namespace sim_test {

inline volatile std::sig_atomic_t signals_seen = 0;

class signal_rain {
public:
    signal_rain() {
        signals_seen = 0;
        struct sigaction action {};
        action.sa_handler = [](int) { signals_seen = signals_seen + 1; };
        sigaction(SIGALRM, &action, &before_);
        const itimerval each{{0, 1000}, {0, 1000}};
        setitimer(ITIMER_REAL, &each, nullptr);
    }
    signal_rain(const signal_rain &) = delete;
    signal_rain &operator=(const signal_rain &) = delete;
    ~signal_rain() {
        const itimerval never{};
        setitimer(ITIMER_REAL, &never, nullptr);
        sigaction(SIGALRM, &before_, nullptr);
    }

private:
    struct sigaction before_ {};
};

} // namespace sim_test
