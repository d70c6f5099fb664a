// Reads a message front to back, never beyond its end, and knows where it is: what is wrong there
// is thrown as a refusal.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <fmt/format.h>
#include <span>
#include <string>
#include <string_view>
#include <utility>

namespace sim {

// Why a request is refused. Thrown by the decoders and the checks, caught once, where requests are
// dispatched: so a request is applied whole or not at all.
struct refusal {
    enum class place { payload, frame_head };

    place where = place::payload;
    std::size_t offset = 0; // from the start of the payload or of the frame's head
    std::string reason;
};

inline std::string describe(const refusal &why) {
    const char *where = why.where == refusal::place::payload ? "offset" : "frame head offset";
    return fmt::format("{} {}: {}", where, why.offset, why.reason);
}

template <typename... Values>
[[noreturn]] void refuse_at(std::size_t offset, fmt::format_string<Values...> format,
                            Values &&...values) {
    throw refusal{refusal::place::payload, offset,
                  fmt::format(format, std::forward<Values>(values)...)};
}

static_assert(std::endian::native == std::endian::little,
              "messages are little-endian and read as they are");

class byte_reader {
public:
    // `whole` says in a refusal what it was that ended; `base` is the offset of its first byte in
    // the message.
    explicit byte_reader(std::span<const std::byte> bytes, std::string_view whole = "message",
                         std::size_t base = 0)
        : bytes_(bytes), whole_(whole), base_(base) {}

    std::size_t offset() const { return base_ + position_; }
    std::size_t left() const { return bytes_.size() - position_; }

    std::span<const std::byte> take(std::size_t count, std::string_view what) {
        if (count > left()) {
            refuse_at(offset(), "the {} has {} bytes left here, {} needs {}", whole_, left(), what,
                      count);
        }
        const auto taken = bytes_.subspan(position_, count);
        position_ += count;
        return taken;
    }

    // A reader of the next bytes alone, which keeps counting offsets from the start of the message.
    byte_reader part(std::size_t count, std::string_view what) {
        const std::size_t start = offset();
        return byte_reader(take(count, what), what, start);
    }

    void skip(std::size_t count, std::string_view what) { take(count, what); }
    std::uint8_t u8(std::string_view what) { return number<std::uint8_t>(what); }
    std::uint16_t u16(std::string_view what) { return number<std::uint16_t>(what); }
    std::uint32_t u32(std::string_view what) { return number<std::uint32_t>(what); }
    std::uint64_t u64(std::string_view what) { return number<std::uint64_t>(what); }

private:
    template <typename Number>
    Number number(std::string_view what) {
        Number value;
        std::memcpy(&value, take(sizeof value, what).data(), sizeof value);
        return value;
    }

    std::span<const std::byte> bytes_;
    std::string_view whole_;
    std::size_t base_;
    std::size_t position_ = 0;
};

// For the messages that have one length only.
inline void require_length(std::span<const std::byte> message, std::size_t length) {
    if (message.size() != length) {
        refuse_at(message.size() < length ? message.size() : length,
                  "the message is {} bytes long, it must be {}", message.size(), length);
    }
}

} // namespace sim
