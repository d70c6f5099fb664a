// `vellsim show`: a table of the running switch, or the logs, for people or for programs.
#pragma once

#include "sim/switch/count.h"
#include "sim/switch/show_query.h"

#include <string>

namespace sim {

struct show_options {
    std::string run_directory;
    show_query query{};
    std::string group{}; // as given on the command line
    std::string sink{};  // of the log; empty for all
    bool json = false;
};

// Prints and returns the exit code.
int show(const show_options &options);

// `vellsim count`: prints the route's counters and returns the exit code.
int count(const std::string &run_directory, const count_request &wanted, bool as_json);

} // namespace sim
