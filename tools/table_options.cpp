#include "table_options.h"

#include "common_options.h"
#include "input_error.h"
#include "interface_indexes.h"
#include "mroute_table.h"
#include "text_input.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <limits>

namespace feed {

namespace {

text_input read_table(const table_options &options) {
    if (!options.live)
        return read_text(options.table_path);
    std::vector<std::string> command = {"ip", "-j", "mroute", "show"};
    if (options.table)
        command.insert(command.end(), {"table", std::to_string(*options.table)});
    return read_command(command);
}

} // namespace

void table_options::add_to(CLI::App &command) {
    CLI::Option *path = command.add_option(
        "TABLE", table_path, "What `ip -j mroute show` printed: a file, or - for standard input");
    CLI::Option *from_kernel = command.add_flag(
        "--live", live, "Take this machine's table and links instead of TABLE; runs `ip`");
    from_kernel->excludes(path);
    path->option_text("FILE");
    command
        .add_option("--links", links_path,
                    "What `ip -j link show` printed, for the interface indexes; without it they "
                    "are this machine's")
        ->option_text("FILE")
        ->excludes(from_kernel);
    command.add_flag(
        "--number-interfaces", number_interfaces,
        "Number unknown interface names from 1 in order of appearance, and print which got which");
    command
        .add_option(
            "--table", table,
            "Table id of entries that name no table (default 253); with --live, the table to take")
        ->option_text("N")
        ->check(CLI::Range(std::uint32_t{1}, std::numeric_limits<std::uint32_t>::max()));
    add_number(command, "--epoch", epoch, "Epoch of every route (default 0)")->option_text("N");
    add_quiet_option(command, quiet);
}

void table_options::check(const std::string &other_input) const {
    if (!live && table_path.empty())
        throw usage_error(
            "which table? Name a file, - for standard input, or --live for this machine");
    const std::array<std::string, 3> inputs = {table_path, links_path, other_input};
    if (std::count(inputs.begin(), inputs.end(), "-") > 1)
        throw usage_error("standard input (-) can be read only once");
}

route_plan load_plan(const table_options &options, bool deletion, std::ostream &out) {
    const mroute_table table = parse_mroute_table(read_table(options));
    const interface_indexes interfaces(
        table, choose_source(options.live, options.links_path, options.numbering_option),
        options.number_interfaces);
    plan_options planning;
    planning.table = options.table.value_or(planning.table);
    planning.epoch = options.epoch;
    planning.deletion = deletion;
    route_plan plan = plan_routes(table, interfaces, planning);
    if (!options.quiet)
        print_numbered(interfaces, out);
    return plan;
}

} // namespace feed
