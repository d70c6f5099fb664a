#include "tests/support/streams.h"

#include <cerrno>
#include <poll.h>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/time.h>

namespace {

// A call that a signal has cut short is made again: a test's signals reach all its threads.
template <class Call>
auto through_signals(Call call) {
    decltype(call()) result;
    do {
        result = call();
    } while (result < 0 && errno == EINTR);
    return result;
}

} // namespace

bool readable(int fd, int timeout_ms) {
    pollfd entry{fd, POLLIN, 0};
    return through_signals([&] { return poll(&entry, 1, timeout_ms); }) > 0;
}

bytes read_up_to(int fd, std::size_t size) {
    bytes result(size);
    std::size_t filled = 0;
    while (filled < size && readable(fd, patience_ms)) {
        const ssize_t count = through_signals(
            [&] { return recv(fd, result.data() + filled, size - filled, MSG_DONTWAIT); });
        if (count <= 0) {
            break;
        }
        filled += static_cast<std::size_t>(count);
    }
    result.resize(filled);
    return result;
}

bool at_end(int fd) {
    char byte;
    return readable(fd, patience_ms) &&
           through_signals([&] { return recv(fd, &byte, 1, MSG_DONTWAIT); }) <= 0;
}

bool is_quiet(int fd) {
    return !readable(fd, 0);
}

void write_all(int fd, const bytes &data) {
    std::size_t written = 0;
    while (written < data.size()) {
        const ssize_t count = through_signals(
            [&] { return send(fd, data.data() + written, data.size() - written, MSG_NOSIGNAL); });
        if (count <= 0) {
            throw std::runtime_error("the other end of the test's connection is gone");
        }
        written += static_cast<std::size_t>(count);
    }
}

stream_pair make_stream_pair() {
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
        throw std::runtime_error("no socket pair");
    }
    return {sim::file_descriptor(ends[0]), sim::file_descriptor(ends[1])};
}

signal_rain::signal_rain() {
    signals_seen = 0;
    struct sigaction action {};
    action.sa_handler = [](int) { signals_seen = signals_seen + 1; };
    sigaction(SIGALRM, &action, &before_);
    const itimerval each{{0, 1000}, {0, 1000}};
    setitimer(ITIMER_REAL, &each, nullptr);
}

signal_rain::~signal_rain() {
    const itimerval never{};
    setitimer(ITIMER_REAL, &never, nullptr);
    sigaction(SIGALRM, &before_, nullptr);
}
