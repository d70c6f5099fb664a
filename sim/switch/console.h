// Text for whoever started the command. A reader that is gone, or a full disk, is no reason to
// fail.
#pragma once

#include <cstdio>
#include <string>

namespace sim {

// "vellsim: text" and a line feed on standard error.
inline void complain(const std::string &text) {
    const std::string line = "vellsim: " + text + "\n";
    std::fwrite(line.data(), 1, line.size(), stderr);
}

} // namespace sim
