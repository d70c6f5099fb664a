// The other end of a connection, as a test holds it. Nothing here waits for longer than a few
// seconds: a test whose bytes never come fails instead of hanging.
#pragma once

#include "sim/base/file_descriptor.h"
#include "sim/wire/frame.h"

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <poll.h>
#include <stdexcept>
#include <string>
#include <sys/socket.h>
#include <utility>
#include <vector>

namespace sim_test {

using bytes = std::vector<std::uint8_t>;

inline constexpr int patience_ms = 10000;

// A call that a signal has cut short is made again: a test's signals reach all its threads.
template <class Call>
auto through_signals(Call call) {
    decltype(call()) result;
    do
        result = call();
    while (result < 0 && errno == EINTR);
    return result;
}

inline bool readable(int fd, int timeout_ms) {
    pollfd entry{fd, POLLIN, 0};
    return through_signals([&] { return poll(&entry, 1, timeout_ms); }) > 0;
}

// Up to `size` bytes; fewer when the other end closes or goes quiet.
inline bytes read_up_to(int fd, std::size_t size) {
    bytes result(size);
    std::size_t filled = 0;
    while (filled < size && readable(fd, patience_ms)) {
        const ssize_t count = through_signals(
            [&] { return recv(fd, result.data() + filled, size - filled, MSG_DONTWAIT); });
        if (count <= 0)
            break;
        filled += static_cast<std::size_t>(count);
    }
    result.resize(filled);
    return result;
}

// Whether the other end has closed, with nothing left to read.
inline bool at_end(int fd) {
    char byte;
    return readable(fd, patience_ms) &&
           through_signals([&] { return recv(fd, &byte, 1, MSG_DONTWAIT); }) <= 0;
}

// Whether there is neither a byte to read nor an end.
inline bool is_quiet(int fd) {
    return !readable(fd, 0);
}

inline void write_all(int fd, const bytes &data) {
    std::size_t written = 0;
    while (written < data.size()) {
        const ssize_t count = through_signals(
            [&] { return send(fd, data.data() + written, data.size() - written, MSG_NOSIGNAL); });
        if (count <= 0)
            throw std::runtime_error("the other end of the test's connection is gone");
        written += static_cast<std::size_t>(count);
    }
}

struct stream_pair {
    sim::file_descriptor here;
    sim::file_descriptor there;
};

inline stream_pair make_stream_pair() {
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
        throw std::runtime_error("no socket pair");
    return {sim::file_descriptor(ends[0]), sim::file_descriptor(ends[1])};
}

inline bytes operator+(bytes left, const bytes &right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

inline bytes part(const bytes &whole, std::size_t from, std::size_t to) {
    return {whole.begin() + static_cast<std::ptrdiff_t>(from),
            whole.begin() + static_cast<std::ptrdiff_t>(to)};
}

inline bytes bytes_of(const sim::frame_head &head) {
    bytes result(sizeof head);
    std::memcpy(result.data(), &head, sizeof head);
    return result;
}

inline sim::frame_head head_of(sim::frame_kind kind, std::uint32_t opcode, std::size_t length) {
    sim::frame_head head{};
    head.magic = sim::frame_magic;
    head.kind = kind;
    head.length = static_cast<std::uint32_t>(length);
    head.opcode = opcode;
    return head;
}

// What the switch sends to a client's queue.
inline bytes message(std::uint32_t opcode, const bytes &payload) {
    return bytes_of(head_of(sim::frame_kind::message, opcode, payload.size())) + payload;
}

// Bytes that repeat only after 251, so that a shift by a round number shows.
inline bytes pattern(std::size_t size) {
    bytes result(size);
    for (std::size_t at = 0; at < size; ++at)
        result[at] = static_cast<std::uint8_t>(at % 251);
    return result;
}

} // namespace sim_test
