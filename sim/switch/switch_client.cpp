#include "sim/switch/switch_client.h"

#include "sim/base/text.h"
#include "sim/switch/console.h"
#include "sim/wire/frame_io.h"
#include "sim/wire/service_socket.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fmt/format.h>
#include <poll.h>
#include <string_view>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace sim {

namespace {

// How long the switch may be silent before a person has waited enough.
constexpr int silence_ms = 30'000;

connection connect_to_switch(const std::string &run_directory) {
    connection made = connect_service(run_directory, silence_ms);
    if (!made.socket) {
        const std::string path = run_directory + "/" + service_socket;
        const std::string why = made.reason.starts_with(path + ": ")
                                    ? made.reason.substr(path.size() + 2)
                                    : made.reason;
        made.reason =
            fmt::format("no switch answers on {} ({}); `vellsim run` starts one", path, why);
    }
    return made;
}

std::string send_question(int fd, const std::string &text) {
    frame_head head{};
    head.magic = frame_magic;
    head.kind = frame_kind::question;
    head.length = static_cast<std::uint32_t>(text.size());
    const frame_result sent = send_frame(fd, head, text.data(), silence_ms);
    return sent.status == frame_status::done ? std::string()
                                             : fmt::format("the switch is gone: {}", sent.reason);
}

std::string receive_piece(int fd, frame_reader &reader, frame &piece) {
    const frame_result got = receive_frame(fd, reader, deadline::after_ms(silence_ms), piece);
    if (got.status == frame_status::timed_out) {
        return fmt::format("the switch has not answered for {} seconds", silence_ms / 1000);
    }
    return got.status == frame_status::done
               ? std::string()
               : fmt::format("the switch's answer is cut: {}", got.reason);
}

// The switch answers in lines of plain ASCII; whatever else comes is not from this vellsim.
std::string safe_lines(std::string_view text) {
    const auto is_plain = [](char byte) { return byte == '\n' || (byte >= 0x20 && byte < 0x7f); };
    std::string safe;
    while (!text.empty()) {
        const auto plain =
            static_cast<std::size_t>(std::ranges::find_if_not(text, is_plain) - text.begin());
        safe += text.substr(0, plain);
        text.remove_prefix(plain);
        if (!text.empty()) {
            safe += printable(text.substr(0, 1));
            text.remove_prefix(1);
        }
    }
    return safe;
}

int print_pieces(int fd) {
    frame_reader reader({frame_kind::answer});
    frame piece;
    do {
        if (const std::string error = receive_piece(fd, reader, piece); !error.empty()) {
            return fail(error);
        }
        const std::string_view text(reinterpret_cast<const char *>(piece.payload.data()),
                                    piece.payload.size());
        if (piece.head.opcode != 0) {
            return fail(printable(text));
        }
        if (print(safe_lines(text)) != EXIT_SUCCESS) {
            return EXIT_FAILURE;
        }
    } while ((piece.head.flags & answer_goes_on) != 0);
    return EXIT_SUCCESS;
}

// The process's end, where the system can tell it; the connection's end comes first and says nearly
// as much.
file_descriptor watch_process(pid_t pid) {
#ifdef SYS_pidfd_open
    return file_descriptor(static_cast<int>(syscall(SYS_pidfd_open, pid, 0)));
#else
    static_cast<void>(pid);
    return {};
#endif
}

// Whether the descriptor becomes readable or hangs up in time. True for none.
bool wait_for_end(const file_descriptor &watched, const deadline &until) {
    pollfd entry{watched.get(), POLLIN, 0};
    while (watched) {
        const int left = until.left_ms();
        const int ready = poll(&entry, 1, left);
        if (ready > 0) {
            return true;
        }
        if (ready == 0 && left == 0) {
            return false;
        }
    }
    return true;
}

} // namespace

int print_answer(const std::string &run_directory, const question &asked) {
    const connection to = connect_to_switch(run_directory);
    if (!to.reason.empty()) {
        return fail(to.reason);
    }
    const std::string error = send_question(to.socket.get(), encode_question(asked));
    return error.empty() ? print_pieces(to.socket.get()) : fail(error);
}

std::string stop_switch(const std::string &run_directory, int limit_s) {
    const connection to = connect_to_switch(run_directory);
    if (!to.socket) {
        return to.reason;
    }
    ucred peer{};
    socklen_t size = sizeof peer;
    // A pid of 0 would name this command's own process group.
    if (getsockopt(to.socket.get(), SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0 || peer.pid <= 0) {
        return "the switch's process is unknown";
    }
    const file_descriptor process = watch_process(peer.pid);
    if (kill(peer.pid, SIGTERM) != 0) {
        return fmt::format("the switch (pid {}) cannot be told to end: {}", peer.pid,
                           std::strerror(errno));
    }
    const deadline until = deadline::after_ms(limit_s * 1000);
    if (!wait_for_end(to.socket, until) || !wait_for_end(process, until)) {
        return fmt::format("the switch (pid {}) has not ended within {} seconds", peer.pid,
                           limit_s);
    }
    return {};
}

} // namespace sim
