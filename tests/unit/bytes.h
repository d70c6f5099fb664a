// Buffers for tests: what they held before, and what of it should have changed.
#pragma once

#include "fake/calls.h"

#include <cstdint>
#include <string>
#include <string_view>

using fake::Bytes;

// `size` bytes, neighbours always different, to tell later which were written.
Bytes pattern(std::size_t size);

// `bytes` with zeros behind them, `size` in all.
Bytes zero_padded(Bytes bytes, std::size_t size);

// `bytes` with `patch` in place of what was at `offset`.
Bytes patched(Bytes bytes, std::size_t offset, const Bytes &patch);

Bytes joined(Bytes first, const Bytes &second);

Bytes part(const Bytes &bytes, std::size_t offset, std::size_t size);

// The bytes of pairs of hexadecimal digits, blanks between them or not: "01 a2".
Bytes hex(std::string_view digits);

// The characters, without a NUL.
Bytes characters(const std::string &text);

// The number as it lies in memory, low byte first.
Bytes word(std::uint32_t number);
