// Options that several commands have, alike for each.
#pragma once

#include "client_session.h"

#include <CLI/CLI.hpp>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>

namespace feed {

// Of every command that registers with the switch.
void add_session_options(CLI::App &command, session_options &options);

// --message-bytes; `record` is what a message consists of.
void add_message_bytes(CLI::App &command, std::uint32_t &bytes, const char *record);

// --held; `table` is what `vellsim show` is asked for.
void add_held_option(CLI::App &command, std::string &path, const char *table);

void add_quiet_option(CLI::App &command, bool &quiet);

// A number that has to fit `target`, an unsigned integer, or none.
template <typename Target, typename Number = Target>
CLI::Option *add_number(CLI::App &command, const char *name, Target &target, const std::string &description) {
    constexpr std::int64_t largest = std::numeric_limits<Number>::max();
    return command.add_option(name, target, description)
        ->option_text("0 to " + std::to_string(largest))
        ->check(CLI::Range(std::int64_t{0}, largest));
}
template <typename Number>
CLI::Option *add_number(CLI::App &command, const char *name, std::optional<Number> &target,
                        const std::string &description) {
    return add_number<std::optional<Number>, Number>(command, name, target, description);
}

} // namespace feed
