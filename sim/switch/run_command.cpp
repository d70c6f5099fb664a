// `vellsim run`: the switch itself.
#include "sim/switch/commands.h"
#include "sim/switch/fault_modes.h"
#include "sim/switch/limits.h"
#include "sim/switch/listener.h"
#include "sim/switch/server.h"
#include "sim/switch/switch_log.h"
#include "sim/wire/log_file.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <fcntl.h>
#include <filesystem>
#include <fmt/format.h>
#include <functional>
#include <memory>
#include <string>
#include <sys/resource.h>
#include <sys/signalfd.h>
#include <sys/wait.h>
#include <unistd.h>

namespace sim {

namespace {

struct run_options {
    std::string run_directory;
    bool quiet = false;
    bool detach = false; // go on in the background once clients can reach it
    std::string modes{}; // fault modes, as options
};

constexpr int exit_died = 3; // what --die-after exits with

// A descriptor that becomes readable when the switch should end.
file_descriptor catch_stop_signals() {
    sigset_t stop;
    sigemptyset(&stop);
    for (const int number : {SIGTERM, SIGINT, SIGHUP, SIGQUIT}) {
        sigaddset(&stop, number);
    }
    // Standard output and error may be pipes that nobody reads any more.
    if (sigprocmask(SIG_BLOCK, &stop, nullptr) != 0 || std::signal(SIGPIPE, SIG_IGN) == SIG_ERR) {
        return {};
    }
    return file_descriptor(signalfd(-1, &stop, SFD_CLOEXEC | SFD_NONBLOCK));
}

// Returns an empty string, or what is wrong.
std::string reserve_files() {
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur >= files_needed) {
        return {};
    }
    const rlimit raised{std::min<rlim_t>(limit.rlim_max, files_needed), limit.rlim_max};
    if (raised.rlim_cur == files_needed && setrlimit(RLIMIT_NOFILE, &raised) == 0) {
        return {};
    }
    return fmt::format("this process may open {} files at once, and the switch needs {}: "
                       "raise the limit (ulimit -n)",
                       limit.rlim_max, files_needed);
}

void print_ready(const std::string &path) {
    std::printf("vellsim: ready, %s (pid %d)\n", path.c_str(), getpid());
    // Clients can be served all the same.
    if (std::fflush(stdout) != 0) {
        complain(fmt::format("the ready line cannot be written: {}", std::strerror(errno)));
    }
}

int serve_at(listener &place, const file_descriptor &stop, const run_options &options,
             const std::function<void()> &ready) {
    switch_log log(options.run_directory, options.quiet);
    service vell;
    set_faults(vell.faults, options.modes);
    vell.log = [&log](std::uint32_t level, const std::string &text) { log.write(level, text); };
    vell.trace("listens on {}", place.path());
    if (!options.modes.empty()) {
        log_faults(vell);
    }
    print_ready(place.path());
    ready();
    try {
        switch (server(vell, place, stop.get()).run()) {
        case server::outcome::died:
            return exit_died;
        case server::outcome::displaced:
            return EXIT_FAILURE;
        case server::outcome::stopped:
            break;
        }
    } catch (const std::exception &error) {
        vell.error("ends: {}", reason_of(error));
        place.close();
        throw;
    }
    vell.trace("ends");
    place.close();
    return EXIT_SUCCESS;
}

int serve(const run_options &options, const std::function<void()> &ready) {
    const file_descriptor stop = catch_stop_signals();
    if (!stop) {
        return fail(fmt::format("signals cannot be waited for: {}", std::strerror(errno)));
    }
    if (const std::string error = reserve_files(); !error.empty()) {
        return fail(error);
    }
    listener place(options.run_directory);
    if (const std::string error = place.open(); !error.empty()) {
        return fail(error);
    }
    if (const std::string error = start_logs(options.run_directory); !error.empty()) {
        complain(error);
    }
    return serve_at(place, stop, options, ready);
}

std::string limits_text() {
    std::string text = "Limits:\n";
    for (const limit_row &row : limit_rows) {
        std::string lines(row.text);
        if (const std::size_t end = lines.find('\n'); end != std::string::npos) {
            lines.insert(end + 1, 10, ' ');
        }
        text += fmt::format("  {:<8}{}\n", row.value, lines);
    }
    return text + "\n";
}

int fail_to_detach(const char *what) {
    return fail(fmt::format("the switch cannot go on in the background: {}: {}", what,
                            std::strerror(errno)));
}

// Nothing of the caller's is kept: no session, no descriptor but the standard ones and `reporter`,
// so that nobody waits for a switch that has no part in what they wait for. Returns false with
// errno.
bool leave_caller(file_descriptor &reporter) {
    constexpr int kept = STDERR_FILENO + 1;
    if (setsid() < 0 || (reporter.get() != kept && dup3(reporter.get(), kept, O_CLOEXEC) < 0)) {
        return false;
    }
    if (reporter.get() != kept) {
        reporter = file_descriptor(kept);
    }
    return close_range(kept + 1, ~0u, 0) == 0;
}

// Once it is ready: its log is in a file, and no directory stays in use for it.
bool leave_terminal() {
    const file_descriptor nothing(open("/dev/null", O_RDWR | O_CLOEXEC));
    return nothing && dup2(nothing.get(), STDIN_FILENO) >= 0 &&
           dup2(nothing.get(), STDOUT_FILENO) >= 0 && dup2(nothing.get(), STDERR_FILENO) >= 0 &&
           chdir("/") == 0;
}

int exit_code_of(pid_t child) {
    int status = 0;
    while (waitpid(child, &status, 0) < 0) {
        if (errno != EINTR) {
            return fail_to_detach("waitpid");
        }
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : EXIT_FAILURE;
}

// Serves in a child process of its own session. Returns 0 once clients can reach that, or its exit
// code when it ends before. The child inherits nothing but its standard streams; once it is ready,
// they lead nowhere, and its working directory is "/". In the child this does not return.
int serve_detached(run_options options) {
    // It leaves the directory that a relative path starts from.
    options.run_directory = std::filesystem::absolute(options.run_directory).string();
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        return fail_to_detach("pipe");
    }
    const file_descriptor heard(ends[0]);
    file_descriptor reporter(ends[1]);
    const pid_t child = fork();
    if (child < 0) {
        return fail_to_detach("fork");
    }
    const char ready = 1;
    if (child == 0) {
        if (!leave_caller(reporter)) {
            std::_Exit(fail_to_detach("setsid or close_range"));
        }
        std::exit(serve(options, [&] {
            if (!leave_terminal()) {
                std::_Exit(fail_to_detach("/dev/null"));
            }
            if (write(reporter.get(), &ready, sizeof ready) != sizeof ready) {
                std::_Exit(EXIT_FAILURE); // nobody waits for it any more
            }
            reporter.reset();
        }));
    }
    reporter.reset();
    char answer = 0;
    ssize_t count = 0;
    do {
        count = read(heard.get(), &answer, sizeof answer);
    } while (count < 0 && errno == EINTR);
    return count == sizeof answer ? EXIT_SUCCESS : exit_code_of(child);
}

} // namespace

