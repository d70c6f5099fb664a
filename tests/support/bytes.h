// Buffers for tests: what they held before, and what of it should have changed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

using bytes = std::vector<std::uint8_t>;

// `size` bytes, to tell later which were written and whether they were moved: neighbours always
// differ, and they repeat only after 251.
bytes pattern(std::size_t size);

// The first with zeros after them, `size` in all.
bytes zero_padded(bytes first, std::size_t size);

// The original with `patch` in place of what was at `offset`.
bytes patched(bytes original, std::size_t offset, const bytes &patch);

bytes operator+(bytes first, const bytes &second);

bytes part(const bytes &whole, std::size_t offset, std::size_t size);

// The bytes of pairs of hexadecimal digits, spaces between them or not: "01 a2".
bytes hex(std::string_view digits);

// The characters, without a NUL.
bytes characters(const std::string &text);

// The number as it lies in memory, low byte first.
bytes word(std::uint32_t number);
