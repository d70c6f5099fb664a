#include "sim/base/ipv4_text.h"

#include <arpa/inet.h>
#include <fmt/format.h>

namespace sim {

std::string ipv4_text(std::uint32_t address) {
    return fmt::format("{}.{}.{}.{}", address >> 24, address >> 16 & 0xff, address >> 8 & 0xff,
                       address & 0xff);
}

std::optional<std::uint32_t> parse_ipv4(const std::string &text) {
    in_addr address;
    if (inet_pton(AF_INET, text.c_str(), &address) != 1) {
        return std::nullopt;
    }
    return ntohl(address.s_addr);
}

} // namespace sim
