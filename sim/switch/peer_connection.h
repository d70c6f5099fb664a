// One accepted connection: its socket, and what has arrived and what has yet to leave. The socket
// does not block.
#pragma once

#include "sim/base/file_descriptor.h"
#include "sim/switch/answer.h"
#include "sim/switch/frame_input.h"
#include "sim/switch/service.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace sim {

// How much may wait for a peer that does not read, beside the longest answer to one request and a
// piece of the answer to one question.
inline constexpr std::size_t output_limit = 1u << 20;

class peer_connection {
public:
    using clock = std::chrono::steady_clock;

    peer_connection(file_descriptor socket, std::uint32_t pid) : socket_(std::move(socket)) {
        who.pid = pid;
    }

    session who;
    frame_input input;
    std::optional<clock::time_point> pause_until; // before the request at the front

    int fd() const { return socket_.get(); }

    // One read of what has arrived: how many bytes. Afterwards end_of_input() may be true.
    std::size_t read_some();
    bool end_of_input() const { return !end_reason_.empty(); }
    const std::string &end_reason() const { return end_reason_; }

    // The replies to one request, now or when their delay is over.
    void queue_replies(std::vector<reply> replies, clock::time_point now);
    void queue_due(clock::time_point now);
    std::optional<clock::time_point> next_due() const;
    void queue_answer(answer made);
    bool answer_pending() const { return answer_.has_value(); }

    // Sends what the socket takes.
    void flush();
    bool has_output() const { return sent_ < output_.size(); }

    // What has been answered and not sent, late replies included.
    std::size_t waiting() const { return output_.size() - sent_ + late_size_; }

    // Whether most of it is not due yet.
    bool waits_late() const { return late_size_ > output_.size() - sent_; }

    // The replies to one request, however long, never make it so by themselves.
    bool over_limit() const { return waiting() > output_limit + longest_answer_; }

    // Gives back what its messages take, in both directions.
    void forget_messages();

private:
    void queue(std::vector<std::byte> frame);
    void queue_piece();
    bool send_some();
    void drop_output();

    file_descriptor socket_;
    std::string end_reason_;
    std::vector<std::byte> output_;
    std::size_t sent_ = 0;
    std::multimap<clock::time_point, std::vector<std::byte>> late_; // by the time they are due
    std::size_t late_size_ = 0;
    std::size_t longest_answer_ = 0; // since nothing waited
    std::optional<answer> answer_;   // of which pieces are left
    bool output_broken_ = false;     // the peer takes no more; what it has sent still counts
};

} // namespace sim
