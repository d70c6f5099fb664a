// The interfaces of a machine as `ip -j link show` prints them.
#pragma once

#include "text_input.h"

#include <cstdint>
#include <map>
#include <string>

namespace feed {

// Index by name. Throws input_error when the text is anything but such a list.
std::map<std::string, std::uint32_t> parse_links(const text_input &input);

} // namespace feed
