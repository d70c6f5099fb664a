#include "address.h"

#include <arpa/inet.h>
#include <fmt/format.h>

namespace feed {

std::optional<std::uint32_t> parse_ipv4(const std::string &text) {
    in_addr address{};
    // A NUL inside would end the C string early and hide what follows.
    if (text.find('\0') != std::string::npos || inet_pton(AF_INET, text.c_str(), &address) != 1)
        return std::nullopt;
    return ntohl(address.s_addr);
}

std::string ipv4_text(std::uint32_t address) {
    return fmt::format("{}.{}.{}.{}", address >> 24, address >> 16 & 0xff, address >> 8 & 0xff,
                       address & 0xff);
}

} // namespace feed
