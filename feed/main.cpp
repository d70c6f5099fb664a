#include "feed/command_line.h"
#include "sim/base/file_descriptor.h"

#include <csignal>
#include <iostream>

int main(int argc, char **argv) {
    sim::hold_standard_descriptors();
    // A reader that is gone must not end the process before it has done, or said, what it was asked.
    std::signal(SIGPIPE, SIG_IGN);
    return feed::run_vellfeed(argc, argv, std::cout, std::cerr);
}
