// The commands of vellsim: each adds its options and returns what it does once they are parsed. A
// command is one source, and a row in main.cpp.
#pragma once

#include "sim/switch/question.h"

#include <exception>
#include <functional>
#include <string>

// By its name alone: what defines it takes long to compile.
namespace CLI {
class App;
}

namespace sim {

using command_action = std::function<int()>; // returns the exit code

command_action add_run(CLI::App &command);
command_action add_show(CLI::App &command);
command_action add_show_log(CLI::App &command); // `show log`
command_action add_count(CLI::App &command);
command_action add_fault(CLI::App &command);
command_action add_stop(CLI::App &command);

// The option that all of them have.
void add_run_directory(CLI::App &command, std::string &run_directory);

// One option per fault mode. Their text, for set_faults(), is added to `modes`.
void add_fault_options(CLI::App &command, std::string &modes);

// Text for people is best effort: a reader that is gone, or a full disk, does not make a command
// fail. What was asked for is not: print() says when it cannot be written.
//
// "vellsim: text" and a line feed on standard error.
void complain(const std::string &text);

// The same; returns the exit code of a command that fails.
int fail(const std::string &why);

// What went wrong, for people.
std::string reason_of(const std::exception &error);

// Onto standard output. Returns the exit code.
int print(const std::string &text);

// A call to the running switch, which waits no longer than its timeout.
struct switch_call {
    std::string run_directory;
    int timeout_s = 30; // for all of it
};

// Asks the switch and copies its answer to standard output as it comes; what a terminal might obey
// is escaped. Complains about what is wrong, and returns the exit code.
int print_answer(const switch_call &to, const question &asked);

// Asks the switch to end, and waits until the next one can start. Complains about what is wrong,
// and returns the exit code.
int end_switch(const switch_call &to);

// Its options.
void add_switch_options(CLI::App &command, switch_call &to);

} // namespace sim
