// A route record in a client's buffer: at any offset, with other bytes around it.
#pragma once

#include "tests/support/bytes.h"

#include <vell.h>

#include <algorithm>
#include <cstddef>

// Starts with a pattern in every byte, the record's 40 among them.
class RouteBuffer {
public:
    static constexpr std::size_t size = 64;
    static constexpr std::size_t margin = 4;

    // The record lies `offset` bytes behind a place that is aligned for everything, the margin not
    // counted.
    explicit RouteBuffer(std::size_t offset) : at_(margin + offset), before_(pattern(size)) {
        restore();
    }

    vell_mrib_route *route() { return reinterpret_cast<vell_mrib_route *>(bytes_ + at_); }

    void restore() { std::copy(before_.begin(), before_.end(), bytes_); }

    void put(std::size_t offset, const bytes &raw) {
        std::copy(raw.begin(), raw.end(), bytes_ + at_ + offset);
    }

    // All bytes now, those around the record included.
    bytes now() const { return {bytes_, bytes_ + size}; }

    // All bytes as they started, with `patch` at the record's `offset`.
    bytes started_with(std::size_t offset, const bytes &patch) const {
        return patched(before_, at_ + offset, patch);
    }

private:
    std::size_t at_;
    bytes before_;
    alignas(16) std::uint8_t bytes_[size];
};
