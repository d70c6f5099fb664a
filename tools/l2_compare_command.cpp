#include "commands.h"
#include "common_options.h"
#include "compare_l2.h"
#include "held_input.h"
#include "held_l2.h"

#include <CLI/CLI.hpp>

namespace feed {

void l2_compare_command::add_to(CLI::App &command) {
    mdb.add_to(command);
    add_held_option(command, held_path, "l2");
    command.footer(
        "Give the options with which the database was sent. Prints a line for each field that "
        "differs, "
        "each\nmissing and each unexpected entry, and one line that says how many arrived.\n"
        "Example: vellsim show l2 --json | vellfeed l2-compare snooping.mdb.json --links "
        "snooping.links.json --held -");
}

int l2_compare_command::run(std::ostream &out) const {
    mdb.check({held_path});
    const l2_plan plan = load_l2(mdb, {}, out).newer;
    const comparison result = compare_l2(plan.entries, parse_held_l2(read_held(held_path, "l2")));
    if (!mdb.quiet)
        print_comparison(result, "entries", out);
    return result.equal() ? 0 : 1;
}

} // namespace feed
