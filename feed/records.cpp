#include "feed/records.h"

#include <algorithm>
#include <limits>

namespace feed {

std::uint8_t *message_batch::room(std::size_t most_bytes) {
    const bool full = records_ == std::numeric_limits<std::uint16_t>::max() ||
                      buffer_.size() - used_ < most_bytes;
    if (records_ > 0 && full) {
        send();
    }
    if (records_ == 0) {
        // Zeroed, since the library leaves reserved bytes and empty lists as they are.
        buffer_.assign(std::max(message_bytes_, head_bytes_ + most_bytes), 0);
        used_ = head_bytes_;
    }
    return buffer_.data() + used_;
}

void message_batch::take(std::size_t bytes) {
    used_ += bytes;
    ++records_;
}

void message_batch::finish() {
    if (records_ > 0) {
        send();
    }
}

void message_batch::send() {
    send_({std::span(buffer_).first(used_), records_});
    records_ = 0;
}

} // namespace feed
