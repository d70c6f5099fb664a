#include "feed/state.h"

#include <fmt/format.h>

namespace feed {

std::string key_text(const route_key &key) {
    return fmt::format("{} in table {}",
                       sim::sg_text(sim::ipv4_address(key.source), key.source_length,
                                    sim::ipv4_address(key.group), key.group_length),
                       key.table);
}

std::string key_text(const group_key &key) {
    return fmt::format("({}, {}) in VLAN {}", key.source ? sim::address_text(*key.source) : "*",
                       sim::address_text(key.group), key.vlan);
}

std::string key_text(const flood_key &key) {
    return fmt::format("VLAN {}", key.vlan);
}

std::string key_text(const ltl_key &key) {
    return fmt::format("LTL of VLAN {} with tag {:#x}", key.vlan, key.tag);
}

} // namespace feed
