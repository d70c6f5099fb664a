#include "l2_entry.h"

#include <fmt/format.h>

namespace feed {

std::string key_text(const l2_key &key) {
    return fmt::format("({}, {}) in VLAN {}", key.source ? address_text(*key.source) : "*",
                       address_text(key.group), key.vlan);
}

} // namespace feed
