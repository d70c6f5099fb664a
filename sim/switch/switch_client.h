// What the other commands need of the running switch.
#pragma once

#include "show_query.h"

#include <string>

namespace desk {

struct switch_answer {
    std::string text;  // the table as JSON
    std::string error; // empty when the switch has answered
};

switch_answer ask_switch(const std::string &run_directory, const show_query &query);

// Tells the switch to end and waits for it, up to so many seconds. Returns an empty string, or what is wrong.
std::string stop_switch(const std::string &run_directory, int limit_s);

} // namespace desk
