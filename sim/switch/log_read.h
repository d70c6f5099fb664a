// Reading the run directory's log files back.
#pragma once

#include "sim/wire/log_line.h"

#include <cstddef>
#include <string>
#include <vector>

namespace sim {

struct log_contents {
    std::vector<log_line> lines; // by time; lines of the same time in the order of the files
    std::vector<std::string> complaints; // files and lines that cannot be read
    std::string error;                   // not empty: there is no log at all
};

// The lines of the sinks history, client and service, or of the one named.
log_contents read_log_files(const std::string &run_directory, const std::string &sink);

} // namespace sim
