// What the commands need of the running switch. Nothing here waits longer than the call's timeout.
#pragma once

#include "sim/switch/question.h"

#include <string>

namespace sim {

struct switch_call {
    std::string run_directory;
    int timeout_s = 30; // for all of it
};

// Asks the switch and copies its answer to standard output as it comes; what a terminal might obey
// is escaped. Complains about what is wrong, and returns the exit code.
int print_answer(const switch_call &to, const question &asked);

// Asks the switch to end, and waits until the next one can start. Complains about what is wrong, and
// returns the exit code.
int end_switch(const switch_call &to);

} // namespace sim
