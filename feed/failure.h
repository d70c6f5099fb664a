// How a command fails: each is a message for standard error, and the exit code that goes with it.
#pragma once

#include "sim/base/text.h"

#include <stdexcept>
#include <string>
#include <string_view>

namespace feed {

// The command line makes no sense: exit code 2.
struct usage_error : std::runtime_error {
    using runtime_error::runtime_error;
};

// An input cannot be used: exit code 1.
struct input_error : std::runtime_error {
    using runtime_error::runtime_error;
};

// The switch went away, refused something or did not answer: exit code 1.
struct session_error : std::runtime_error {
    using runtime_error::runtime_error;
};

// A signal: exit code 1.
struct interrupted : std::runtime_error {
    using runtime_error::runtime_error;
};

// Text from an input as it may appear in a message: printable, and cut when it is long.
inline std::string shortened(std::string_view text) {
    constexpr std::size_t longest = 120;
    return sim::printable(text.substr(0, longest)) + (text.size() > longest ? "..." : "");
}

inline std::string in_quotes(std::string_view text) {
    return '"' + shortened(text) + '"';
}

} // namespace feed
