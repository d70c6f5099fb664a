#include "route.h"

#include "address.h"

#include <fmt/format.h>

namespace feed {

namespace {

std::string prefix_text(std::uint32_t address, std::uint8_t length) {
    if (address == 0 && length == 0)
        return "*";
    return length == 32 ? ipv4_text(address) : fmt::format("{}/{}", ipv4_text(address), length);
}

} // namespace

std::string key_text(const route_key &key) {
    return fmt::format("({}, {}) in table {}", prefix_text(key.source, key.source_length),
                       prefix_text(key.group, key.group_length), key.table);
}

} // namespace feed
