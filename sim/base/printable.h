// Text from elsewhere, made safe for a terminal and for one line.
#pragma once

#include <fmt/format.h>
#include <string>
#include <string_view>

namespace sim {

inline std::string printable(std::string_view text) {
    std::string safe;
    for (const char byte : text) {
        if (byte >= 0x20 && byte < 0x7f) {
            safe += byte;
        } else {
            safe += fmt::format("\\x{:02x}", static_cast<unsigned char>(byte));
        }
    }
    return safe;
}

} // namespace sim
