// follow: the switch in step with this machine, for ever.
//
// A wake of the kernel makes a reading due, after 50 ms of quiet and at most 500 ms after the first
// wake. A reading takes the whole state, and the mirror sends what is different. So it does not matter
// which notifications came, or were lost, and how often: after the last change there is a reading, and
// it says what is there. A reading that fails is repeated. What happens to the switch is the mirror's
// business, which tries again for ever. Nothing is read or sent while nothing changes.
#include "feed/command_line.h"
#include "feed/failure.h"
#include "feed/installed.h"
#include "feed/mirror.h"
#include "feed/stop_signals.h"
#include "sim/base/number_option.h"
#include "sim/base/print.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <memory>
#include <poll.h>
#include <sys/socket.h>
#include <system_error>

namespace feed {

namespace {

using namespace std::chrono_literals;
using clock = std::chrono::steady_clock;

constexpr auto quiet_time = 50ms;
constexpr auto longest_delay = 500ms;
constexpr auto reading_again = 1s;

struct follow_command {
    plan_options planning;
    session_options client;
    sim::output_form form = sim::output_form::text;
    bool quiet = false;
    std::vector<std::string> replay;
    std::uint32_t every_ms = 1000;
    bool once_in_step = false;
};

// The kernel's word that multicast state may have changed: of many changes some messages are lost, and
// of some changes none is sent, as of an interface that is deleted and leaves every route.
class wake {
public:
    // Throws std::system_error.
    wake();

    // Readable when something changed.
    int fd() const { return socket_.get(); }

    // Takes all that has come. Messages that were lost count as one.
    void drain();

private:
    sim::file_descriptor socket_;
};

wake::wake() : socket_(socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, NETLINK_ROUTE)) {
    sockaddr_nl address{};
    address.nl_family = AF_NETLINK;
    bool is_ready = socket_ && bind(socket_.get(), reinterpret_cast<const sockaddr *>(&address),
                                    sizeof address) == 0;
    for (const int group : {RTNLGRP_LINK, RTNLGRP_MDB, RTNLGRP_IPV4_MROUTE, RTNLGRP_BRVLAN}) {
        is_ready = is_ready && setsockopt(socket_.get(), SOL_NETLINK, NETLINK_ADD_MEMBERSHIP,
                                          &group, sizeof group) == 0;
    }
    if (!is_ready) {
        throw std::system_error(errno, std::generic_category(),
                                "the kernel's notifications cannot be received");
    }
}

void wake::drain() {
    std::array<char, 65536> message;
    while (recv(socket_.get(), message.data(), message.size(), 0) >= 0 || errno == ENOBUFS ||
           errno == EINTR) {
    }
}

class follower {
public:
    follower(const follow_command &command, command_context &context)
        : command_(command), context_(context), mirror_(options()) {
        if (command.replay.empty()) {
            wake_.emplace();
        }
    }

    int run() {
        while (!signals_.arrived()) {
            try {
                if (due_ && clock::now() >= *due_) {
                    read();
                }
                mirror_.tick();
            } catch (const interrupted &) {
                break; // by a signal, between two messages or while it waited for a program
            }
            report();
            if (command_.once_in_step && !due_ && mirror_.in_step()) {
                break;
            }
            wait();
        }
        try {
            if (mirror_.is_registered()) {
                mirror_.close("`vellsim show log`");
            }
        } catch (const session_error &error) {
            // The switch may be shut down with this process.
            say(error.what());
        }
        return 0;
    }

private:
    mirror_options options() {
        mirror_options made;
        made.client = command_.client;
        made.keeps_trying = true;
        made.say = [this](const std::string &what) { say(what); };
        made.goes_on = [this](const char *, std::size_t, std::size_t) {
            return !signals_.arrived();
        };
        made.ask = [this](const table_choice &only) {
            state installed = ask_installed(only);
            if (!command_.planning.bridges.empty()) {
                keep_vlans(installed, vlans_);
            }
            return installed;
        };
        made.asks_first = true;
        return made;
    }

    void say(const std::string &what) {
        fmt::print(context_.err, "vellfeed: {}\n", what);
        context_.err.flush();
    }

