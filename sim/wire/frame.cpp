#include "sim/wire/frame.h"

#include "sim/base/text.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fmt/format.h>
#include <poll.h>
#include <sys/socket.h>

namespace sim {

namespace {

constexpr char peer_has_closed[] = "the other end has closed the connection";

frame_result failure(int error) {
    if (error == EPIPE || error == ECONNRESET) {
        return {frame_status::closed, peer_has_closed};
    }
    return {frame_status::broken, std::strerror(error)};
}

// Waits for the events. Is done too early after a signal: the caller finds nothing to read or no
// room to write, and waits again.
frame_result wait_for(int fd, short events, const deadline &until) {
    pollfd entry{fd, events, 0};
    const int ready = poll(&entry, 1, until.left_ms());
    if (ready < 0 && errno != EINTR) {
        return failure(errno);
    }
    return {ready == 0 ? frame_status::timed_out : frame_status::done, {}};
}

} // namespace

frame_head new_head(frame_kind kind, std::size_t length) {
    frame_head head{};
    head.magic = frame_magic;
    head.kind = kind;
    head.length = static_cast<std::uint32_t>(length);
    return head;
}

std::vector<std::byte> frame_bytes(const frame_head &head, const void *payload) {
    std::vector<std::byte> frame(sizeof head + head.length);
    std::memcpy(frame.data(), &head, sizeof head);
    if (head.length != 0) {
        std::memcpy(frame.data() + sizeof head, payload, head.length);
    }
    return frame;
}

std::vector<std::byte> message_frame(std::uint32_t sap, std::uint32_t opcode,
                                     std::span<const std::byte> payload) {
    frame_head head = new_head(frame_kind::message, payload.size());
    head.sap = sap;
    head.opcode = opcode;
    return frame_bytes(head, payload.data());
}

std::string check_frame_head(const frame_head &head, const std::vector<frame_kind> &kinds) {
    if (head.magic != frame_magic) {
        return fmt::format("frame magic is {:#010x}, not {:#010x}", head.magic, frame_magic);
    }
    if (std::ranges::find(kinds, head.kind) == kinds.end()) {
        return fmt::format("frame kind {} does not belong here", std::uint32_t(head.kind));
    }
    if (head.length > frame_max_payload) {
        return fmt::format("frame length {} exceeds {} bytes", head.length, frame_max_payload);
    }
    return {};
}

frame_result send_frame(int fd, const frame_head &head, const void *payload, int stall_ms) {
    const std::vector<std::byte> frame = frame_bytes(head, payload);
    std::span<const std::byte> left = frame;
    deadline until = deadline::after_ms(stall_ms);
    while (!left.empty()) {
        const ssize_t count = send(fd, left.data(), left.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (count > 0) {
            left = left.subspan(static_cast<std::size_t>(count));
            until = deadline::after_ms(stall_ms);
        } else if (count < 0 && errno == EAGAIN) {
            frame_result waited = wait_for(fd, POLLOUT, until);
            if (waited.status == frame_status::timed_out) {
                return {frame_status::timed_out, "the other end has stopped reading"};
            }
            if (waited.status != frame_status::done) {
                return waited;
            }
        } else if (count < 0 && errno != EINTR) {
            return failure(errno);
        }
    }
    return {};
}

ssize_t frame_reader::receive(int fd, std::size_t most) {
    std::array<std::byte, 32u << 10> buffer;
    const ssize_t count = recv(fd, buffer.data(), std::min(most, buffer.size()), MSG_DONTWAIT);
    if (count > 0) {
        receive(std::span(buffer).first(static_cast<std::size_t>(count)));
    }
    return count;
}

void frame_reader::receive(std::span<const std::byte> bytes) {
    // Consumed bytes are dropped here, once per read, so that many small frames in one read cost no
    // moves.
    bytes_.erase(bytes_.begin(), bytes_.begin() + static_cast<std::ptrdiff_t>(consumed_));
    consumed_ = 0;
    bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
}

std::optional<frame_head> frame_reader::head() const {
    if (held() < sizeof(frame_head)) {
        return std::nullopt;
    }
    frame_head read;
    std::memcpy(&read, bytes_.data() + consumed_, sizeof read);
    return read;
}

frame_reader::state frame_reader::look() {
    const std::optional<frame_head> read = head();
    if (!read) {
        return state::incomplete;
    }
    broken_reason_ = check_frame_head(*read, kinds_);
    if (!broken_reason_.empty()) {
        return state::broken;
    }
    return held() < sizeof *read + read->length ? state::incomplete : state::whole;
}

frame_view frame_reader::front() const {
    const frame_head read = *head();
    return {read, std::span(bytes_).subspan(consumed_ + sizeof read, read.length)};
}

void frame_reader::drop_frame() {
    consumed_ += sizeof(frame_head) + head()->length;
    // A peer that once sent megabytes does not keep them.
    if (consumed_ == bytes_.size()) {
        bytes_ = std::vector<std::byte>();
        consumed_ = 0;
    }
}

std::string frame_reader::end_reason(const std::string &reason) const {
    if (held() == 0) {
        return reason;
    }
    const std::optional<frame_head> read = head();
    return fmt::format("{} within a frame, after {} of {}{} bytes", reason, held(),
                       read ? "" : "at least ", sizeof *read + (read ? read->length : 0));
}

// What there is at the front: timed_out when it is not whole.
frame_result frame_reader::take_front(frame &whole) {
    switch (look()) {
    case state::incomplete:
        return {frame_status::timed_out, {}};
    case state::broken:
        return {frame_status::broken, broken_reason_};
    case state::whole:
        break;
    }
    const frame_view view = front();
    const auto *payload = reinterpret_cast<const std::uint8_t *>(view.payload.data());
    whole = {view.head, {payload, payload + view.payload.size()}};
    drop_frame();
    if (whole.head.kind == frame_kind::closing) {
        return {frame_status::dismissed,
                fmt::format("{}: {}", peer_has_closed,
                            printable(std::string(whole.payload.begin(), whole.payload.end())))};
    }
    return {};
}

frame_result frame_reader::read(int fd, frame &whole) {
    for (;;) {
        if (frame_result result = take_front(whole); result.status != frame_status::timed_out) {
            return result;
        }
        const std::optional<frame_head> start = head();
        const std::size_t end = sizeof(frame_head) + (start ? start->length : 0);
        const ssize_t count = receive(fd, end - held());
        if (count == 0 || (count < 0 && errno == ECONNRESET)) {
            return {held() == 0 ? frame_status::closed : frame_status::broken,
                    end_reason(peer_has_closed)};
        }
        if (count < 0 && errno == EAGAIN) {
            return {frame_status::timed_out, {}};
        }
        if (count < 0 && errno != EINTR) {
            return failure(errno);
        }
    }
}

frame_result receive_frame(int fd, frame_reader &reader, const deadline &until, frame &whole) {
    for (;;) {
        frame_result result = reader.read(fd, whole);
        if (result.status == frame_status::timed_out) {
            result = wait_for(fd, POLLIN, until);
            if (result.status == frame_status::done) {
                continue;
            }
        }
        return result;
    }
}

} // namespace sim
