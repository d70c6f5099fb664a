// The commands of vellfeed, and what they share. A command is a function that adds its options to the
// command line and returns what is to run once they are read.
#pragma once

#include "feed/mirror.h"
#include "feed/plan.h"
#include "feed/session.h"
#include "sim/base/output.h"

#include <CLI/CLI.hpp>
#include <functional>
#include <ostream>
#include <span>
#include <string>
#include <vector>

namespace feed {

// Returns the exit code: 0, or 1 when something was not done, or is not equal.
using action = std::function<int()>;

struct command_context {
    std::ostream &out;
    std::ostream &err;
    action chosen; // the command of the command line
};

struct command {
    const char *name;
    const char *help; // one line
    action (*make)(CLI::App &app, command_context &context);
};

void add_commands(CLI::App &parent, std::span<const command> added, command_context &context);

action make_send(CLI::App &app, command_context &context);
action make_remove(CLI::App &app, command_context &context);
action make_compare(CLI::App &app, command_context &context);
action make_repair(CLI::App &app, command_context &context);
action make_follow(CLI::App &app, command_context &context);
action make_record(CLI::App &app, command_context &context);
action make_stats(CLI::App &app, command_context &context);
action make_ltl(CLI::App &app, command_context &context);
action make_notice(CLI::App &app, command_context &context);

// A check of CLI11: what is wrong with the name of a directory, or nothing. An empty one, as of a
// variable that is not set, must not be taken for this machine.
std::string check_directory(const std::string &path);

// --run-dir of every command that talks to the switch; sets VELLSIM_RUN_DIR.
void add_run_dir(CLI::App &app);

// --run-dir, --timeout and --uuid of every command that is a client.
void add_client_options(CLI::App &app, session_options &options);

// --only, --vlan and --bridge of every command that reads snapshots.
void add_plan_options(CLI::App &app, plan_options &options);

void add_quiet(CLI::App &app, bool &quiet, const char *help = "Print nothing but errors");
void add_json(CLI::App &app, sim::output_form &form, const char *help = "Print JSON");

// Prints a result at once that cannot be asked for again: an LTL index, counters that are cleared.
// When standard output is full or closed, throws an error that says so and has the result in its text.
void print_result(sim::output &result, std::ostream &out);

// What was sent between two moments: " floods 1 added; routes 2 added, 1 removed", or members of an
// object that is open.
void print_sent(sim::output &out, const mirror::all_counts &now, const mirror::all_counts &before);

// Runs vellfeed. Returns its exit code: 0, 1 when it could not do what it was asked, 2 when it was asked
// wrongly.
int run_vellfeed(int argc, const char *const *argv, std::ostream &out, std::ostream &err);

} // namespace feed
