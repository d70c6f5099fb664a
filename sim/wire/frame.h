// Frames on the simulator's Unix stream sockets, each a fixed head and a payload: their layout,
// sending one, and putting one together from what has arrived so far.
//
// All words are in host byte order; both ends are on one machine. A frame whose magic is wrong
// cannot be skipped, since nothing says where the next one starts: the connection is closed.
//
// Nothing here raises SIGPIPE, and a signal that interrupts a call never shows: the call goes on.
// The socket itself may be in blocking or in non-blocking mode. After `closed`, `dismissed` or
// `broken`, and after a send that timed out, the stream is not at the start of a frame: close it.
#pragma once

#include "sim/base/deadline.h"

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <span>
#include <string>
#include <sys/types.h>
#include <type_traits>
#include <vector>

namespace sim {

inline constexpr std::uint32_t frame_magic = 0x3154594b; // "KYT1"
inline constexpr std::uint32_t frame_max_payload = 16u << 20;
inline constexpr std::uint32_t send_option_words = 19;

enum class frame_kind : std::uint32_t {
    request = 1,  // a client's kyt_send
    message = 2,  // what the switch sends to a client's queue
    question = 3, // what vellsim's commands ask a running switch, in JSON
    answer = 4,   // a piece of the answer; of a refusal when the opcode is not 0
    closing = 5,  // the switch closes the connection; the payload says why
};

struct frame_head {
    std::uint32_t magic;
    frame_kind kind;
    std::uint32_t length; // of the payload that follows
    std::uint32_t node;
    std::uint32_t sap;
    std::uint32_t opcode;
    std::uint32_t flags;
    std::uint32_t options[send_option_words];
};
static_assert(sizeof(frame_head) == 104 && std::has_unique_object_representations_v<frame_head>);

enum class frame_status {
    done,
    timed_out, // no whole frame yet; or, of a send, the peer takes nothing
    closed,    // by the peer; of a read, between two frames
    dismissed, // by the switch, with the reason that it gives
    broken,    // anything else, with a reason
};

struct frame_result {
    frame_status status = frame_status::done;
    std::string reason; // unless it is done, a text for people
};

struct frame {
    frame_head head{};
    std::vector<std::uint8_t> payload;
};

// The head of a frame of this kind, its other words 0.
frame_head new_head(frame_kind kind, std::size_t length);

// A whole frame, ready to send.
std::vector<std::byte> frame_bytes(const frame_head &head, const void *payload);

// The same, of a message to a client's queue.
std::vector<std::byte> message_frame(std::uint32_t sap, std::uint32_t opcode,
                                     std::span<const std::byte> payload);

// Whether a frame of one of these kinds may begin with this head: an empty string, or what is wrong
// with it.
std::string check_frame_head(const frame_head &head, const std::vector<frame_kind> &kinds);

// Sends the head and head.length bytes of payload, which must not exceed frame_max_payload. Gives
// up, with the frame perhaps cut, when the peer takes not a byte for stall_ms milliseconds
// (negative: never gives up).
frame_result send_frame(int fd, const frame_head &head, const void *payload, int stall_ms);

struct frame_view {
    frame_head head;
    std::span<const std::byte> payload; // valid until the reader changes
};

// Puts together the frames of one connection, in whatever pieces they come; one reader per
// connection, for as long as it lasts. Memory grows with what has really arrived, never with what a
// frame's length field announces.
class frame_reader {
public:
    enum class state { incomplete, whole, broken };

    // Frames of other kinds than these break the stream.
    explicit frame_reader(std::initializer_list<frame_kind> kinds) : kinds_(kinds) {}

    // One recv() of `most` bytes or fewer, which does not wait: returns what it returned.
    ssize_t receive(int fd, std::size_t most);
    void receive(std::span<const std::byte> bytes);

    // What is at the front. A broken front stays broken: nothing says where the next frame starts.
    state look();
    const std::string &broken_reason() const { return broken_reason_; }

    // The whole frame at the front, and its removal.
    frame_view front() const;
    void drop_frame();

    std::size_t held() const { return bytes_.size() - consumed_; }

    // Of the stream's end: a text that says how much of a frame has come, if any has.
    std::string end_reason(const std::string &reason) const;

    // For the clients of a switch. Takes what has arrived, but not beyond the end of the frame, and
    // returns without waiting. What has come of an unfinished frame is kept for the next call.
    frame_result read(int fd, frame &whole);

private:
    std::optional<frame_head> head() const;
    frame_result take_front(frame &whole);

    std::vector<frame_kind> kinds_;
    std::vector<std::byte> bytes_;
    std::size_t consumed_ = 0;
    std::string broken_reason_;
};

// Reads one frame, and waits for it until the deadline. An unfinished frame stays in the reader.
frame_result receive_frame(int fd, frame_reader &reader, const deadline &until, frame &whole);

} // namespace sim
