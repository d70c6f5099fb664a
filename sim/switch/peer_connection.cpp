#include "sim/switch/peer_connection.h"

#include <algorithm>
#include <cerrno>
#include <fmt/format.h>
#include <sys/socket.h>

namespace sim {

namespace {

constexpr std::size_t read_size = 32u << 10;

} // namespace

std::size_t peer_connection::read_some(clock::time_point now) {
    const ssize_t count = input_.receive(fd(), read_size);
    if (count > 0) {
        heard_at_ = now;
    } else if (count == 0 || errno == ECONNRESET) {
        end_reason_ = input_.end_reason("it closed its connection");
    } else if (errno != EAGAIN && errno != EINTR) {
        end_reason_ = fmt::format("its connection failed: {}", std::strerror(errno));
    }
    return count > 0 ? static_cast<std::size_t>(count) : 0;
}

bool peer_connection::wants_input(const server_limits &limits) {
    return !end_of_input() && !answer_pending() && has_room(limits) &&
           input_.look() == frame_reader::state::incomplete;
}

std::optional<peer_connection::closing> peer_connection::why_close(const server_limits &limits,
                                                                   clock::time_point now) {
    const frame_reader::state state = input_.look();
    if (is_dropped_) {
        return closing{false, "the switch dropped its connection"};
    }
    if (state == frame_reader::state::broken) {
        return closing{true, input_.broken_reason()};
    }
    if (end_of_input() && state == frame_reader::state::incomplete && !has_output() &&
        !answer_pending()) {
        return closing{input_.held() > 0, end_reason_};
    }
    if (const auto when = closing_time(limits); when && *when <= now) {
        return closing{true, has_room(limits) ? "it has not finished its message"
                                              : "it does not read its messages"};
    }
    return std::nullopt;
}

// Of a peer that holds up its own requests, or of one that owes a message: the rest of one, or its
// first.
std::optional<peer_connection::clock::time_point>
peer_connection::closing_time(const server_limits &limits) {
    if (!has_room(limits)) {
        return has_output() ? std::optional(taken_at_ + limits.unread) : std::nullopt;
    }
    const bool owes = !end_of_input() && input_.look() == frame_reader::state::incomplete &&
                      (input_.held() > 0 || !has_spoken_);
    return owes ? std::optional(heard_at_ + limits.unfinished) : std::nullopt;
}

void peer_connection::queue(const std::vector<std::byte> &frame, clock::time_point now) {
    if (output_ended_) {
        return;
    }
    if (!has_output()) {
        taken_at_ = now;
    }
    // Seldom, so that many small answers to a peer that reads slowly cost no moves.
    if (sent_ > output_.size() / 2) {
        output_.erase(output_.begin(), output_.begin() + static_cast<std::ptrdiff_t>(sent_));
        sent_ = 0;
    }
    output_.insert(output_.end(), frame.begin(), frame.end());
}

void peer_connection::queue_replies(std::vector<reply> replies, clock::time_point now) {
    std::size_t size = 0;
    for (const reply &one : replies) {
        size += one.frame.size();
    }
    longest_answer_ = std::max(waiting() == 0 ? 0 : longest_answer_, size);
    for (reply &one : replies) {
        if (one.delay.count() == 0) {
            queue(one.frame, now);
        } else if (!output_ended_) {
            late_size_ += late_.emplace(now + one.delay, std::move(one.frame))->second.size();
        }
    }
}

void peer_connection::queue_due(clock::time_point now) {
    while (!late_.empty() && late_.begin()->first <= now) {
        auto due = late_.extract(late_.begin());
        late_size_ -= due.mapped().size();
        queue(due.mapped(), now);
    }
}

std::optional<peer_connection::clock::time_point> peer_connection::next_due() const {
    if (late_.empty() || (pause_until_ && *pause_until_ < late_.begin()->first)) {
        return pause_until_;
    }
    return late_.begin()->first;
}

bool peer_connection::pauses(std::chrono::milliseconds pause) {
    const clock::time_point until = pause_until_.value_or(clock::now() + pause);
    if (pause.count() != 0 && clock::now() < until) {
        pause_until_ = until;
        return true;
    }
    pause_until_.reset();
    return false;
}

void peer_connection::queue_answer(answer made) {
    if (output_ended_) {
        return;
    }
    answer_ = std::move(made);
    queue_piece(clock::now());
}

void peer_connection::queue_piece(clock::time_point now) {
    const answer::piece made = answer_->next();
    if (made.text.empty() && !made.is_last) {
        return;
    }
    frame_head head = new_head(frame_kind::answer, made.text.size());
    head.opcode = answer_->is_refusal() ? answer_opcode_refusal : 0;
    head.flags = made.is_last ? 0 : answer_goes_on;
    queue(frame_bytes(head, made.text.data()), now);
    if (made.is_last) {
        answer_.reset();
    }
}

void peer_connection::send_closing(const std::string &why) {
    if (!has_output()) {
        send_frame(fd(), new_head(frame_kind::closing, why.size()), why.data(), 0);
    }
}

void peer_connection::end_output() {
    output_ended_ = true;
    output_ = std::vector<std::byte>();
    sent_ = 0;
    late_.clear();
    late_size_ = 0;
    answer_.reset();
}

bool peer_connection::send_some(clock::time_point now) {
    const ssize_t count =
        send(fd(), output_.data() + sent_, output_.size() - sent_, MSG_NOSIGNAL | MSG_DONTWAIT);
    if (count > 0) {
        sent_ += static_cast<std::size_t>(count);
        taken_at_ = now;
    } else if (count < 0 && errno != EINTR && errno != EAGAIN) {
        end_output();
    }
    return count >= 0 || errno == EINTR;
}

void peer_connection::flush(clock::time_point now) {
    while (has_output() && send_some(now)) {
    }
    // A client that was once sent megabytes does not keep them: to assign {} would keep the room.
    if (!has_output()) {
        output_ = std::vector<std::byte>();
        sent_ = 0;
    }
    // The next piece waits for the next round, so that a fast reader does not hold up everybody
    // else.
    if (!has_output() && answer_pending()) {
        queue_piece(now);
    }
}

} // namespace sim
