// What people call an interface.
#pragma once

#include <cstdint>
#include <string>

namespace sim {

// The index in hexadecimal for an interface that has no name.
std::string interface_name(std::uint32_t if_index);

} // namespace sim
