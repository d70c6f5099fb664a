#include "commands.h"
#include "common_options.h"
#include "counted.h"
#include "flood_update.h"
#include "input_error.h"
#include "manager_answer.h"
#include "sim/base/print.h"
#include "switch_port.h"

#include <nerb_sim.h>

#include <CLI/CLI.hpp>
#include <algorithm>

namespace feed {

namespace {

// "added Eth3/7; removed Eth3/8", or "unchanged"
std::string change_text(const flood_change &change) {
    const auto added = change.added();
    const auto removed = change.removed();
    if (added.empty() && removed.empty())
        return "unchanged";
    std::string text = added.empty() ? "" : "added " + switch_names(added);
    if (!removed.empty())
        text += (text.empty() ? "removed " : "; removed ") + switch_names(removed);
    return text;
}

struct totals {
    std::size_t updated = 0;
    std::size_t unchanged = 0;
    std::size_t added = 0;
    std::size_t removed = 0;
};

void count(const flood_change &change, totals &acknowledged) {
    const std::size_t added = change.added().size();
    const std::size_t removed = change.removed().size();
    ++(added + removed > 0 ? acknowledged.updated : acknowledged.unchanged);
    acknowledged.added += added;
    acknowledged.removed += removed;
}

void print_changes(const std::vector<flood_change> &changes, const flood_answer &answer,
                   std::ostream &out) {
    totals acknowledged;
    for (std::size_t i = 0; i < changes.size(); ++i) {
        fmt::print(out, "VLAN {}: {}; {}\n", changes[i].vlan, change_text(changes[i]),
                   answer.acknowledged[i] ? "acknowledged"
                                          : "refused: " + status_text(answer.statuses[i]));
        if (answer.acknowledged[i])
            count(changes[i], acknowledged);
    }
    fmt::print(out, "vellfeed: updated {}: {} added, {} removed; {} unchanged\n",
               counted(acknowledged.updated, "flood set"), counted(acknowledged.added, "interface"),
               acknowledged.removed, acknowledged.unchanged);
}

// What to do when the manager holds something else than it was taken to hold.
std::string remedy(const flood_answer &answer, bool older_given) {
    const auto is_mismatch = [](std::uint32_t status) {
        return status == NERB_SIM_INTERFACE_PRESENT || status == NERB_SIM_INTERFACE_ABSENT;
    };
    if (std::ranges::none_of(answer.statuses, is_mismatch))
        return {};
    return older_given
               ? "; it does not hold what OLD says: `vellsim show flood` tells what it holds"
               : "; it has flood sets already: name the ports that they were made of as OLD";
}

void check_done(const flood_answer &answer, bool older_given) {
    const auto refused = std::ranges::count(answer.acknowledged, false);
    if (refused > 0) {
        throw session_error(fmt::format("the LTL manager refused {} of {}{}", refused,
                                        counted(answer.acknowledged.size(), "flood set"),
                                        remedy(answer, older_given)));
    }
    if (!answer.all_done)
        throw session_error(
            "the LTL manager acknowledged every flood set, but says that the update failed");
}

} // namespace

void flood_command::add_to(CLI::App &command) {
    command
        .add_option("PORTS", paths,
                    "What `bridge -j -d link show` printed, a file or - for standard input: of "
                    "before, and of now. "
                    "Without OLD the manager is taken to have no flood sets")
        ->option_text("[OLD] NEW");
    ports.add_to(command);
    add_session_options(command, session);
    command.footer("Of each VLAN, the ports with \"mcast_flood\" are its flood set. The VLAN is "
                   "what --vlan says of the bridge, "
                   "else\n"
                   "the number in its name. A port's name says where it is: eth3-7 is port 7 of "
                   "line card 3, po12 a "
                   "port-channel,\n"
                   "vlan10 a VLAN interface; any other is known by its index. VLAN interfaces are "
                   "passed over. All VLANs go out "
                   "in\n"
                   "one request; an unchanged one as well, with its line cards. Prints what the "
                   "manager says of each, and exits "
                   "with\n"
                   "1 when it refused one. `vellfeed flood-compare` tells what it holds.\n"
                   "Example: vellfeed flood flood.ports.json && vellfeed flood flood.ports.json "
                   "flood-later.ports.json");
}

int flood_command::run(std::ostream &out) const {
    const std::size_t lists = paths.size() + (ports.live ? 1 : 0);
    if (lists == 0)
        throw usage_error(
            "which ports? Name a file, - for standard input, or --live for this machine");
    if (lists > 2)
        throw usage_error("there are too many lists of ports: an older one and a newer one, for "
                          "which --live may stand");
    ports.check(paths);
    const flood_plan newer = ports.live ? ports.load_live() : ports.load(paths.back());
    const flood_plan older = lists == 2 ? ports.load(paths.front()) : flood_plan{};
    ports.check_bridges(newer, older);
    const std::vector<flood_change> changes = flood_changes(older.sets, newer.sets);
    if (changes.empty()) {
        ports.print_left_out(newer, out);
        if (!ports.quiet)
            fmt::print(out, "vellfeed: no bridge has a port: nothing was sent\n");
        return 0;
    }
    client_session client(session);
    const flood_answer answer = send_flood_update(client, changes);
    ports.print_left_out(newer, out);
    // Told whatever becomes of the connection: it is not to be had again.
    if (!ports.quiet)
        print_changes(changes, answer, out);
    client.close("`vellfeed flood-compare`");
    check_done(answer, lists == 2);
    return 0;
}

} // namespace feed
