// What is wrong with the input or with the switch, in words for the person at the terminal.
#pragma once

#include <stdexcept>

namespace feed {

// The table, or another input, is not what it has to be. The text names the input and the place in
// it.
class input_error : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// The switch could not be reached, refused, or went away.
class session_error : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// The switch answered that it will not do what was asked; it goes on with other requests.
class refused_request : public session_error {
public:
    using session_error::session_error;
};

// The command line makes no sense, in a way that the option parser does not see.
class usage_error : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

} // namespace feed
