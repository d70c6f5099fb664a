#include "sim/base/text.h"
#include "sim/switch/commands.h"
#include "sim/wire/frame.h"
#include "sim/wire/run_dir.h"

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <sys/file.h>
#include <utility>

namespace sim {

namespace {

// A switch whose socket was removed makes it again within a second.
constexpr int longest_remake_ms = 2000;
constexpr int look_again_ms = 20;

// One question to a running switch.
class conversation {
public:
    explicit conversation(const switch_call &to)
        : to_(to), until_(deadline::after_ms(to.timeout_s * 1000)) {}

    // Each returns an empty string, or what is wrong.
    std::string ask(const question &asked);
    std::string receive_piece(frame &piece);
    std::string wait_for_end();

private:
    std::string connect();
    std::string not_in_time(const char *what) const;
    bool is_held() const;

    const switch_call &to_;
    deadline until_;
    file_descriptor socket_;
    frame_reader reader_{frame_kind::answer, frame_kind::closing};
    std::string pid_text_;
    bool has_answered_ = false;
};

std::string conversation::not_in_time(const char *what) const {
    return fmt::format("the switch{} {} within {} (--timeout)", pid_text_, what,
                       counted(static_cast<std::uint64_t>(to_.timeout_s), "second"));
}

// Whether a switch has the run directory.
bool conversation::is_held() const {
    const file_descriptor directory(
        open(to_.run_directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return directory && flock(directory.get(), LOCK_SH | LOCK_NB) != 0 && errno == EWOULDBLOCK;
}

std::string conversation::connect() {
    const deadline remade = deadline::after_ms(longest_remake_ms);
    connection made = connect_service(to_.run_directory, until_.left_ms());
    while (!made.socket && is_held() && remade.left_ms() > 0 && until_.left_ms() > 0) {
        poll(nullptr, 0, look_again_ms);
        made = connect_service(to_.run_directory, until_.left_ms());
    }
    if (made.socket) {
        socket_ = std::move(made.socket);
        const std::uint32_t pid = peer_pid(socket_.get());
        pid_text_ = pid == 0 ? "" : fmt::format(" (pid {})", pid);
        return {};
    }
    if (is_held()) {
        pid_text_ = running_pid(to_.run_directory);
        return until_.left_ms() == 0 ? not_in_time("does not answer")
                                     : fmt::format("the switch{} in {} cannot be reached: {}",
                                                   pid_text_, to_.run_directory, made.reason);
    }
    const std::string path = to_.run_directory + "/" + service_socket;
    const std::string why =
        made.reason.starts_with(path + ": ") ? made.reason.substr(path.size() + 2) : made.reason;
    return fmt::format("no switch answers on {} ({}); `vellsim run` starts one", path, why);
}

std::string conversation::ask(const question &asked) {
    if (std::string error = connect(); !error.empty()) {
        return error;
    }
    const std::string text = encode_question(asked);
    const frame_result sent = send_frame(socket_.get(), new_head(frame_kind::question, text.size()),
                                         text.data(), until_.left_ms());
    // A switch that closes the connection may have said why.
    if (sent.status == frame_status::done || sent.status == frame_status::closed) {
        return {};
    }
    return sent.status == frame_status::timed_out
               ? not_in_time("does not answer")
               : fmt::format("the switch{} is gone: {}", pid_text_, sent.reason);
}

std::string conversation::receive_piece(frame &piece) {
    const frame_result got = receive_frame(socket_.get(), reader_, until_, piece);
    if (got.status == frame_status::timed_out) {
        return not_in_time(has_answered_ ? "has not finished its answer" : "does not answer");
    }
    has_answered_ = true;
    if (got.status != frame_status::done) {
        return "the switch's answer is cut: " + got.reason;
    }
    const std::string text(piece.payload.begin(), piece.payload.end());
    return piece.head.opcode == 0 ? std::string() : text;
}

// The end of the connection comes first, then the next switch is let in.
std::string conversation::wait_for_end() {
    frame more;
    frame_result got;
    do {
        got = receive_frame(socket_.get(), reader_, until_, more);
    } while (got.status == frame_status::done);
    while (got.status != frame_status::timed_out && is_held() && until_.left_ms() > 0) {
        poll(nullptr, 0, look_again_ms);
    }
    return is_held() ? not_in_time("has not ended") : "";
}

} // namespace

int print_answer(const switch_call &to, const question &asked) {
    conversation with_switch(to);
    std::string error = with_switch.ask(asked);
    frame piece{};
    piece.head.flags = answer_goes_on;
    while (error.empty() && (piece.head.flags & answer_goes_on) != 0) {
        error = with_switch.receive_piece(piece);
        const std::string text(piece.payload.begin(), piece.payload.end());
        // The switch answers in lines of plain ASCII; whatever else comes is not from this vellsim.
        if (error.empty() && print(printable_lines(text)) != EXIT_SUCCESS) {
            return EXIT_FAILURE;
        }
    }
    return error.empty() ? EXIT_SUCCESS : fail(error);
}

int end_switch(const switch_call &to) {
    conversation with_switch(to);
    std::string error = with_switch.ask({.ask = "stop"});
    frame piece;
    if (error.empty()) {
        error = with_switch.receive_piece(piece);
    }
    if (error.empty()) {
        error = with_switch.wait_for_end();
    }
    return error.empty() ? EXIT_SUCCESS : fail(error);
}

} // namespace sim
