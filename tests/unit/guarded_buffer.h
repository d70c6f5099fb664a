// Buffers for which a byte read or written too far, or written at all, ends the test.
#pragma once

#include "tests/support/bytes.h"

#include <cstddef>
#include <cstdint>

// `size` bytes between two pages that nothing may touch: directly behind the first of them, or
// directly before the second, with `distance` bytes between. Those and all others around the
// content start as a pattern.
class GuardedBuffer {
public:
    enum class Side { front, back };

    GuardedBuffer(const bytes &content, Side side, std::size_t distance);
    ~GuardedBuffer();
    GuardedBuffer(const GuardedBuffer &) = delete;
    GuardedBuffer &operator=(const GuardedBuffer &) = delete;

    // From now on, writing ends the test.
    void make_read_only();

    std::uint8_t *data() { return data_; }
    bytes content() const { return {data_, data_ + size_}; }
    bool surroundings_untouched() const;

private:
    std::uint8_t *first_page() const;

    std::uint8_t *pages_;
    std::size_t pages_size_;
    bytes start_;
    std::uint8_t *data_;
    std::size_t size_;
};
