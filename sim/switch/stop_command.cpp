// `vellsim stop`: once it has succeeded, the next switch can start.
#include "sim/switch/commands.h"
#include "sim/switch/console.h"
#include "sim/switch/switch_client.h"

#include <CLI/CLI.hpp>
#include <cstdlib>
#include <memory>
#include <string>

namespace sim {

namespace {

struct stop_options {
    std::string run_directory;
    int limit_s = 10;
};

int stop(const stop_options &options) {
    const std::string error = stop_switch(options.run_directory, options.limit_s);
    return error.empty() ? EXIT_SUCCESS : fail(error);
}

} // namespace

command_action add_stop(CLI::App &command) {
    const auto options = std::make_shared<stop_options>();
    add_run_directory(command, options->run_directory);
    command.add_option("--wait", options->limit_s, "Give up after so many seconds")
        ->check(CLI::Range(1, 3600).description(""))
        ->type_name("S")
        ->capture_default_str();
    return [options] { return stop(*options); };
}

} // namespace sim