    void read() {
        const bool replays = !command_.replay.empty();
        const std::string directory = replays ? command_.replay[next_snapshot_] : "";
        due_.reset();
        first_wake_.reset();
        try {
            plan made = read_plan({directory}, planning_);
            planning_.may_lack_bridges = true; // from now on, one that is missing is gone
            vlans_.merge(made.vlans);
            say_notes(made);
            mirror_.want(std::move(made.wanted), made.said);
            failed_reading_.clear();
        } catch (const input_error &error) {
            if (replays) {
                throw;
            }
            // Perhaps something went while it was read.
            if (failed_reading_ != error.what()) {
                say(std::string(error.what()) + "; reading again");
            }
            failed_reading_ = error.what();
            due_ = clock::now() + reading_again;
            return;
        }
        if (replays && ++next_snapshot_ < command_.replay.size()) {
            due_ = clock::now() + std::chrono::milliseconds(command_.every_ms);
        }
    }

    void say_notes(const plan &made) {
        std::vector<std::string> now = notes(made);
        for (const std::string &note : now) {
            if (!command_.quiet && std::ranges::find(said_notes_, note) == said_notes_.end()) {
                say(note);
            }
        }
        said_notes_ = std::move(now);
    }

    // Once in step after something was sent.
    void report() {
        const mirror::all_counts &now = mirror_.counts();
        if (!mirror_.in_step() || now == reported_) {
            return;
        }
        if (!command_.quiet) {
            sim::output out(command_.form);
            out.open_object();
            out.text("in step:");
            print_sent(out, now, reported_);
            out.close_object();
            context_.out << out.take() << '\n';
            context_.out.flush();
        }
        reported_ = now;
    }

    void wait() {
        int timeout = mirror_.wait_ms();
        if (due_) {
            const auto left = std::chrono::ceil<std::chrono::milliseconds>(*due_ - clock::now());
            const int due_ms = static_cast<int>(std::max<long long>(left.count(), 0));
            timeout = timeout < 0 ? due_ms : std::min(timeout, due_ms);
        }
        pollfd entries[] = {{signals_.fd(), POLLIN, 0},
                            {mirror_.fd(), POLLIN, 0},
                            {wake_ ? wake_->fd() : -1, POLLIN, 0}};
        if (poll(entries, std::size(entries), timeout) > 0 && entries[2].revents != 0) {
            wake_->drain();
            const clock::time_point now = clock::now();
            first_wake_ = first_wake_.value_or(now);
            due_ = std::min(now + quiet_time, *first_wake_ + longest_delay);
        }
    }

    const follow_command &command_;
    command_context &context_;
    plan_options planning_ = command_.planning;
    std::set<std::uint16_t> vlans_; // that the bridges have, or had
    stop_signals signals_;
    std::optional<wake> wake_;
    mirror mirror_;
    mirror::all_counts reported_;
    std::optional<clock::time_point> due_ = clock::now(); // the next reading
    std::optional<clock::time_point> first_wake_;         // since the last one
    std::size_t next_snapshot_ = 0;
    std::string failed_reading_;
    std::vector<std::string> said_notes_; // of the last reading
};

} // namespace

action make_follow(CLI::App &app, command_context &context) {
    auto options = std::make_shared<follow_command>();
    CLI::Option *replay =
        app.add_option("--replay", options->replay,
                       "Play these snapshots, one after the other, instead of this machine's state")
            ->check(check_directory)
            ->option_text("DIR...");
    sim::add_number(app, "--every", options->every_ms,
                    "How long each snapshot of --replay lasts, in ms (default 1000)")
        ->option_text("MS")
        ->needs(replay);
    app.add_flag("--once-in-step", options->once_in_step,
                 "End when the switch has what the kernel has");
    add_plan_options(app, options->planning);
    add_client_options(app, options->client);
    add_json(app, options->form, "Print JSON, an object for each change that is in step");
    add_quiet(app, options->quiet);
    app.footer(
        "Reads the kernel's state again after every change of it, and sends what is "
        "different. When the switch\ngoes away, registers again when it is back, and sends "
        "everything again. The tables that it\nfollows are its own: what is there already and "
        "not in the kernel is removed. SIGINT and SIGTERM deregister\nand end it; what it sent "
        "stays in the switch, until `vellfeed remove` removes it.\n"
        "Example: vellfeed follow --only routes");
    return [options, &context] { return follower(*options, context).run(); };
}

} // namespace feed
