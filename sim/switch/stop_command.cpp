// `vellsim stop`: once it has succeeded, the next switch can start.
#include "sim/switch/commands.h"
#include "sim/switch/switch_client.h"

#include <CLI/CLI.hpp>
#include <memory>

namespace sim {

command_action add_stop(CLI::App &command) {
    const auto to = std::make_shared<switch_call>();
    add_switch_options(command, *to);
    return [to] { return end_switch(*to); };
}

} // namespace sim
