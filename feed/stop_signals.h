// SIGINT and SIGTERM as something to wait for. They are blocked while it lives.
#pragma once

#include "feed/failure.h"
#include "sim/base/file_descriptor.h"

#include <cerrno>
#include <csignal>
#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

namespace feed {

class stop_signals {
public:
    stop_signals() {
        sigset_t signals;
        sigemptyset(&signals);
        sigaddset(&signals, SIGINT);
        sigaddset(&signals, SIGTERM);
        sigprocmask(SIG_BLOCK, &signals, &before_);
        fd_ = sim::file_descriptor(signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK));
        living_ = this;
    }
    stop_signals(const stop_signals &) = delete;
    stop_signals &operator=(const stop_signals &) = delete;
    ~stop_signals() {
        living_ = nullptr;
        // They have been handled; left pending, they would end the process after all.
        signalfd_siginfo handled;
        while (read(fd_.get(), &handled, sizeof handled) > 0) {
        }
        sigprocmask(SIG_SETMASK, &before_, nullptr);
    }

    int fd() const { return fd_.get(); }

    // A signal stays, so that everything that looks for it sees it.
    bool arrived() const {
        pollfd entry{fd_.get(), POLLIN, 0};
        return poll(&entry, 1, 0) == 1;
    }

    // Waits for something to read: from a program that waits for a switch that hangs, that is long.
    // Throws interrupted when a signal comes first. Signals that nobody blocks need no help.
    static void wait_to_read(int file, const std::string &name) {
        pollfd entries[] = {{living_ != nullptr ? living_->fd() : -1, POLLIN, 0},
                            {file, POLLIN, 0}};
        while (poll(entries, 2, -1) < 0 && errno == EINTR) {
        }
        if (entries[0].revents != 0) {
            throw interrupted("interrupted while reading " + name);
        }
    }

private:
    static inline const stop_signals *living_ = nullptr;
    sigset_t before_{};
    sim::file_descriptor fd_;
};

} // namespace feed
