// Options that are numbers: anything else, and what does not fit, is refused with what would have
// been right. A leading zero is only a digit: 010 is 10.
#pragma once

#include "sim/base/text.h"

#include <CLI/CLI.hpp>
#include <cstdint>
#include <fmt/format.h>
#include <limits>
#include <optional>
#include <string>

namespace sim {

inline CLI::Validator number_up_to(std::uint64_t largest, std::uint64_t least = 0) {
    const auto check = [largest, least](std::string &text) {
        const std::optional<std::uint64_t> number = parse_number(text);
        if (!number || *number < least || *number > largest) {
            return fmt::format("{} is not a number from {} to {}", text, least, largest);
        }
        text = std::to_string(*number); // CLI11 reads a leading zero as octal
        return std::string();
    };
    return CLI::Validator(check, "");
}

// `target` is an unsigned integer, or an optional one.
template <typename Target, typename Number = Target>
CLI::Option *add_number(CLI::App &command, const char *name, Target &target,
                        const std::string &description) {
    constexpr std::uint64_t largest = std::numeric_limits<Number>::max();
    return command.add_option(name, target, description)
        ->option_text("0 to " + std::to_string(largest))
        ->transform(number_up_to(largest));
}
template <typename Number>
CLI::Option *add_number(CLI::App &command, const char *name, std::optional<Number> &target,
                        const std::string &description) {
    return add_number<std::optional<Number>, Number>(command, name, target, description);
}

} // namespace sim
