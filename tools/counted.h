// Numbers of things, as people write them.
#pragma once

#include <cstdint>
#include <fmt/format.h>
#include <string>

namespace feed {

// "1 route", "2 routes"; `many` where an s is not enough.
inline std::string counted(std::uint64_t count, const char *one, const char *many = nullptr) {
    if (many != nullptr && count != 1)
        return fmt::format("{} {}", count, many);
    return fmt::format("{} {}{}", count, one, count == 1 ? "" : "s");
}

} // namespace feed
