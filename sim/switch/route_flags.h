// The names of a route's flags.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace sim {

// Lowest bit first; a bit without a name is "bit40".
std::vector<std::string> flag_names(std::uint64_t flags);

} // namespace sim
