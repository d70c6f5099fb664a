// What the other commands need of the running switch.
#pragma once

#include "sim/wire/frame.h"

#include <string>

namespace sim {

struct switch_answer {
    std::string text;  // JSON
    std::string error; // empty when the switch has answered
};

// `text` is the payload of a request of this kind, which has to be one that show replies answer.
switch_answer ask_switch(const std::string &run_directory, frame_kind kind,
                         const std::string &text);

// Tells the switch to end and waits for it, up to so many seconds. Returns an empty string, or what
// is wrong.
std::string stop_switch(const std::string &run_directory, int limit_s);

} // namespace sim
