// vellsim, the simulated switch: its command line.
#include "sim/base/ipv4_text.h"
#include "sim/base/net_address.h"
#include "sim/base/number_option.h"
#include "sim/base/usage.h"
#include "sim/switch/console.h"
#include "sim/switch/fault_options.h"
#include "sim/switch/run_command.h"
#include "sim/switch/show_command.h"
#include "sim/switch/switch_client.h"
#include "sim/wire/run_dir.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <fmt/format.h>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace {

constexpr int exit_usage = 2;

CLI::Option *add_run_directory(CLI::App *command, std::string &run_directory) {
    return command
        ->add_option("--run-dir", run_directory,
                     "Directory of the switch's socket and logs; default:\n"
                     "$VELLSIM_RUN_DIR, else $XDG_RUNTIME_DIR/vellsim,\n"
                     "else /tmp/vellsim-<uid>")
        ->type_name("DIR");
}

void add_run(CLI::App &app, sim::run_options &options) {
    CLI::App *run = app.add_subcommand("run", "Run the switch until SIGTERM or SIGINT");
    add_run_directory(run, options.run_directory);
    run->add_flag("--quiet", options.quiet,
                  "Keep the service log off standard error; it is in\n"
                  "<run dir>/log/service all the same");
    run->add_flag("--detach", options.detach,
                  "Go on in the background, and return once clients can\n"
                  "reach the switch; its log is then in its file alone");
    sim::add_fault_options(run, options.faults);
    run->final_callback([run, &options] { options.fault_text = sim::fault_text(*run); });
    run->footer("Environment of the switch, of vellfeed and of other clients:\n"
                "  VELLSIM_RUN_DIR          the run directory\n"
                "Environment of clients:\n"
                "  VELLSIM_SEND_TIMEOUT_MS  a switch that takes no byte of a message for so\n"
                "                           many milliseconds counts as gone; default 5000\n"
                "  TESSEL_HISTORY           all, error or off: what the library logs to\n"
                "                           <run dir>/log/history; default all\n"
                "  TESSEL_CONSOLE           all, error or off: what it prints to the\n"
                "                           console; default off");
}

// An option of `show` and the tables that it goes with.
struct show_option {
    const char *name;
    std::vector<std::string> tables;
};

const show_option show_options_by_table[] = {
    {"--client", {"clients", "routes"}},
    {"--table", {"routes", "stats"}},
    {"--group", {"routes", "l2"}},
    {"--vlan", {"l2", "flood", "ltl"}},
    {"--source", {"routes"}},
    {"--limit", {"clients", "routes", "stats", "flood", "ltl", "log"}},
    {"--summary", {"routes"}},
    {"--sink", {"log"}},
};

void check_combinations(const CLI::App &show, const std::string &table) {
    for (const show_option &option : show_options_by_table) {
        const bool fits = std::ranges::find(option.tables, table) != option.tables.end();
        if (show.get_option(option.name)->count() > 0 && !fits) {
            throw CLI::ValidationError(
                option.name, fmt::format("goes with `show {}`, not with `show {}`",
                                         CLI::detail::join(option.tables, "` and `show "), table));
        }
    }
    if (show.get_option("--summary")->count() > 0 && show.get_option("--limit")->count() > 0) {
        throw CLI::ValidationError("--summary", "does not go with --limit");
    }
}

void add_address(CLI::App *show, const char *name, const char *help,
                 std::optional<std::uint32_t> &address) {
    const auto parse = [&address](const std::string &text) {
        address = sim::parse_ipv4(text);
        return address ? std::string()
                       : fmt::format("{} is not an IPv4 address such as 239.1.1.2", text);
    };
    show->add_option_function<std::string>(
            name, [](const std::string &) {}, help)
        ->check(CLI::Validator([parse](std::string &text) { return parse(text); }, ""))
        ->type_name("A.B.C.D");
}

// What a group may be depends on the table, which may stand behind it on the command line.
void read_group(const std::string &text, sim::show_query &query) {
    if (text.empty()) {
        return;
    }
    const std::optional<sim::l2_address> l2_group = sim::parse_l2_address(text);
    query.group = sim::parse_ipv4(text);
    if (query.name == "routes" && !query.group) {
        throw CLI::ValidationError(
            "--group", fmt::format("{} is not an IPv4 address such as 239.1.1.2", text));
    }
    if (query.name == "l2" && !l2_group) {
        throw CLI::ValidationError("--group",
                                   fmt::format("{} is no IPv4, IPv6 or MAC address", text));
    }
    if (query.name == "l2") {
        query.group.reset();
        query.l2_group = sim::address_text(*l2_group);
    }
}