command_action add_run(CLI::App &command) {
    const auto options = std::make_shared<run_options>();
    add_run_directory(command, options->run_directory);
    command.add_flag("--quiet", options->quiet,
                     "Keep the service log off standard error; it is in\n"
                     "<run dir>/log/service all the same");
    command.add_flag("--detach", options->detach,
                     "Go on in the background, and return once clients can\n"
                     "reach the switch; its log is then in its file alone");
    add_fault_options(command, options->modes);
    command.footer(
        limits_text() +
        fmt::format(
            "Logs, in <run dir>/log, which `vellsim show log` prints: a run starts with\n"
            "fresh ones and keeps those of the run before as <name>.previous; one that has\n"
            "{} MiB goes on in a new file, and keeps the old one as <name>.older.\n",
            log_file_limit >> 20) +
        "Environment of the switch, of vellfeed and of other clients:\n"
        "  VELLSIM_RUN_DIR          the run directory\n"
        "Environment of clients:\n"
        "  VELLSIM_SEND_TIMEOUT_MS  a send fails when the switch takes nothing for\n"
        "                           this many milliseconds; default 5000\n"
        "  TESSEL_HISTORY           all, error or off: what the library logs to\n"
        "                           <run dir>/log/history; default all\n"
        "  TESSEL_CONSOLE           all, error or off: what it prints to the\n"
        "                           console; default off");
    return
        [options] { return options->detach ? serve_detached(*options) : serve(*options, [] {}); };
}

} // namespace sim
