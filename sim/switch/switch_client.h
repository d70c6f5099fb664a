// What the other commands need of the running switch.
#pragma once

#include "sim/switch/question.h"

#include <string>

namespace sim {

// Asks the switch and copies its answer to standard output as it comes; what a terminal might obey
// is escaped. Complains about what is wrong, and returns the exit code.
int print_answer(const std::string &run_directory, const question &asked);

// Tells the switch to end and waits for it, up to so many seconds. Returns an empty string, or what
// is wrong.
std::string stop_switch(const std::string &run_directory, int limit_s);

} // namespace sim
