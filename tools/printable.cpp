#include "printable.h"

#include <fmt/format.h>

namespace feed {

namespace {

constexpr std::size_t longest_text = 120;

} // namespace

std::string printable(std::string_view text) {
    std::string result;
    for (const char c : text.substr(0, longest_text)) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x20 || byte >= 0x7f)
            result += fmt::format("\\x{:02x}", byte);
        else
            result += c;
    }
    if (text.size() > longest_text)
        result += "...";
    return result;
}

std::string in_quotes(std::string_view text) {
    return '"' + printable(text) + '"';
}

} // namespace feed
