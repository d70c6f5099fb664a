// send, remove, compare, repair and record: a snapshot or several, played through the mirror once.
#include "feed/command_line.h"
#include "feed/differences.h"
#include "feed/failure.h"
#include "feed/installed.h"
#include "feed/mirror.h"
#include "feed/stop_signals.h"
#include "sim/base/print.h"

#include <csignal>
#include <memory>
#include <poll.h>
#include <unistd.h>
#include <utility>

namespace feed {

namespace {

struct mirror_command {
    plan_options planning;
    session_options client;
    sim::output_form form = sim::output_form::text;
    bool quiet = false;
    bool dry_run = false;
    std::string from;
    std::vector<std::string> snapshots;
};

// What the records do not say, on standard error, so that standard output is the result alone.
void print_notes(const plan &made, const std::string &snapshot, const mirror_command &command,
                 std::ostream &err) {
    if (command.quiet) {
        return;
    }
    for (const std::string &note : notes(made)) {
        fmt::print(err, "vellfeed: {}: {}\n", sim::printable(snapshot), note);
    }
}

plan read_snapshot(const std::string &directory, const mirror_command &command, std::ostream &err) {
    plan made = read_plan({directory}, command.planning);
    print_notes(made, directory, command, err);
    return made;
}

// How far a long table is, on a terminal, ten times a second.
class progress_line {
public:
    explicit progress_line(std::ostream &err) : err_(err), is_on_(isatty(STDERR_FILENO) == 1) {}
    ~progress_line() {
        if (is_shown_) {
            fmt::print(err_, "\r\x1b[K");
        }
    }
    void show(const char *table, std::size_t sent, std::size_t of) {
        const auto now = std::chrono::steady_clock::now();
        if (is_on_ && now >= next_) {
            fmt::print(err_, "\r{}: {} of {} sent\x1b[K", table, sent, of);
            err_.flush();
            is_shown_ = true;
            next_ = now + std::chrono::milliseconds(100);
        }
    }

private:
    std::ostream &err_;
    bool is_on_;
    bool is_shown_ = false;
    std::chrono::steady_clock::time_point next_ =
        std::chrono::steady_clock::now() + std::chrono::milliseconds(500);
};

void print_sent_snapshot(const std::string &snapshot, const mirror::all_counts &now,
                         const mirror::all_counts &before, const mirror_command &command,
                         std::ostream &out) {
    if (!command.quiet) {
        sim::output printed(command.form);
        printed.open_object();
        printed.field("snapshot", "{}:", snapshot);
        print_sent(printed, now, before);
        printed.close_object();
        out << printed.take() << '\n';
    }
}

// Sends until the snapshot is installed, or what is not was refused. Throws what went wrong.
class player {
public:
    player(const mirror_command &command, command_context &context)
        : command_(command), context_(context), mirror_(options()) {}

    void assume(state installed) { mirror_.assume(std::move(installed)); }

    // Returns whether nothing was refused.
    bool play(const std::string &what, plan made) {
        const mirror::all_counts before = mirror_.counts();
        mirror_.want(std::move(made.wanted), made.said);
        for (mirror_.tick(); !mirror_.done(); mirror_.tick()) {
            pollfd entries[] = {{signals_.fd(), POLLIN, 0}, {mirror_.fd(), POLLIN, 0}};
            poll(entries, 2, mirror_.wait_ms());
            if (signals_.arrived()) {
                throw interrupted("interrupted while answers of the switch were missing");
            }
        }
        print_sent_snapshot(what, mirror_.counts(), before, command_, context_.out);
        return mirror_.in_step();
    }

    void close() { mirror_.close("`vellfeed compare`"); }

private:
    mirror_options options() {
        mirror_options made;
        made.client = command_.client;
        made.say = [this](const std::string &what) {
            fmt::print(context_.err, "vellfeed: {}\n", what);
        };
        made.goes_on = [this](const char *table, std::size_t sent, std::size_t of) {
            progress_.show(table, sent, of);
            return !signals_.arrived();
        };
        made.ask = [](const table_choice &only) { return ask_installed(only); };
        return made;
    }

