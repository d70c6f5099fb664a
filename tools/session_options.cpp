#include "session_options.h"

#include <limits>

namespace feed {

void add_session_options(CLI::App &command, session_options &options) {
    command.add_option("--uuid", options.uuid, "Uuid to register with (default 500)")->option_text("N");
    command
        .add_option("--segment", options.segment, "Name of the shared memory segment to register (default vellfeed)")
        ->option_text("NAME");
    command
        .add_option("--timeout", options.timeout_ms, "How long to wait for the acknowledgment, in ms (default 5000)")
        ->option_text("MS")
        ->check(CLI::Range(0, std::numeric_limits<int>::max()));
}

} // namespace feed
