#include "commands.h"
#include "common_options.h"
#include "sim/base/print.h"

#include <vell.h>

#include <CLI/CLI.hpp>

namespace feed {

namespace {

constexpr char teller[] = "`vellsim show log`";

} // namespace

void marker_command::add_to(CLI::App &command) {
    add_number(command, "N", marker,
               "1 begins a batch of layer-2 messages, 2 ends it; any other value is sent, too")
        ->required();
    add_quiet_option(command, quiet);
    add_session_options(command, session);
    command.footer("Example: vellfeed marker 1");
}

int marker_command::run(std::ostream &out) const {
    client_session client(session);
    require_sent(vell_send_igmp_oob_notification(marker) == 1, "out-of-band marker");
    client.close(teller);
    if (!quiet)
        fmt::print(out, "vellfeed: sent the out-of-band marker {}\n", marker);
    return 0;
}

void download_complete_command::add_to(CLI::App &command) {
    add_quiet_option(command, quiet);
    add_session_options(command, session);
    command.footer("Example: vellfeed download-complete");
}

int download_complete_command::run(std::ostream &out) const {
    client_session client(session);
    require_sent(vell_send_igmp_download_complete() == 1, "end of the download");
    client.close(teller);
    if (!quiet)
        fmt::print(out, "vellfeed: sent that the download is complete\n");
    return 0;
}

} // namespace feed
