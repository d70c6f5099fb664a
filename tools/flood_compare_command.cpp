#include "commands.h"
#include "common_options.h"
#include "compare_flood.h"
#include "held_flood.h"
#include "held_input.h"
#include "input_error.h"

#include <CLI/CLI.hpp>

namespace feed {

void flood_compare_command::add_to(CLI::App &command) {
    command
        .add_option("NEW", path,
                    "What `bridge -j -d link show` printed: a file, or - for standard input")
        ->option_text("FILE");
    ports.add_to(command);
    add_held_option(command, held_path, "flood");
    command.footer(
        "Give the options with which the ports were sent. Prints a line for each VLAN's line cards "
        "and\n"
        "interfaces that differ, each missing and each unexpected VLAN, and one line that says how "
        "many\n"
        "arrived. A VLAN that is held without interfaces need not be in the ports.\n"
        "Example: vellsim show flood --json | vellfeed flood-compare flood.ports.json --held -");
}

int flood_compare_command::run(std::ostream &out) const {
    if (path.empty() == !ports.live)
        throw usage_error(
            "which ports? Name a file, - for standard input, or --live for this machine");
    ports.check({path, held_path});
    const flood_plan plan = ports.live ? ports.load_live() : ports.load(path);
    ports.check_bridges(plan);
    const comparison result =
        compare_flood(plan.sets, parse_held_flood(read_held(held_path, "flood")));
    if (!ports.quiet)
        print_comparison(result, "flood sets", out);
    return result.equal() ? 0 : 1;
}

} // namespace feed
