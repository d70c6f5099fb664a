// `vellsim run`: the switch itself.
#pragma once

#include "sim/switch/fault_modes.h"

#include <string>

namespace sim {

struct run_options {
    std::string run_directory;
    bool quiet = false;
    bool detach = false; // go on in the background once clients can reach it
    fault_modes faults{};
    std::string fault_text{}; // as they were asked for, for the log
};

inline constexpr int exit_died = 3; // what --die-after exits with

// Serves until SIGTERM or SIGINT. Returns the exit code.
int run_switch(const run_options &options);

} // namespace sim
