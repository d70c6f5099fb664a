#include "common_options.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <limits>

namespace feed {

namespace {

// As much as the simulator's transport takes in one piece.
constexpr std::uint32_t largest_message = 16u << 20;

} // namespace

void add_session_options(CLI::App &command, session_options &options) {
    add_number(command, "--uuid", options.uuid, "Uuid to register with (default 500)")
        ->option_text("N");
    command
        .add_option("--segment", options.segment,
                    "Name of the shared memory segment to register (default vellfeed)")
        ->option_text("NAME");
    command
        .add_option("--timeout", options.timeout_ms,
                    "How long to wait for an answer of the switch, in ms (default 5000)")
        ->option_text("MS")
        ->check(CLI::Range(0, std::numeric_limits<int>::max()));
}

void add_message_bytes(CLI::App &command, std::uint32_t &bytes, const char *record) {
    command
        .add_option(
            "--message-bytes", bytes,
            fmt::format(
                "Bytes that a message may have (default 65536); a larger {} gets one of its own",
                record))
        ->option_text("N")
        ->check(CLI::Range(std::uint32_t{1}, largest_message));
}

void add_held_option(CLI::App &command, std::string &path, const char *table) {
    command
        .add_option("--held", path,
                    fmt::format("What `vellsim show {} --json` printed: a file, or - for standard "
                                "input; without it, "
                                "vellsim is run",
                                table))
        ->option_text("FILE");
}

void add_quiet_option(CLI::App &command, bool &quiet) {
    command.add_flag("--quiet", quiet, "Print nothing but errors");
}

} // namespace feed
