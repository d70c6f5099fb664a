// vellsim, the simulated switch: every run of it ends with an exit code, and with a message when
// that is not 0.
#include "sim/base/file_descriptor.h"
#include "sim/base/number_option.h"
#include "sim/base/usage.h"
#include "sim/switch/commands.h"
#include "sim/wire/run_dir.h"

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <fmt/format.h>
#include <iostream>
#include <map>
#include <new>
#include <string>

namespace {

constexpr int exit_usage = 2;

struct command {
    const char *name;
    sim::command_action (*add)(CLI::App &command);
    const char *help;
};

constexpr command commands[] = {
    {"run", sim::add_run, "Run the switch until SIGTERM or SIGINT"},
    {"show", sim::add_show, "Print a table of the running switch, or its logs"},
    {"count", sim::add_count,
     "Count traffic for a route of the running switch, which forwards none"},
    {"fault", sim::add_fault, "Print or change how the running switch misbehaves"},
    {"stop", sim::add_stop, "End the running switch and wait until it is gone"},
};

int end_of_parse(const CLI::App &app, const CLI::ParseError &error) {
    if (app.exit(sim::explained(app, error)) != EXIT_SUCCESS) {
        return exit_usage;
    }
    if (!std::cout.flush()) {
        return sim::fail("the output cannot be written");
    }
    return EXIT_SUCCESS;
}

int run_command_line(int argc, char **argv) {
    CLI::App app("A simulated switch: the vell service for clients of libvell.", "vellsim");
    app.set_version_flag("--version", "vellsim " VELLSIM_VERSION);
    app.require_subcommand(1);
    app.failure_message(sim::usage_text);
    std::map<const CLI::App *, sim::command_action> actions;
    for (const command &one : commands) {
        CLI::App *added = app.add_subcommand(one.name, one.help);
        actions[added] = one.add(*added);
    }
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        return end_of_parse(app, error);
    }
    return actions.at(app.get_subcommands().front())();
}

// Where an exception cannot be caught, as when a destructor needs memory.
[[noreturn]] void end_at_once() {
    std::fputs("vellsim: there is not enough memory to go on\n", stderr);
    std::_Exit(EXIT_FAILURE);
}

} // namespace

namespace sim {

void complain(const std::string &text) {
    std::fputs(fmt::format("vellsim: {}\n", printable(text)).c_str(), stderr);
}

int fail(const std::string &why) {
    complain(why);
    return EXIT_FAILURE;
}

std::string reason_of(const std::exception &error) {
    return dynamic_cast<const std::bad_alloc *>(&error) != nullptr ? "there is not enough memory"
                                                                   : error.what();
}

int print(const std::string &text) {
    // A long text is written, and lost, before the flush, which then has nothing left to fail at.
    const bool written = std::fwrite(text.data(), 1, text.size(), stdout) == text.size();
    if (!written || std::fflush(stdout) != 0) {
        return fail(fmt::format("the output cannot be written: {}", std::strerror(errno)));
    }
    return EXIT_SUCCESS;
}

void add_run_directory(CLI::App &command, std::string &run_directory) {
    run_directory = run_dir();
    command
        .add_option("--run-dir", run_directory,
                    "Directory of the switch's socket and logs; default:\n"
                    "$VELLSIM_RUN_DIR, else $XDG_RUNTIME_DIR/vellsim,\n"
                    "else /tmp/vellsim-<uid>")
        ->transform(CLI::Validator(
            [](std::string &path) {
                path = clean_path(path);
                return path.empty() ? "the directory's path is empty: name a directory" : "";
            },
            ""))
        ->type_name("DIR");
}

void add_switch_options(CLI::App &command, switch_call &to) {
    add_run_directory(command, to.run_directory);
    command
        .add_option("--timeout", to.timeout_s,
                    "Give up after S seconds; default " + std::to_string(to.timeout_s))
        ->transform(number_up_to(86'400, 1))
        ->type_name("S");
}

} // namespace sim

int main(int argc, char **argv) {
    std::set_terminate(end_at_once);
    sim::hold_standard_descriptors();
    try {
        return run_command_line(argc, argv);
    } catch (const std::exception &error) {
        return sim::fail(sim::reason_of(error));
    }
}