    const mirror_command &command_;
    command_context &context_;
    stop_signals signals_;
    progress_line progress_{context_.err};
    mirror mirror_;
};

// Of some bridges, only their VLANs are compared: the others are none of the snapshot's business.
state ask_for(const plan &made, const mirror_command &command, command_context &context) {
    state installed = ask_installed(made.said, [&](const std::string &what) {
        if (!command.quiet) {
            fmt::print(context.err, "vellfeed: {}\n", what);
        }
    });
    if (!command.planning.bridges.empty()) {
        keep_vlans(installed, made.vlans);
    }
    return installed;
}

int print_difference(const state &installed, const plan &made, const mirror_command &command,
                     command_context &context) {
    std::signal(SIGPIPE, SIG_DFL); // nothing is sent: without a reader it ends, as any tool
    std::ostream silent(nullptr);
    return print_differences(installed, made.wanted, made.said, command.form,
                             command.quiet ? silent : context.out)
                   .equal()
               ? 0
               : 1;
}

// The LTLs of a snapshot are known by their tags; their indexes only the switch can say.
void find_indexes(state &installed, const mirror_command &command) {
    if (installed.ltls.empty() || command.dry_run) {
        return;
    }
    const table<ltl> found = ask_installed({.ltls = true}).ltls;
    std::erase_if(installed.ltls, [&](const auto &row) { return !found.contains(row.first); });
    for (auto &[key, row] : installed.ltls) {
        row = found.at(key);
    }
}

// Plays the plans one after the other, or prints what they would change.
int play_all(state installed, std::vector<plan> plans, const mirror_command &command,
             command_context &context) {
    if (command.dry_run) {
        for (plan &made : plans) {
            print_difference(installed, made, command, context);
            take_said(installed, std::move(made.wanted), made.said);
        }
        return 0;
    }
    player all(command, context);
    all.assume(std::move(installed));
    bool is_done = true;
    for (std::size_t i = 0; i < plans.size(); ++i) {
        is_done = all.play(command.snapshots[i], std::move(plans[i])) && is_done;
    }
    all.close();
    return is_done ? 0 : 1;
}

int run_send(const mirror_command &command, command_context &context) {
    state installed;
    if (!command.from.empty()) {
        installed = read_snapshot(command.from, command, context.err).wanted;
    }
    // Everything is read and checked before anything is sent.
    std::vector<plan> plans;
    for (const std::string &snapshot : command.snapshots) {
        plans.push_back(read_snapshot(snapshot, command, context.err));
    }
    find_indexes(installed, command);
    return play_all(std::move(installed), std::move(plans), command, context);
}

int run_remove(const mirror_command &command, command_context &context) {
    std::vector<plan> nothing;
    nothing.push_back(read_snapshot(command.snapshots.front(), command, context.err));
    state installed = std::exchange(nothing.front().wanted, {});
    find_indexes(installed, command);
    return play_all(std::move(installed), std::move(nothing), command, context);
}

int run_compare(const mirror_command &command, command_context &context) {
    const plan made = read_snapshot(command.snapshots.front(), command, context.err);
    return print_difference(ask_for(made, command, context), made, command, context);
}

int run_repair(const mirror_command &command, command_context &context) {
    std::vector<plan> plans;
    plans.push_back(read_snapshot(command.snapshots.front(), command, context.err));
    state installed = ask_for(plans.front(), command, context);
    return play_all(std::move(installed), std::move(plans), command, context);
}

std::shared_ptr<mirror_command> add_mirror_options(CLI::App &app, bool sends) {
    auto options = std::make_shared<mirror_command>();
    add_plan_options(app, options->planning);
    if (sends) {
        app.add_flag("--dry-run", options->dry_run,
                     "Print what differs, for each snapshot, and send nothing");
        add_client_options(app, options->client);
    } else {
        add_run_dir(app);
    }
    add_json(app, options->form, sends ? "Print JSON, an object for each snapshot" : "Print JSON");
    add_quiet(app, options->quiet);
    return options;
}

CLI::Option *add_snapshot(CLI::App &app, mirror_command &options) {
    return app
        .add_option(
            "SNAPSHOT", options.snapshots,
            "A directory with routes.json, links.json, mdb.json, ports.json and vlans.json, "
            "of which any may be missing")
        ->option_text("DIR REQUIRED")
        ->check(check_directory)
        ->required();
}

action made_of(int (*run)(const mirror_command &, command_context &),
               std::shared_ptr<mirror_command> options, command_context &context) {
    return [run, options = std::move(options), &context] { return run(*options, context); };
}

// A command of one snapshot.
action make_single(CLI::App &app, command_context &context,
                   int (*run)(const mirror_command &, command_context &), bool sends,
                   const char *footer) {
    auto options = add_mirror_options(app, sends);
    add_snapshot(app, *options)->expected(1);
    app.footer(footer);
    return made_of(run, std::move(options), context);
}

} // namespace

void print_sent(sim::output &out, const mirror::all_counts &now, const mirror::all_counts &before) {
    const char *table_separator = " ";
    const auto print = [&](const char *table, const sent_counts &sum, const sent_counts &earlier) {
        const std::pair<const char *, std::size_t> counts[] = {
            {"added", sum.added - earlier.added},
            {"changed", sum.changed - earlier.changed},
            {"removed", sum.removed - earlier.removed},
            {"refused", sum.refused - earlier.refused}};
        out.open_object(table);
        const char *separator = " ";
        for (const auto &[name, count] : counts) {
            out.json(name, count);
            if (count == 0) {
                continue;
            }
            if (*separator == ' ') {
                out.text("{}{}", table_separator, table);
                table_separator = "; ";
            }
            out.text("{}{} {}", separator, count, name);
            separator = ", ";
        }
        out.close_object();
    };
    print("floods", now.floods, before.floods);
    print("groups", now.groups, before.groups);
    print("ltls", now.ltls, before.ltls);
    print("routes", now.routes, before.routes);
    if (*table_separator == ' ') {
        out.text(" nothing to send");
    }
}

action make_send(CLI::App &app, command_context &context) {
    auto options = add_mirror_options(app, true);
    add_snapshot(app, *options)->option_text("DIR... REQUIRED");
    app.add_option("--from", options->from,
                   "What the switch has already: only what is different is sent")
        ->check(check_directory)
        ->option_text("DIR");
    app.footer(
        "Everything is read and checked before anything is sent. A table whose file is missing is "
        "left as\nit is. Without --from, nothing counts as installed: what is installed and not in "
        "the snapshot\nstays; `vellfeed repair` removes it. Each further snapshot is sent as the "
        "difference from the one\nbefore. Each group gets an LTL index, which changes and goes "
        "with "
        "it. What the LTL manager refuses\nis reported, and the exit code is 1.\n"
        "Examples: vellfeed send samples/campus\n"
        "          vellfeed send samples/day/1 samples/day/2");
    return made_of(run_send, std::move(options), context);
}

action make_remove(CLI::App &app, command_context &context) {
    return make_single(app, context, run_remove, true, "Example: vellfeed remove samples/campus");
}

action make_compare(CLI::App &app, command_context &context) {
    return make_single(app, context, run_compare, false,
                       "Compares the tables that the snapshot says something about, row by row, "
                       "with what `vellsim show` prints.\nExits with 1 when they are not equal.\n"
                       "Example: vellfeed compare samples/campus");
}

action make_repair(CLI::App &app, command_context &context) {
    return make_single(app, context, run_repair, true,
                       "Asks the switch what it has, as `vellsim show` prints it, and sends the "
                       "difference.\nExample: vellfeed repair samples/campus");
}

action make_record(CLI::App &app, command_context &context) {
    struct record_options {
        std::string directory;
        sim::output_form form = sim::output_form::text;
        bool quiet = false;
    };
    auto options = std::make_shared<record_options>();
    app.add_option("SNAPSHOT", options->directory,
                   "The directory to write; created if it is missing")
        ->option_text("DIR REQUIRED")
        ->required();
    add_json(app, options->form);
    add_quiet(app, options->quiet);
    app.footer("Runs `ip` and `bridge`.\n"
               "Example: vellfeed record here && vellfeed send here");
    return [options, &context] {
        record_snapshot(options->directory);
        if (!options->quiet) {
            sim::output out(options->form);
            out.open_object();
            out.field("snapshot", "{}\n", options->directory);
            out.close_object();
            print_result(out, context.out);
        }
        return 0;
    };
}

} // namespace feed
