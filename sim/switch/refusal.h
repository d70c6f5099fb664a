// Why a request is refused. Thrown by the decoders and the checks, caught once, where requests are
// dispatched: so a request is applied whole or not at all.
#pragma once

#include <cstddef>
#include <fmt/format.h>
#include <string>
#include <utility>

namespace sim {

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

} // namespace sim
