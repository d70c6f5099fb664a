// The commands of vellsim: each adds its options and returns what it does once they are parsed. A
// command is one source, and a row in main.cpp.
#pragma once

#include "sim/base/cli_fwd.h"

#include <functional>
#include <string>

namespace sim {

struct question_kind;
struct switch_call;

using command_action = std::function<int()>; // returns the exit code

command_action add_run(CLI::App &command);
command_action add_show(CLI::App &command);
command_action add_show_log(CLI::App &command); // `show log`
command_action add_count(CLI::App &command);
command_action add_stop(CLI::App &command);
command_action add_fault(CLI::App &command);

// A command that asks the running switch and prints the answer: its options are the members of the
// question.
command_action add_question(CLI::App &command, const question_kind &kind);

// The option that all of them have.
void add_run_directory(CLI::App &command, std::string &run_directory);

// The options of those that ask the running switch.
void add_switch_options(CLI::App &command, switch_call &to);

// One option per fault mode. Their text, for set_faults(), is added to `modes`.
void add_fault_options(CLI::App &command, std::string &modes);

} // namespace sim
