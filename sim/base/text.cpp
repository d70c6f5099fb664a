#include "sim/base/text.h"

#include <charconv>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

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

std::optional<std::uint64_t> parse_number(std::string_view text) {
    const bool is_hex = text.starts_with("0x");
    const char *const end = text.data() + text.size();
    std::uint64_t number = 0;
    const auto result =
        std::from_chars(text.data() + (is_hex ? 2 : 0), end, number, is_hex ? 16 : 10);
    return result.ec == std::errc() && result.ptr == end ? std::optional(number) : std::nullopt;
}

std::string wrapped(const std::string &lead, const std::vector<std::string> &items) {
    std::string text;
    std::string line = lead;
    const std::string indent(lead.size(), ' ');
    for (std::size_t i = 0; i < items.size(); ++i) {
        const std::string item = i + 1 < items.size() ? items[i] + "," : items[i];
        if (line.size() > lead.size() && line.size() + 1 + item.size() > text_width) {
            text += line + "\n";
            line = indent;
        }
        line += (line.size() > lead.size() ? " " : "") + item;
    }
    return text + line + "\n";
}

std::string counted(std::uint64_t count, std::string_view noun, std::string_view plural) {
    const std::string many = plural.empty() ? fmt::format("{}s", noun) : std::string(plural);
    return fmt::format("{} {}", count, count == 1 ? noun : many);
}

std::string counted_of(std::uint64_t shown, std::uint64_t matched, std::string_view noun) {
    return shown == matched ? counted(shown, noun)
                            : fmt::format("{} of {}", shown, counted(matched, noun));
}

std::string counted_rows(const nlohmann::ordered_json &table, const char *rows,
                         std::string_view noun) {
    const std::uint64_t shown = table.at(rows).size();
    return counted_of(shown, table.value("matched", shown), noun);
}

} // namespace sim
