#include "message_batch.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace feed {

message_batch::message_batch(std::size_t head_bytes, std::uint32_t message_bytes, batch_sender send)
    : head_bytes_(head_bytes), message_bytes_(message_bytes), send_(std::move(send)) {}

void message_batch::start(std::size_t first_record_bytes) {
    // Zeroed, since the library leaves reserved bytes and empty lists as they are.
    buffer_.assign(std::max<std::size_t>(message_bytes_, head_bytes_ + first_record_bytes), 0);
    used_ = head_bytes_;
}

std::uint8_t *message_batch::room(std::size_t most_bytes) {
    const bool full = records_ == std::numeric_limits<std::uint16_t>::max() ||
                      buffer_.size() - used_ < most_bytes;
    if (records_ > 0 && full && !send(false))
        return nullptr;
    if (records_ == 0)
        start(most_bytes);
    return buffer_.data() + used_;
}

void message_batch::take(std::size_t bytes) {
    used_ += bytes;
    ++records_;
}

bool message_batch::finish() {
    return records_ == 0 || send(true);
}

bool message_batch::send(bool last) {
    if (!send_({std::span(buffer_).first(used_), records_, messages_sent_ == 0, last}))
        return false;
    ++messages_sent_;
    records_sent_ += records_;
    records_ = 0;
    return true;
}

} // namespace feed
