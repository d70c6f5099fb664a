// Frames on a connected Unix stream socket: sending one, and putting one together from what has
// arrived so far.
//
// Nothing here raises SIGPIPE, and a signal that interrupts a call never shows: the call goes on.
// The socket itself may be in blocking or in non-blocking mode. After `closed` or `broken`, and
// after a send that timed out, the stream is no longer at the start of a frame, or not there at
// all: close it.
#pragma once

#include "sim/base/deadline.h"
#include "sim/wire/frame.h"

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

namespace sim {

enum class frame_status {
    done,
    timed_out, // no whole frame yet; or, of a send, the peer takes nothing
    closed,    // by the peer; of a read, between two frames
    broken,    // anything else, with a reason
};

struct frame_result {
    frame_status status = frame_status::done;
    std::string reason; // for closed and broken, a text for people
};

struct frame {
    frame_head head{};
    std::vector<std::uint8_t> payload;
};

// Whether a frame of one of these kinds may begin with this head: an empty string, or what is wrong
// with it.
std::string check_frame_head(const frame_head &head, const std::vector<frame_kind> &kinds);

// Sends the head and head.length bytes of payload, which must not exceed frame_max_payload. Gives
// up, with the frame perhaps cut, when the peer takes not a byte for stall_ms milliseconds
// (negative: never gives up).
frame_result send_frame(int fd, const frame_head &head, const void *payload, int stall_ms);

// Puts together the frames of one connection; one reader per connection, for as long as it lasts.
class frame_reader {
public:
    // Frames of other kinds than these are refused.
    explicit frame_reader(std::initializer_list<frame_kind> kinds) : kinds_(kinds) {}

    // Takes what has arrived, but not beyond the end of the frame, and returns without waiting.
    // What has come of an unfinished frame is kept for the next call.
    frame_result read(int fd, frame &whole);

private:
    frame_result take(int fd, void *to, std::size_t size, std::size_t &filled);
    frame_result ended(std::string reason) const;

    std::vector<frame_kind> kinds_;
    frame partial_;
    std::size_t head_filled_ = 0;
    std::size_t payload_filled_ = 0;
};

// Reads one frame, and waits for it until the deadline. An unfinished frame stays in the reader.
frame_result receive_frame(int fd, frame_reader &reader, const deadline &until, frame &whole);

} // namespace sim
