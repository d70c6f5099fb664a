// `vellsim fault`: how the running switch misbehaves, and the same options as those of `vellsim
// run` to change it.
#include "sim/switch/commands.h"
#include "sim/switch/fault_modes.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <memory>
#include <string>
#include <vector>

namespace sim {

namespace {

struct fault_options {
    switch_call to;
    std::string modes; // that the command line asks for
    bool clear = false;
    bool json = false;
};

void append_mode(const std::string &option, const std::string &value, std::string &modes) {
    const std::string mode = value.empty() ? option : fmt::format("{} {}", option, value);
    modes += (modes.empty() ? "" : " ") + mode;
}

void add_mode(CLI::App &command, const fault_mode &mode, std::string &modes) {
    const std::string option = fmt::format("--{}", mode.name);
    const std::string help(mode.help);
    constexpr const char *group = "Fault modes, for testing clients";
    if (mode.value.empty()) {
        command
            .add_flag_callback(
                option, [option, &modes] { append_mode(option, "", modes); }, help)
            ->group(group);
        return;
    }
    const auto add = [option, &mode, &modes](const std::vector<std::string> &values) {
        for (const std::string &value : values) {
            fault_modes scratch;
            if (const std::string error = mode.set(scratch, value); !error.empty()) {
                throw CLI::ValidationError(option, error);
            }
            append_mode(option, value, modes);
        }
    };
    command.add_option_function<std::vector<std::string>>(option, add, help)
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
        ->allow_extra_args(false)
        ->type_name(std::string(mode.value))
        ->group(group);
}

} // namespace

void add_fault_options(CLI::App &command, std::string &modes) {
    for (const fault_mode &mode : all_fault_modes()) {
        add_mode(command, mode, modes);
    }
}

command_action add_fault(CLI::App &command) {
    const auto options = std::make_shared<fault_options>();
    add_switch_options(command, options->to);
    command.add_flag("--clear", options->clear, "Switch off all fault modes that are not given");
    command.add_flag("--json", options->json, "Print JSON, for programs");
    add_fault_options(command, options->modes);
    command.footer("Without a fault mode it prints those that are on.\n\nExamples:\n"
                   "  vellsim fault --ack late:300 --slow 20\n"
                   "  vellsim fault --clear");
    return [options] {
        question asked{.ask = "fault",
                       .form = options->json ? output_form::json : output_form::text};
        if (options->clear) {
            asked.members["clear"] = "true";
        }
        if (!options->modes.empty()) {
            asked.members["modes"] = options->modes;
        }
        return print_answer(options->to, asked);
    };
}

} // namespace sim
