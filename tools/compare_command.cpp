#include "commands.h"
#include "common_options.h"
#include "compare_routes.h"
#include "held_input.h"
#include "held_routes.h"

#include <CLI/CLI.hpp>

namespace feed {

void compare_command::add_to(CLI::App &command) {
    table.add_to(command);
    add_held_option(command, held_path, "routes");
    command.footer(
        "Give the options with which the table was sent. Prints a line for each field that "
        "differs, "
        "each\nmissing and each unexpected route, and one line that says how many arrived.\n"
        "Example: vellsim show routes --json | vellfeed compare campus.mroute.json --links "
        "campus.links.json --held -");
}

int compare_command::run(std::ostream &out) const {
    table.check(held_path);
    const route_plan plan = load_plan(table, false, out);
    const comparison result =
        compare_routes(plan.routes, parse_held_routes(read_held(held_path, "routes")));
    if (!table.quiet)
        print_comparison(result, "routes", out);
    return result.equal() ? 0 : 1;
}

} // namespace feed
