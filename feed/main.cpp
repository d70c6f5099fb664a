#include "feed/commands.h"

#include <csignal>
#include <fcntl.h>
#include <iostream>
#include <unistd.h>

// A descriptor that somebody closed before would otherwise be the next file's, and what is printed
// would go there. What is in its place cannot be read from or written to.
static void hold_standard_descriptors() {
    for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(fd, F_GETFD) < 0) {
            open("/dev/null", fd == STDIN_FILENO ? O_WRONLY : O_RDONLY);
        }
    }
}

int main(int argc, char **argv) {
    hold_standard_descriptors();
    // A reader that is gone must not end the process before it has done, or said, what it was asked.
    std::signal(SIGPIPE, SIG_IGN);
    return feed::run_vellfeed(argc, argv, std::cout, std::cerr);
}
