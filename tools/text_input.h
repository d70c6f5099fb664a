// Whole texts, from a file, standard input or the output of a program.
#pragma once

#include <string>
#include <vector>

namespace feed {

struct text_input {
    std::string name; // what error messages call it
    std::string text;
};

// `path` is a file, or "-" for standard input. Throws input_error.
text_input read_text(const std::string &path);

// The standard output of a program that is looked up on the PATH and run without a shell. Throws
// input_error when the program is not there or did not end with exit code 0; what it wrote to
// standard error is in the text then.
text_input read_command(const std::vector<std::string> &arguments);

} // namespace feed
