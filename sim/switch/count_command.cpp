// `vellsim count`: moves a route's counters and prints them.
#include "sim/switch/commands.h"
#include "sim/switch/question.h"

namespace sim {

command_action add_count(CLI::App &command) {
    return add_question(command, *find_question("count"));
}

} // namespace sim
