// One accepted connection: its socket, and what has arrived and what has yet to leave. The socket
// does not block.
#pragma once

#include "sim/base/file_descriptor.h"
#include "sim/switch/answer.h"
#include "sim/switch/limits.h"
#include "sim/switch/service.h"
#include "sim/wire/frame.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace sim {

class peer_connection {
public:
    using clock = std::chrono::steady_clock;

    peer_connection(file_descriptor socket, std::uint32_t pid, clock::time_point now)
        : heard_at_(now), socket_(std::move(socket)) {
        who_.pid = pid;
    }

    session &who() { return who_; }
    frame_reader &input() { return input_; }
    std::size_t unfinished() const { return input_.held(); } // bytes of its messages
    int fd() const { return socket_.get(); }

    // One read of what has arrived: how many bytes. Afterwards end_of_input() may be true.
    std::size_t read_some(clock::time_point now);
    bool end_of_input() const { return !end_reason_.empty(); }

    // Whether the request at the front has to wait, once for this long.
    bool pauses(std::chrono::milliseconds pause);

    void note_whole_frame() { has_spoken_ = true; } // until then it owes its first message

    // It is not read from, so that its silence says nothing.
    void restart_silence(clock::time_point now) { heard_at_ = now; }

    // The replies to one request, now or when their delay is over.
    void queue_replies(std::vector<reply> replies, clock::time_point now);
    void queue_due(clock::time_point now);
    std::optional<clock::time_point> next_due() const; // a reply, or the end of its pause
    void queue_answer(answer made);
    bool answer_pending() const { return answer_.has_value(); }

    // Says why the connection is closed, unless the peer has yet to read other things.
    void send_closing(const std::string &why);

    // Sends what the socket takes.
    void flush(clock::time_point now);
    bool has_output() const { return sent_ < output_.size(); }

    // What has been answered and not sent, late replies included.
    std::size_t waiting() const { return output_.size() - sent_ + late_size_; }

    // Whether its requests are handled: a peer that does not read its answers waits with them. The
    // longest answer to one request may wait beside the limit.
    bool has_room(const server_limits &limits) const {
        return waiting() <= limits.output + longest_answer_;
    }
    bool wants_input(const server_limits &limits);

    // Whether a whole message could be handled at once: nothing else will wake the server for it.
    bool has_work(const server_limits &limits) {
        return !answer_pending() && !pause_until_ && has_room(limits) &&
               input_.look() == frame_reader::state::whole;
    }

    // Why the connection should be closed by now, and when its silence will have lasted too long.
    struct closing {
        bool is_error;
        std::string why;
    };
    std::optional<closing> why_close(const server_limits &limits, clock::time_point now);
    std::optional<clock::time_point> closing_time(const server_limits &limits);

    // The peer is gone, or takes no more: what waits for it is dropped. What it has sent still
    // counts.
    void end_output();
    bool output_ended() const { return output_ended_; }

    // By a fault mode: nothing more of it is handled or answered, and it should be closed.
    void drop() {
        end_output();
        is_dropped_ = true;
    }
    bool is_dropped() const { return is_dropped_; }

private:
    session who_;
    frame_reader input_{frame_kind::request, frame_kind::question};
    std::optional<clock::time_point> pause_until_;
    void queue(const std::vector<std::byte> &frame, clock::time_point now);
    void queue_piece(clock::time_point now);
    bool send_some(clock::time_point now);

    clock::time_point heard_at_;
    clock::time_point taken_at_;
    bool has_spoken_ = false; // a whole frame
    file_descriptor socket_;
    std::string end_reason_;
    std::vector<std::byte> output_;
    std::size_t sent_ = 0;
    std::multimap<clock::time_point, std::vector<std::byte>> late_; // by the time they are due
    std::size_t late_size_ = 0;
    std::size_t longest_answer_ = 0; // since nothing waited
    std::optional<answer> answer_;   // of which pieces are left
    bool output_ended_ = false;
    bool is_dropped_ = false;
};

} // namespace sim
