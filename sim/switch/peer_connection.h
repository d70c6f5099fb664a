// One accepted connection: its socket, and what has arrived and what has yet to leave. The socket does not block.
#pragma once

#include "file_descriptor.h"
#include "frame_input.h"
#include "service.h"
#include "show_answer.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace desk {

// How much may wait for a peer that does not read, a show reply (of which it has one at a time) excepted.
inline constexpr std::size_t output_limit = 1u << 20;

class peer_connection {
public:
    peer_connection(file_descriptor socket, std::uint32_t pid) : socket_(std::move(socket)) { who.pid = pid; }

    session who;
    frame_input input;
    std::optional<std::chrono::steady_clock::time_point> pause_until; // before the request at the front

    int fd() const { return socket_.get(); }

    // One read of what has arrived: how many bytes. Afterwards end_of_input() may be true.
    std::size_t read_some();
    bool end_of_input() const { return !end_reason_.empty(); }
    const std::string &end_reason() const { return end_reason_; }

    void queue(std::vector<std::byte> frame);
    void queue_show(show_answer answer);
    bool show_pending() const { return show_sent_ < show_text_.size(); }

    // Sends what the socket takes.
    void flush();
    bool has_output() const { return sent_ < output_.size(); }
    bool over_limit() const { return output_.size() - sent_ > output_limit; }

private:
    void queue_show_frame(std::uint32_t opcode);
    bool send_some();
    void drop_output();

    file_descriptor socket_;
    std::string end_reason_;
    std::vector<std::byte> output_;
    std::size_t sent_ = 0;
    std::string show_text_;
    std::size_t show_sent_ = 0;
    bool output_broken_ = false; // the peer takes no more; what it has sent still counts
};

} // namespace desk
