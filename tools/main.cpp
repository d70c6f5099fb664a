#include "vellfeed.h"

#include <cstdio>
#include <iostream>

int main(int argc, char **argv) {
    const int status = feed::run_vellfeed(argc, argv, std::cout, std::cerr);
    // A summary that did not reach its reader is no success.
    if (!std::cout.flush()) {
        std::perror("vellfeed: standard output");
        return 1;
    }
    return status;
}
