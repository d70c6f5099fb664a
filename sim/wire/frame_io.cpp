#include "sim/wire/frame_io.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <poll.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <utility>

namespace sim {

namespace {

constexpr char peer_has_closed[] = "the other end has closed the connection";

// Waits for the events. False when the deadline has come first. May be true too early, as after a
// signal: the caller finds nothing to read or no room to write, and waits again.
bool wait_for(int fd, short events, const deadline &until) {
    pollfd entry{fd, events, 0};
    return poll(&entry, 1, until.left_ms()) != 0;
}

frame_result failure(int error) {
    if (error == EPIPE || error == ECONNRESET)
        return {frame_status::closed, peer_has_closed};
    return {frame_status::broken, std::strerror(error)};
}

// One sendmsg of what is left of the two parts, `sent` bytes of them being gone already.
ssize_t send_rest(int fd, const frame_head &head, const void *payload, std::size_t sent) {
    const std::size_t of_head = std::min(sent, sizeof head);
    const std::size_t of_payload = sent - of_head;
    // sendmsg takes writable pointers but does not write.
    iovec parts[2] = {
        {const_cast<char *>(reinterpret_cast<const char *>(&head)) + of_head,
         sizeof head - of_head},
        {const_cast<char *>(static_cast<const char *>(payload)) + of_payload,
         head.length - of_payload},
    };
    msghdr message{};
    message.msg_iov = parts;
    message.msg_iovlen = head.length == 0 ? 1 : 2;
    return sendmsg(fd, &message, MSG_NOSIGNAL | MSG_DONTWAIT);
}

} // namespace

std::string check_frame_head(const frame_head &head, const std::vector<frame_kind> &kinds) {
    char text[96];
    if (head.magic != frame_magic)
        std::snprintf(text, sizeof text, "frame magic is 0x%08x, not 0x%08x", head.magic,
                      frame_magic);
    else if (std::find(kinds.begin(), kinds.end(), head.kind) == kinds.end())
        std::snprintf(text, sizeof text, "frame kind %u does not belong here",
                      static_cast<unsigned>(head.kind));
    else if (head.length > frame_max_payload)
        std::snprintf(text, sizeof text, "frame length %u exceeds %u bytes", head.length,
                      frame_max_payload);
    else
        return {};
    return text;
}

frame_result send_frame(int fd, const frame_head &head, const void *payload, int stall_ms) {
    const std::size_t size = sizeof head + head.length;
    deadline until = deadline::after_ms(stall_ms);
    for (std::size_t sent = 0; sent < size;) {
        const ssize_t count = send_rest(fd, head, payload, sent);
        if (count > 0) {
            sent += static_cast<std::size_t>(count);
            until = deadline::after_ms(stall_ms);
        } else if (count < 0 && errno == EAGAIN) {
            if (!wait_for(fd, POLLOUT, until))
                return {frame_status::timed_out, "the other end has stopped reading"};
        } else if (count < 0 && errno != EINTR) {
            return failure(errno);
        }
    }
    return {};
}

frame_result frame_reader::ended(std::string reason) const {
    if (head_filled_ == 0)
        return {frame_status::closed, std::move(reason)};
    const std::size_t expected =
        sizeof(frame_head) + (head_filled_ < sizeof(frame_head) ? 0 : partial_.head.length);
    return {frame_status::broken, reason + " within a frame, after " +
                                      std::to_string(head_filled_ + payload_filled_) + " of " +
                                      (head_filled_ < sizeof(frame_head) ? "at least " : "") +
                                      std::to_string(expected) + " bytes"};
}

frame_result frame_reader::take(int fd, void *to, std::size_t size, std::size_t &filled) {
    while (filled < size) {
        const ssize_t count =
            recv(fd, static_cast<char *>(to) + filled, size - filled, MSG_DONTWAIT);
        if (count > 0)
            filled += static_cast<std::size_t>(count);
        else if (count == 0 || errno == ECONNRESET)
            return ended(peer_has_closed);
        else if (errno == EAGAIN)
            return {frame_status::timed_out, {}};
        else if (errno != EINTR)
            return failure(errno);
    }
    return {};
}

frame_result frame_reader::read(int fd, frame &whole) {
    frame_result result = take(fd, &partial_.head, sizeof(frame_head), head_filled_);
    if (result.status != frame_status::done)
        return result;
    if (std::string reason = check_frame_head(partial_.head, kinds_); !reason.empty())
        return {frame_status::broken, std::move(reason)};
    partial_.payload.resize(partial_.head.length);
    result = take(fd, partial_.payload.data(), partial_.payload.size(), payload_filled_);
    if (result.status != frame_status::done)
        return result;
    whole = std::exchange(partial_, {});
    head_filled_ = payload_filled_ = 0;
    return {};
}

frame_result receive_frame(int fd, frame_reader &reader, const deadline &until, frame &whole) {
    for (;;) {
        frame_result result = reader.read(fd, whole);
        if (result.status != frame_status::timed_out || !wait_for(fd, POLLIN, until))
            return result;
    }
}

} // namespace sim
