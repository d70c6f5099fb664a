// Texts from an input, as they may appear in an error message.
#pragma once

#include <string>
#include <string_view>

namespace feed {

// In double quotes, on one line, not too long, and free of bytes that a terminal would take for
// something else.
std::string in_quotes(std::string_view text);

// The same without the quotes.
std::string printable(std::string_view text);

} // namespace feed
