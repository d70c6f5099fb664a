// The switch's place in a run directory: at most one switch holds it.
#pragma once

#include "sim/base/file_descriptor.h"

#include <string>

namespace sim {

struct listener {
    file_descriptor lock; // on the run directory; the kernel gives it back however the switch ends
    file_descriptor socket;
    std::string path;
    std::string error; // empty when it listens

    // Takes the socket's name away first, and then lets the next switch in.
    void close();
};

// Prepares the run directory and listens, non-blocking, on its socket. Replaces a socket that
// nobody answers on.
listener open_listener(const std::string &run_directory);

} // namespace sim
