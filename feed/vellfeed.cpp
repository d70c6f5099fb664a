// Mirrors a kernel's multicast state into the service: the program and its command line.
#include "feed/command_line.h"
#include "feed/failure.h"
#include "sim/base/number_option.h"
#include "sim/base/print.h"
#include "sim/base/usage.h"
#include "sim/wire/protocol.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <new>

namespace feed {

namespace {

constexpr int exit_failed = 1;
constexpr int exit_usage = 2;

constexpr command commands[] = {
    {"send", "Make the switch have what one or more snapshots say, one after the other", make_send},
    {"remove", "Remove from the switch what a snapshot says", make_remove},
    {"follow", "Keep the switch in step with this machine", make_follow},
    {"compare", "Compare a snapshot with what the switch has", make_compare},
    {"repair", "Ask the switch what it has, and send only what differs from a snapshot",
     make_repair},
    {"record", "Write a snapshot of this machine", make_record},
    {"stats", "Ask for the counters of a route, or clear them", make_stats},
    {"ltl", "Allocate, modify or release an LTL index", make_ltl},
    {"notice", "Send a single notice: a dux role, a marker, the overlay's and others", make_notice},
};

// What could not be printed is not a success.
int flushed(int exit_code, std::ostream &out) {
    if (!out.flush()) {
        throw std::runtime_error(fmt::format("{}standard output could not be written",
                                             exit_code == 0 ? "it was done, but " : ""));
    }
    return exit_code;
}

std::pair<std::string, std::uint16_t> parse_vlan(const std::string &text) {
    const std::size_t equals = text.rfind('=');
    if (equals != 0 && equals != std::string::npos) {
        const auto vlan = sim::parse_number(text.substr(equals + 1));
        if (vlan && VELL_SIM_IS_VLAN(*vlan)) {
            return {text.substr(0, equals), static_cast<std::uint16_t>(*vlan)};
        }
    }
    throw CLI::ValidationError("--vlan", fmt::format("{}: expected BRIDGE=N with a VLAN id N from "
                                                     "1 to {}",
                                                     in_quotes(text), VELL_SIM_HIGHEST_VLAN));
}

table_choice parse_tables(const std::vector<std::string> &names) {
    table_choice chosen;
    for (const std::string &name : names) {
        bool is_table = false;
        for_each_table([&](const auto &one) {
            if (name == one.name) {
                is_table = chosen.*one.choice = true;
            }
        });
        if (!is_table) {
            throw CLI::ValidationError(
                "--only",
                fmt::format("{}: the tables are routes, groups, floods and ltls", in_quotes(name)));
        }
    }
    return chosen;
}

// The option library speaks of its own types.
CLI::Error in_plain_words(const CLI::App &app, const CLI::ParseError &error) {
    const std::string_view what = error.what();
    const std::size_t colon = what.find(": ");
    return colon != what.npos && what.ends_with(" missing")
               ? CLI::Error("ArgumentMismatch",
                            fmt::format("{} needs a value", what.substr(0, colon)))
               : sim::explained(app, error);
}

int run(CLI::App &app, int argc, const char *const *argv, command_context &context) {
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        const int exit_code = app.exit(in_plain_words(app, error), context.out, context.err);
        return exit_code == 0 ? flushed(0, context.out) : exit_usage;
    }
    return flushed(context.chosen(), context.out);
}

} // namespace

void add_commands(CLI::App &parent, std::span<const command> added, command_context &context) {
    parent.require_subcommand(1);
    for (const command &one : added) {
        CLI::App *app = parent.add_subcommand(one.name, one.help);
        if (action run = one.make(*app, context)) {
            app->callback([&context, run = std::move(run)] { context.chosen = run; });
        }
    }
}

std::string check_directory(const std::string &path) {
    return path.empty() ? "the directory's path is empty: name one" : "";
}

void add_run_dir(CLI::App &app) {
    const auto set = [](const std::string &path) { setenv("VELLSIM_RUN_DIR", path.c_str(), 1); };
    app.add_option_function<std::string>(
           "--run-dir", set, "Where the switch is found (default: as `vellsim run --help` says)")
        ->check(check_directory)
        ->option_text("DIR");
}

void add_client_options(CLI::App &app, session_options &options) {
    add_run_dir(app);
    app.add_option("--timeout", options.timeout_ms,
                   "How long to wait for an answer of the switch, in ms (default 5000)")
        ->option_text("MS")
        ->transform(sim::number_up_to(std::numeric_limits<int>::max()));
    sim::add_number(app, "--uuid", options.uuid, "Uuid to register with (default 500)")
        ->option_text("N");
}

void add_plan_options(CLI::App &app, plan_options &options) {
    app.add_option_function<std::vector<std::string>>(
           "--only",
           [&options](const std::vector<std::string> &names) {
               options.only = parse_tables(names);
           },
           "Only these tables: routes, groups, floods, ltls")
        ->option_text("TABLE,...")
        ->delimiter(',')
        ->allow_extra_args(false);
    app.add_option_function<std::vector<std::string>>(
           "--vlan",
           [&options](const std::vector<std::string> &texts) {
               for (const std::string &text : texts) {
                   const auto [bridge, vlan] = parse_vlan(text);
                   if (!options.vlans.emplace(bridge, vlan).second) {
                       throw CLI::ValidationError("--vlan", in_quotes(text) +
                                                                ": the bridge has a VLAN already");
                   }
               }
           },
           "VLAN of a bridge whose name does not say it, as br10 does; may be given several times")
        ->option_text("BRIDGE=N")
        ->allow_extra_args(false);
    app.add_option("--bridge", options.bridges,
                   "Only this bridge's groups, floods and LTLs; may be given several times")
        ->option_text("NAME")
        ->allow_extra_args(false);
}

void add_quiet(CLI::App &app, bool &quiet, const char *help) {
    app.add_flag("--quiet", quiet, help);
}

void add_json(CLI::App &app, sim::output_form &form, const char *help) {
    app.add_flag_callback(
        "--json", [&form] { form = sim::output_form::json; }, help);
}

void print_result(sim::output &result, std::ostream &out) {
    std::string text = result.take() + (result.is_json() ? "\n" : "");
    if (!(out << text).flush()) {
        const std::string why = std::strerror(errno);
        text.pop_back();
        throw std::runtime_error(
            fmt::format("it was done, but standard output cannot be written ({}): {}", why, text));
    }
}

int run_vellfeed(int argc, const char *const *argv, std::ostream &out, std::ostream &err) {
    command_context context{out, err, {}};
    CLI::App app("Mirrors a Linux kernel's multicast state into the vell service.", "vellfeed");
    app.get_formatter()->column_width(34);
    app.failure_message(sim::usage_text);
    app.set_version_flag("--version", std::string("vellfeed ") + VELL_VERSION);
    app.footer("A snapshot is a directory of what `ip -j` and `bridge -j` print; `vellfeed record` "
               "writes one.\nExit codes: 0 done, 1 not done or not equal, 2 wrong usage.\n"
               "Example: vellfeed send samples/campus && vellfeed compare samples/campus");
    add_commands(app, commands, context);
    try {
        return run(app, argc, argv, context);
    } catch (const usage_error &error) {
        fmt::print(err, "vellfeed: {}\n", error.what());
        return exit_usage;
    } catch (const std::bad_alloc &) {
        fmt::print(err, "vellfeed: there is not enough memory\n");
    } catch (const std::exception &error) {
        fmt::print(err, "vellfeed: {}\n", error.what());
    }
    return exit_failed;
}

} // namespace feed
