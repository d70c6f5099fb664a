#include "sim/switch/frame_input.h"

#include "sim/wire/frame_io.h"

#include <cstring>
#include <fmt/format.h>
#include <vector>

namespace sim {

void frame_input::receive(std::span<const std::byte> bytes) {
    // Consumed bytes are dropped here, once per read, so that many small frames in one read cost no
    // moves.
    bytes_.erase(bytes_.begin(), bytes_.begin() + static_cast<std::ptrdiff_t>(consumed_));
    consumed_ = 0;
    bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
}

std::optional<frame_head> frame_input::head() const {
    if (held() < sizeof(frame_head)) {
        return std::nullopt;
    }
    frame_head read;
    std::memcpy(&read, bytes_.data() + consumed_, sizeof read);
    return read;
}

frame_input::state frame_input::look() {
    const std::optional<frame_head> read = head();
    if (!read) {
        return state::incomplete;
    }
    static const std::vector<frame_kind> from_peers = {
        frame_kind::request, frame_kind::question};
    broken_reason_ = check_frame_head(*read, from_peers);
    if (!broken_reason_.empty()) {
        return state::broken;
    }
    return held() < sizeof *read + read->length ? state::incomplete : state::whole;
}

frame_view frame_input::front() const {
    const frame_head read = *head();
    return {read, std::span(bytes_).subspan(consumed_ + sizeof read, read.length)};
}

void frame_input::drop_frame() {
    consumed_ += sizeof(frame_head) + head()->length;
    // A client that once sent megabytes does not keep them.
    if (consumed_ == bytes_.size()) {
        bytes_ = std::vector<std::byte>();
        consumed_ = 0;
    }
}

std::string frame_input::progress() const {
    const std::optional<frame_head> read = head();
    if (!read) {
        return fmt::format("{} of at least {} bytes", held(), sizeof(frame_head));
    }
    return fmt::format("{} of {} bytes", held(), sizeof *read + read->length);
}

} // namespace sim
