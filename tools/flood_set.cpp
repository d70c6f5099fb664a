#include "flood_set.h"

#include <fmt/format.h>

namespace feed {

std::string key_text(const flood_key &key) {
    return fmt::format("VLAN {}", key.vlan);
}

} // namespace feed
