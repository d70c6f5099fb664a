// What a program of the simulator answers to a wrong command line.
#pragma once

#include "sim/base/text.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <string>
#include <vector>

namespace sim {

// The innermost command that was given, and its words after the program's name, each followed by a
// blank.
inline const CLI::App *chosen_command(const CLI::App *app, std::string &words) {
    while (!app->get_subcommands().empty()) {
        app = app->get_subcommands().front();
        words += app->get_name() + " ";
    }
    return app;
}

// The failure message of an app.
inline std::string usage_text(const CLI::App *app, const CLI::Error &error) {
    std::string words;
    chosen_command(app, words);
    return fmt::format("{0}: {1}\nRun `{0} {2}--help` for more information.\n", app->get_name(),
                       error.what(), words);
}

// That a command is missing is no help to someone who misspelt one.
inline CLI::Error explained(const CLI::App &app, const CLI::ParseError &error) {
    std::string words;
    const CLI::App *command = chosen_command(&app, words);
    const std::vector<std::string> unknown = command->remaining();
    const auto offered = command->get_subcommands([](const CLI::App *) { return true; });
    if (error.get_exit_code() == 0 || offered.empty() || unknown.empty()) {
        return error;
    }
    std::vector<std::string> names;
    for (const CLI::App *one : offered) {
        names.push_back(one->get_name());
    }
    return CLI::Error("ExtrasError",
                      fmt::format("there is no {} \"{}\"; the commands are {}",
                                  unknown.front().starts_with('-') ? "option" : "command",
                                  printable(unknown.front()), fmt::join(names, ", ")));
}

} // namespace sim
