// The options of a registration, alike for every command that talks to the switch.
#pragma once

#include "client_session.h"

#include <CLI/CLI.hpp>

namespace feed {

void add_session_options(CLI::App &command, session_options &options);

} // namespace feed
