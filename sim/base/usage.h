// What a program of the simulator answers to a wrong command line.
#pragma once

#include "sim/base/text.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <fmt/format.h>
#include <string>
#include <vector>

namespace sim {

// The innermost command that was given, and its words after the program's name, each followed by a
// space.
inline const CLI::App *chosen_command(const CLI::App *app, std::string &words) {
    while (!app->get_subcommands().empty()) {
        app = app->get_subcommands().front();
        words += app->get_name() + " ";
    }
    return app;
}

// The failure message of an app; what a terminal might obey is escaped.
inline std::string usage_text(const CLI::App *app, const CLI::Error &error) {
    std::string words;
    chosen_command(app, words);
    return fmt::format("{0}: {1}\nRun `{0} {2}--help` for more information.\n", app->get_name(),
                       printable_lines(error.what()), words);
}

// A missing command, and words that belong to no option, in full sentences: someone who misspelt a
// command should not read that one is missing.
inline CLI::Error explained(const CLI::App &app, const CLI::ParseError &error) {
    std::string words = app.get_name() + " ";
    const CLI::App *command = chosen_command(&app, words);
    words.pop_back();
    const std::vector<std::string> unknown = command->remaining();
    const auto is_option = [](const std::string &word) { return word.starts_with('-'); };
    const auto option = std::find_if(unknown.begin(), unknown.end(), is_option);
    std::vector<std::string> names;
    for (const CLI::App *one : command->get_subcommands([](const CLI::App *) { return true; })) {
        names.push_back(one->get_name());
    }
    if (dynamic_cast<const CLI::ExtrasError *>(&error) != nullptr && names.empty() &&
        !unknown.empty()) {
        return CLI::Error("ExtrasError",
                          option == unknown.end()
                              ? fmt::format("`{}` takes no \"{}\"", words, unknown.front())
                              : fmt::format("`{}` has no option {}", words, *option));
    }
    if (error.get_exit_code() == 0 || names.empty()) {
        return error;
    }
    if (unknown.empty()) {
        return CLI::Error("RequiredError",
                          fmt::format("`{}` needs a command: {}", words, fmt::join(names, ", ")));
    }
    return CLI::Error("ExtrasError", fmt::format("there is no {} \"{}\"; the commands are {}",
                                                 is_option(unknown.front()) ? "option" : "command",
                                                 unknown.front(), fmt::join(names, ", ")));
}

} // namespace sim
