#include "sim/base/text.h"

#include <algorithm>
#include <charconv>
#include <fmt/format.h>

namespace sim {

std::string printable(std::string_view text) {
    std::string safe;
    safe.reserve(text.size());
    for (const char byte : text) {
        if (byte >= 0x20 && byte < 0x7f) {
            safe += byte;
        } else {
            safe += fmt::format("\\x{:02x}", static_cast<unsigned char>(byte));
        }
    }
    return safe;
}

std::string printable_lines(std::string_view text) {
    std::string safe;
    while (!text.empty()) {
        const char *const end = text.find('\n') == text.npos ? "" : "\n";
        safe += printable(take_until(text, "\n")) + end;
    }
    return safe;
}

std::optional<std::uint64_t> parse_number(std::string_view text) {
    const bool is_hex = text.starts_with("0x");
    const char *const end = text.data() + text.size();
    std::uint64_t number = 0;
    const auto result =
        std::from_chars(text.data() + (is_hex ? 2 : 0), end, number, is_hex ? 16 : 10);
    return result.ec == std::errc() && result.ptr == end ? std::optional(number) : std::nullopt;
}

std::string_view take_until(std::string_view &text, std::string_view end) {
    const std::string_view taken = text.substr(0, text.find(end));
    text.remove_prefix(std::min(taken.size() + end.size(), text.size()));
    return taken;
}

std::string counted(std::uint64_t count, std::string_view noun, std::string_view plural) {
    const std::string many = plural.empty() ? fmt::format("{}s", noun) : std::string(plural);
    return fmt::format("{} {}", count, count == 1 ? noun : many);
}

std::string counted_of(std::uint64_t shown, std::uint64_t matched, std::string_view noun,
                       std::string_view plural) {
    return shown == matched ? counted(shown, noun, plural)
                            : fmt::format("{} of {}", shown, counted(matched, noun, plural));
}

} // namespace sim
