// The options of `vellsim run` that make the switch misbehave.
#pragma once

#include "fault_modes.h"

#include <CLI/CLI.hpp>

namespace desk {

// `faults` is filled in when the command line is parsed.
void add_fault_options(CLI::App *run, fault_modes &faults);

} // namespace desk
