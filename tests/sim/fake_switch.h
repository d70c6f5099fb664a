// A switch that a test plays: it listens in a run directory of its own, and the test takes and
// answers connections.
#pragma once

#include "sim/base/file_descriptor.h"
#include "sim/wire/run_dir.h"
#include "tests/sim/frames.h"
#include "tests/support/scratch.h"
#include "tests/support/streams.h"

#include <optional>
#include <stdexcept>
#include <sys/socket.h>
#include <unistd.h>

namespace sim_test {

inline sim::file_descriptor listen_in(const std::string &directory, int backlog = 8) {
    sockaddr_un address;
    if (const std::string reason = sim::service_address(directory, address); !reason.empty())
        throw std::runtime_error(reason);
    unlink(address.sun_path);
    sim::file_descriptor listener(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (bind(listener.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0 ||
        listen(listener.get(), backlog) != 0)
        throw std::runtime_error(std::string("cannot listen at ") + address.sun_path);
    return listener;
}

class fake_switch {
public:
    fake_switch() { start(); }

    void start() { listener_ = listen_in(directory_.path()); }
    void stop() { listener_.reset(); }

    const scratch_directory &directory() const { return directory_; }

    // The next connection; empty when there is none within a few seconds.
    sim::file_descriptor accept() {
        if (!readable(listener_.get(), patience_ms))
            return {};
        return sim::file_descriptor(accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC));
    }

    bool nobody_has_come() const { return is_quiet(listener_.get()); }

private:
    scratch_directory directory_;
    scoped_environment run_dir_{"VELLSIM_RUN_DIR", directory_.path()};
    sim::file_descriptor listener_;
};

} // namespace sim_test