void add_show(CLI::App &app, sim::show_options &options) {
    CLI::App *show = app.add_subcommand("show", "Print a table of the running switch, or its logs");
    show->add_option("TABLE", options.query.name,
                     "What to print; the log is read from its files and\n"
                     "needs no running switch")
        ->required()
        ->check(
            CLI::IsMember({"clients", "routes", "stats", "l2", "flood", "ltl", "overlay", "log"})
                .description(""))
        ->type_name("clients|routes|stats|l2|flood|ltl|overlay|log");
    add_run_directory(show, options.run_directory);
    show->add_flag("--json", options.json, "Print JSON, for programs");
    show->add_option("--client", options.query.client, "clients, routes: only of this client id")
        ->check(CLI::Range(0, 255).description(""))
        ->type_name("ID");
    sim::add_number(*show, "--table", options.query.table,
                    "routes, stats: only of this route table")
        ->option_text("N");
    show->add_option("--group", options.group,
                     "routes, l2: only of this group; of l2 an IPv4, IPv6 or\nMAC address")
        ->type_name("ADDRESS");
    show->add_option("--vlan", options.query.vlan, "l2, flood, ltl: only of this VLAN")
        ->check(CLI::Range(1, 4094).description(""))
        ->type_name("N");
    add_address(show, "--source", "routes: only of this source; 0.0.0.0 is any source",
                options.query.source);
    show->add_flag("--summary", options.query.summary,
                   "routes: counts per table instead of the routes");
    show->add_option("--limit", options.query.limit,
                     "At most so many: the first of a table (not of l2 and\n"
                     "overlay), the latest of the log")
        ->check(CLI::Range(1u, UINT32_MAX).description(""))
        ->type_name("N");
    show->add_option("--sink", options.sink, "log: only this one, history, client or service")
        ->check(CLI::IsMember({"history", "client", "service"}).description(""))
        ->type_name("SINK");
    show->footer("Examples:\n"
                 "  vellsim show routes --group 239.1.1.2\n"
                 "  vellsim show routes --summary\n"
                 "  vellsim show clients --json\n"
                 "  vellsim show log --sink service --limit 20");
    show->final_callback([show, &options] {
        check_combinations(*show, options.query.name);
        read_group(options.group, options.query);
    });
}

struct count_options {
    std::string run_directory;
    sim::count_request wanted{};
    bool json = false;
};

void add_count(CLI::App &app, count_options &options) {
    CLI::App *count = app.add_subcommand(
        "count", "Count traffic for a route of the running switch, which forwards none");
    add_run_directory(count, options.run_directory);
    sim::count_request &wanted = options.wanted;
    count->add_option("--source", wanted.source, "The route's source, IPv4 or IPv6")
        ->required()
        ->type_name("ADDRESS");
    count->add_option("--group", wanted.group, "The route's group, of the same family")
        ->required()
        ->type_name("ADDRESS");
    sim::add_number(*count, "--table", wanted.table, "The route's table; default 253")
        ->option_text("N");
    sim::add_number(*count, "--source-len", wanted.source_length,
                    "Source mask length; the whole address by default")
        ->option_text("N");
    sim::add_number(*count, "--group-len", wanted.group_length, "Group mask length, likewise")
        ->option_text("N");
    sim::add_number(*count, "--packets", wanted.added.packets, "Packets to add")->option_text("N");
    sim::add_number(*count, "--bytes", wanted.added.bytes, "Bytes to add")->option_text("N");
    sim::add_number(*count, "--wrong-if", wanted.added.wrong_if,
                    "Packets on a wrong interface to add")
        ->option_text("N");
    count->add_flag("--json", options.json, "Print JSON, for programs");
    count->final_callback([&wanted] {
        if (wanted.added.packets == 0 && wanted.added.bytes == 0 && wanted.added.wrong_if == 0) {
            throw CLI::ValidationError("nothing to count", "give --packets, --bytes or --wrong-if");
        }
    });
}

struct stop_options {
    std::string run_directory;
    int limit_s = 10;
};

void add_stop(CLI::App &app, stop_options &options) {
    CLI::App *stop = app.add_subcommand("stop", "End the running switch and wait until it is gone");
    add_run_directory(stop, options.run_directory);
    stop->add_option("--wait", options.limit_s, "Give up after so many seconds")
        ->check(CLI::Range(1, 3600).description(""))
        ->type_name("S")
        ->capture_default_str();
}

int stop(const stop_options &options) {
    if (const std::string error = sim::stop_switch(options.run_directory, options.limit_s);
        !error.empty()) {
        sim::complain(error);
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}

} // namespace

int main(int argc, char **argv) {
    CLI::App app("A simulated switch: the vell service for clients of libvell.", "vellsim");
    app.set_version_flag("--version", "vellsim " VELLSIM_VERSION);
    app.require_subcommand(1);
    app.failure_message(sim::usage_text);
    sim::run_options run_options{.run_directory = sim::run_dir()};
    sim::show_options show_options{.run_directory = sim::run_dir()};
    count_options counted{.run_directory = sim::run_dir()};
    stop_options stop_wanted{.run_directory = sim::run_dir()};
    add_run(app, run_options);
    add_show(app, show_options);
    add_count(app, counted);
    add_stop(app, stop_wanted);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        return app.exit(sim::explained(app, error)) == EXIT_SUCCESS ? EXIT_SUCCESS : exit_usage;
    }
    if (app.got_subcommand("run")) {
        return sim::run_switch(run_options);
    }
    if (app.got_subcommand("count")) {
        return sim::count(counted.run_directory, counted.wanted, counted.json);
    }
    return app.got_subcommand("show") ? sim::show(show_options) : stop(stop_wanted);
}
