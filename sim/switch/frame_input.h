// Puts frames together from the bytes of one connection, in whatever pieces they come.
//
// Memory grows with what has really arrived, never with what a frame's length field announces.
#pragma once

#include "sim/wire/frame.h"

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace sim {

struct frame_view {
    frame_head head;
    std::span<const std::byte> payload; // valid until the next call of receive() or drop_frame()
};

class frame_input {
public:
    enum class state { incomplete, whole, broken };

    void receive(std::span<const std::byte> bytes);

    // What is at the front. A broken front stays broken: nothing says where the next frame starts.
    state look();
    const std::string &broken_reason() const { return broken_reason_; }

    // The whole frame at the front, and its removal.
    frame_view front() const;
    void drop_frame();

    std::size_t held() const { return bytes_.size() - consumed_; }

    // For the log, when the peer is gone and held() is not 0: "46 of 352 bytes".
    std::string progress() const;

private:
    std::optional<frame_head> head() const;

    std::vector<std::byte> bytes_;
    std::size_t consumed_ = 0;
    std::string broken_reason_;
};

} // namespace sim
