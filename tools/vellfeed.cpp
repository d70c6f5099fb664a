#include "vellfeed.h"

#include "commands.h"
#include "input_error.h"
#include "sim/base/print.h"
#include "sim/base/usage.h"

#include <CLI/CLI.hpp>
#include <functional>
#include <new>

namespace feed {

namespace {

constexpr int exit_failed = 1;
constexpr int exit_usage = 2;

class program {
public:
    program()
        : app_("Hands multicast forwarding state to the vell service, and checks what arrived.",
               "vellfeed") {
        app_.require_subcommand(1);
        app_.get_formatter()->column_width(34);
        app_.failure_message(sim::usage_text);
        app_.set_version_flag("--version", std::string("vellfeed ") + VELL_VERSION);
        app_.footer("The switch is found in VELLSIM_RUN_DIR; start one with `vellsim run`.\n"
                    "Exit codes: 0 done, 1 not done or not equal, 2 wrong usage.\n"
                    "Example: vellfeed routes --live && vellfeed compare --live");
        add_command(app_, "routes", "Send a kernel's multicast routing table to the service",
                    routes_);
        add_command(app_, "compare", "Compare a table, entry by entry, with what the switch holds",
                    compare_);
        add_command(app_, "role", "Send a dux role update", role_);
        add_command(app_, "notice6", "Send an IPv6 route notice: two words and a 16-bit value",
                    notice6_);
        add_command(app_, "stats", "Ask for the counters of a route, or clear them", stats_);
        add_command(app_, "l2", "Send a kernel's multicast snooping databases to the service", l2_);
        add_command(app_, "l2-compare",
                    "Compare databases, entry by entry, with what the switch holds", l2_compare_);
        add_command(app_, "flood", "Tell the LTL manager how the VLANs' flood sets changed",
                    flood_);
        add_command(app_, "flood-compare",
                    "Compare flood sets, port by port, with what the LTL manager holds",
                    flood_compare_);
        add_ltl();
        add_command(app_, "day",
                    "Live a whole day of a switch with one client, and check what is held", day_);
        add_command(app_, "marker", "Send an out-of-band marker", marker_);
        add_command(app_, "download-complete", "Tell that everything was sent", download_complete_);
        add_overlay();
    }

    int run(int argc, const char *const *argv, std::ostream &out, std::ostream &err) {
        try {
            app_.parse(argc, argv);
        } catch (const CLI::ParseError &error) {
            return app_.exit(sim::explained(app_, error), out, err) == 0 ? 0 : exit_usage;
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
    void add_command(CLI::App &parent, const char *name, const char *description,
                     Command &command) {
        CLI::App *added = parent.add_subcommand(name, description);
        command.add_to(*added);
        added->callback([this, &command] {
            chosen_ = [&command](std::ostream &out) { return command.run(out); };
        });
    }

    void add_overlay() {
        CLI::App *overlay =
            app_.add_subcommand("overlay", "Send an overlay notification; needs no registration");
        overlay->require_subcommand(1);
        add_command(*overlay, "disable", "Tell that the overlay is disabled", overlay_disable_);
        add_command(*overlay, "vlans", "Tell which VLANs the overlay is disabled for",
                    overlay_vlans_);
        add_command(*overlay, "route", "Send an overlay route message", overlay_route_);
        overlay->footer("Example: vellfeed overlay disable");
    }

    void add_ltl() {
        CLI::App *ltl = app_.add_subcommand(
            "ltl", "Ask the LTL manager for LTL indexes, change or release them");
        ltl->require_subcommand(1);
        add_command(*ltl, "alloc", "Allocate an LTL index for some interfaces", ltl_alloc_);
        add_command(*ltl, "modify", "Give an LTL index other interfaces", ltl_modify_);
        add_command(*ltl, "release", "Release an LTL index", ltl_release_);
        ltl->footer("Example: vellfeed ltl alloc --vlan 10 --tag 7 Eth3/7 Po1");
    }

    CLI::App app_;
    std::function<int(std::ostream &)> chosen_;
    routes_command routes_;
    compare_command compare_;
    role_command role_;
    notice6_command notice6_;
    stats_command stats_;
    l2_command l2_;
    l2_compare_command l2_compare_;
    flood_command flood_;
    flood_compare_command flood_compare_;
    ltl_alloc_command ltl_alloc_;
    ltl_modify_command ltl_modify_;
    ltl_release_command ltl_release_;
    day_command day_;
    marker_command marker_;
    download_complete_command download_complete_;
    overlay_disable_command overlay_disable_;
    overlay_vlans_command overlay_vlans_;
    overlay_route_command overlay_route_;
};

} // namespace

int run_vellfeed(int argc, const char *const *argv, std::ostream &out, std::ostream &err) {
    return program().run(argc, argv, out, err);
}

} // namespace feed
