#include "vellfeed.h"

#include "commands.h"
#include "input_error.h"
#include "session_options.h"

#include <CLI/CLI.hpp>
#include <fmt/ostream.h>
#include <functional>
#include <new>

namespace feed {

namespace {

constexpr int exit_failed = 1;
constexpr int exit_usage = 2;

// As much as the desk's transport takes in one piece.
constexpr std::uint32_t largest_message = 16u << 20;

class program {
public:
    program() : app_("Hands multicast forwarding state to the vell service, and checks what arrived.", "vellfeed") {
        app_.require_subcommand(1);
        app_.get_formatter()->column_width(34);
        app_.failure_message([](const CLI::App *, const CLI::Error &error) {
            return fmt::format("vellfeed: {}\nRun with --help for more information.\n", error.what());
        });
        app_.set_version_flag("--version", std::string("vellfeed ") + VELL_VERSION);
        app_.footer("The switch is found in VELLSIM_RUN_DIR; start one with `vellsim run`.\n"
                    "Exit codes: 0 done, 1 not done or not equal, 2 wrong usage.\n"
                    "Example: vellfeed routes --live && vellfeed compare --live");
        add_routes();
        add_compare();
        add_role();
        add_notice6();
    }

    int run(int argc, const char *const *argv, std::ostream &out, std::ostream &err) {
        try {
            app_.parse(argc, argv);
        } catch (const CLI::ParseError &error) {
            return app_.exit(error, out, err) == 0 ? 0 : exit_usage;
        }
        try {
            return chosen_(out);
        } catch (const usage_error &error) {
            fmt::print(err, "vellfeed: {}\n", error.what());
            return exit_usage;
        } catch (const std::bad_alloc &) {
            fmt::print(err, "vellfeed: there is not enough memory for this table\n");
        } catch (const std::exception &error) {
            fmt::print(err, "vellfeed: {}\n", error.what());
        }
        return exit_failed;
    }

private:
    template <typename Command>
    CLI::App *add_command(const char *name, const char *description, Command &command) {
        CLI::App *added = app_.add_subcommand(name, description);
        added->callback([this, &command] { chosen_ = [&command](std::ostream &out) { return command.run(out); }; });
        return added;
    }

    void add_routes() {
        CLI::App *command = add_command("routes", "Send a kernel's multicast routing table to the service", routes_);
        routes_.table.add_to(*command);
        command->add_flag("--delete", routes_.deletion, "Delete the table's routes instead of adding them");
        command
            ->add_option("--message-bytes", routes_.message_bytes,
                         "Bytes that a message may have (default 65536); a larger route gets one of its own")
            ->option_text("N")
            ->check(CLI::Range(std::uint32_t{1}, largest_message));
        add_session_options(*command, routes_.session);
        command->footer(
            "The whole table is read and checked before anything is sent. Entries that the kernel has not\n"
            "resolved yet, or whose incoming interface is gone, are skipped and counted. Sent means handed\n"
            "to the transport; `vellfeed compare` tells what arrived.\n"
            "Example: vellfeed routes campus.mroute.json --links campus.links.json");
    }

    void add_compare() {
        CLI::App *command =
            add_command("compare", "Compare a table, entry by entry, with what the switch holds", compare_);
        compare_.table.add_to(*command);
        command
            ->add_option("--held", compare_.held_path,
                         "What `vellsim show routes --json` printed: a file, or - for standard input; without it, "
                         "vellsim is run")
            ->option_text("FILE");
        command->footer("Give the options with which the table was sent. Prints a line for each field that differs, "
                        "each\nmissing and each unexpected route, and one line that says how many arrived.\n"
                        "Example: vellsim show routes --json | vellfeed compare campus.mroute.json --links "
                        "campus.links.json --held -");
    }

    void add_role() {
        CLI::App *command = add_command("role", "Send a dux role update", role_);
        command->add_option("ROLE", role_.name, "The role: all, even, odd or none");
        command->add_option("--value", role_.value, "A role by its number, meaningful or not, instead of ROLE")
            ->option_text("N");
        command->add_flag("--quiet", role_.quiet, "Print nothing but errors");
        add_session_options(*command, role_.session);
        command->footer("Example: vellfeed role even");
    }

    void add_notice6() {
        CLI::App *command = add_command("notice6", "Send an IPv6 route notice: two words and a 16-bit value", notice6_);
        command->add_option("FIRST", notice6_.first, "First word")->required();
        command->add_option("SECOND", notice6_.second, "Second word")->required();
        command->add_option("THIRD", notice6_.third, "16-bit value")->required();
        command->add_flag("--quiet", notice6_.quiet, "Print nothing but errors");
        add_session_options(*command, notice6_.session);
        command->footer("Example: vellfeed notice6 1 2 3");
    }

    CLI::App app_;
    std::function<int(std::ostream &)> chosen_;
    routes_command routes_;
    compare_command compare_;
    role_command role_;
    notice6_command notice6_;
};

} // namespace

int run_vellfeed(int argc, const char *const *argv, std::ostream &out, std::ostream &err) {
    return program().run(argc, argv, out, err);
}

} // namespace feed
