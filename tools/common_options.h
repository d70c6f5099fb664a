// Options that several commands have, alike for each.
#pragma once

#include "client_session.h"
#include "sim/base/number_option.h"

#include <CLI/CLI.hpp>
#include <cstdint>
#include <string>

namespace feed {

// Of every command that registers with the switch.
void add_session_options(CLI::App &command, session_options &options);

// --message-bytes; `record` is what a message consists of.
void add_message_bytes(CLI::App &command, std::uint32_t &bytes, const char *record);

// --held; `table` is what `vellsim show` is asked for.
void add_held_option(CLI::App &command, std::string &path, const char *table);

void add_quiet_option(CLI::App &command, bool &quiet);

using sim::add_number;

} // namespace feed
