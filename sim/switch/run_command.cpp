// `vellsim run`: the switch itself.
#include "sim/switch/commands.h"
#include "sim/switch/console.h"
#include "sim/switch/detach.h"
#include "sim/switch/fault_modes.h"
#include "sim/switch/fault_options.h"
#include "sim/switch/listener.h"
#include "sim/switch/server.h"
#include "sim/switch/switch_log.h"
#include "sim/wire/log_file.h"

#include <CLI/CLI.hpp>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fmt/format.h>
#include <functional>
#include <memory>
#include <string>
#include <sys/signalfd.h>

namespace sim {

namespace {

struct run_options {
    std::string run_directory;
    bool quiet = false;
    bool detach = false; // go on in the background once clients can reach it
    fault_modes faults{};
    std::string fault_text{}; // as they were asked for, for the log
};

constexpr int exit_died = 3; // what --die-after exits with

// A descriptor that becomes readable when the switch is told to end.
file_descriptor catch_stop_signals() {
    sigset_t stop;
    sigemptyset(&stop);
    sigaddset(&stop, SIGTERM);
    sigaddset(&stop, SIGINT);
    sigprocmask(SIG_BLOCK, &stop, nullptr);
    // Standard output and error may be pipes that nobody reads any more.
    std::signal(SIGPIPE, SIG_IGN);
    return file_descriptor(signalfd(-1, &stop, SFD_CLOEXEC | SFD_NONBLOCK));
}

void print_ready(const std::string &path) {
    const std::string line = fmt::format("vellsim: ready, {}\n", path);
    const bool written = std::fwrite(line.data(), 1, line.size(), stdout) == line.size();
    // Clients can be served all the same.
    if (!written || std::fflush(stdout) != 0) {
        complain(fmt::format("the ready line cannot be written: {}", std::strerror(errno)));
    }
}

int serve(const run_options &options, const std::function<void()> &ready) {
    const file_descriptor stop = catch_stop_signals();
    listener place = open_listener(options.run_directory);
    if (!place.error.empty() || !stop) {
        complain(place.error.empty() ? "no signal descriptor" : place.error);
        return EXIT_FAILURE;
    }

    if (const std::string error = start_logs(options.run_directory); !error.empty()) {
        complain(error);
    }
    switch_log log(options.run_directory, options.quiet);
    service vell;
    vell.faults = options.faults;
    vell.log = [&log](std::uint32_t level, const std::string &text) { log.write(level, text); };
    vell.log(log_level_trace, fmt::format("listens on {}", place.path));
    if (!options.fault_text.empty()) {
        vell.log(log_level_trace, fmt::format("misbehaves on purpose: {}", options.fault_text));
    }
    server serving(vell, place.socket.get(), stop.get());
    print_ready(place.path);
    ready();
    const server::outcome how = serving.run();
    if (how == server::outcome::died) {
        return exit_died;
    }
    vell.log(log_level_trace, "ends");
    place.close();
    return EXIT_SUCCESS;
}

int run_switch(const run_options &options) {
    if (!options.detach) {
        return serve(options, [] {});
    }
    return run_detached(
        [&options](const std::function<void()> &ready) { return serve(options, ready); });
}

} // namespace

command_action add_run(CLI::App &command) {
    const auto kept = std::make_shared<run_options>();
    run_options &options = *kept;
    CLI::App *run = &command;
    add_run_directory(*run, options.run_directory);
    run->add_flag("--quiet", options.quiet,
                  "Keep the service log off standard error; it is in\n"
                  "<run dir>/log/service all the same");
    run->add_flag("--detach", options.detach,
                  "Go on in the background, and return once clients can\n"
                  "reach the switch; its log is then in its file alone");
    add_fault_options(run, options.faults);
    run->final_callback([run, &options] { options.fault_text = fault_text(*run); });
    run->footer(
        fmt::format(
            "Logs, in <run dir>/log, which `vellsim show log` prints: a run starts with\n"
            "fresh ones and keeps those of the run before as <name>.previous; one that has\n"
            "{} MiB goes on in a new file, and keeps the old one as <name>.older.\n",
            log_file_limit >> 20) +
        "Environment of the switch, of vellfeed and of other clients:\n"
        "  VELLSIM_RUN_DIR          the run directory\n"
        "Environment of clients:\n"
        "  VELLSIM_SEND_TIMEOUT_MS  a switch that takes no byte of a message for so\n"
        "                           many milliseconds counts as gone; default 5000\n"
        "  TESSEL_HISTORY           all, error or off: what the library logs to\n"
        "                           <run dir>/log/history; default all\n"
        "  TESSEL_CONSOLE           all, error or off: what it prints to the\n"
        "                           console; default off");
    return [kept] { return run_switch(*kept); };
}

} // namespace sim
