#include "commands.h"
#include "common_options.h"
#include "counted.h"
#include "flood_update.h"
#include "input_error.h"
#include "manager_answer.h"
#include "switch_port.h"

#include <algorithm>
#include <fmt/ostream.h>

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

void print_changes(const std::vector<flood_change> &changes, const flood_answer &answer, std::ostream &out) {
    std::size_t added = 0;
    std::size_t removed = 0;
    for (std::size_t i = 0; i < changes.size(); ++i) {
        const bool acknowledged = answer.acknowledged[i];
        fmt::print(out, "VLAN {}: {}; {}\n", changes[i].vlan, change_text(changes[i]),
                   acknowledged ? "acknowledged" : "refused: " + status_text(answer.statuses[i]));
        added += acknowledged ? changes[i].added().size() : 0;
        removed += acknowledged ? changes[i].removed().size() : 0;
    }
    fmt::print(out, "vellfeed: updated {}: {} added, {} removed\n",
               counted(static_cast<std::size_t>(std::ranges::count(answer.acknowledged, true)), "flood set"),
               counted(added, "interface"), removed);
}

void check_done(const flood_answer &answer) {
    const auto refused = std::ranges::count(answer.acknowledged, false);
    if (refused > 0) {
        throw session_error(
            fmt::format("the LTL manager refused {} of {}", refused, counted(answer.acknowledged.size(), "flood set")));
    }
    if (!answer.all_done)
        throw session_error("the LTL manager acknowledged every flood set, but says that the update failed");
}

} // namespace

void flood_command::add_to(CLI::App &command) {
    command
        .add_option("PORTS", paths,
                    "What `bridge -j -d link show` printed, a file or - for standard input: of before, and of now. "
                    "Without OLD the manager is taken to have no flood sets")
        ->option_text("[OLD] NEW");
    ports.add_to(command);
    add_session_options(command, session);
    command.footer(
        "Of each VLAN, the ports with \"mcast_flood\" are its flood set. The VLAN is what --vlan says of the bridge, "
        "else\n"
        "the number in its name. A port's name says where it is: eth3-7 is port 7 of line card 3, po12 a "
        "port-channel,\n"
        "vlan10 a VLAN interface; any other is known by its index. VLAN interfaces are passed over. All VLANs go out "
        "in\n"
        "one request; an unchanged one as well, with its line cards. Prints what the manager says of each, and exits "
        "with\n"
        "1 when it refused one. `vellfeed flood-compare` tells what it holds.\n"
        "Example: vellfeed flood flood.ports.json && vellfeed flood flood.ports.json flood-later.ports.json");
}

int flood_command::run(std::ostream &out) const {
    const std::size_t lists = paths.size() + (ports.live ? 1 : 0);
    if (lists == 0)
        throw usage_error("which ports? Name a file, - for standard input, or --live for this machine");
    if (lists > 2)
        throw usage_error(
            "there are too many lists of ports: an older one and a newer one, for which --live may stand");
    ports.check(paths);
    const flood_plan newer = ports.live ? ports.load_live() : ports.load(paths.back());
    const flood_plan older = lists == 2 ? ports.load(paths.front()) : flood_plan{};
    const std::vector<flood_change> changes = flood_changes(older.sets, newer.sets);
    if (changes.empty()) {
        ports.print_left_out(newer, out);
        if (!ports.quiet)
            fmt::print(out, "vellfeed: no bridge has a port: nothing was sent\n");
        return 0;
    }
    client_session client(session);
    const flood_answer answer = send_flood_update(client, changes);
    client.close("`vellfeed flood-compare`");
    ports.print_left_out(newer, out);
    if (!ports.quiet)
        print_changes(changes, answer, out);
    check_done(answer);
    return 0;
}

} // namespace feed
