// The options of `vellsim run` that make the switch misbehave.
#pragma once

#include "sim/base/cli_fwd.h"
#include "sim/switch/fault_modes.h"

#include <string>

namespace sim {

// `faults` is filled in when the command line is parsed.
void add_fault_options(CLI::App *run, fault_modes &faults);

// The fault modes that the command line asked for, as it did: "--ack twice --ltl-pool 5". Empty
// when there are none.
std::string fault_text(const CLI::App &run);

} // namespace sim
