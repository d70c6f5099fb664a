#include "sim/base/address.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cctype>
#include <cstdio>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <iterator>
#include <span>

namespace sim {

namespace {

struct kind_row {
    l2_address_kind kind;
    std::string_view name;
    std::size_t size;
};

constexpr kind_row kinds[] = {
    {l2_address_kind::mac, "mac", 6},
    {l2_address_kind::ipv4, "ipv4", 4},
    {l2_address_kind::ipv6, "ipv6", 16},
};

std::string internet_text(int family, const l2_address &address) {
    char text[INET6_ADDRSTRLEN];
    return inet_ntop(family, address.bytes.data(), text, sizeof text);
}

std::optional<l2_address> parse_mac(std::string text) {
    l2_address parsed{l2_address_kind::mac};
    std::uint8_t to[6] = {};
    std::sscanf(text.c_str(), "%2hhx:%2hhx:%2hhx:%2hhx:%2hhx:%2hhx", &to[0], &to[1], &to[2], &to[3],
                &to[4], &to[5]);
    std::ranges::copy(to, parsed.bytes.begin());
    std::ranges::transform(text, text.begin(), [](unsigned char letter) {
        return static_cast<char>(std::tolower(letter));
    });
    return address_text(parsed) == text ? std::optional(parsed) : std::nullopt;
}

std::string prefix_text(const l2_address &prefix, unsigned length) {
    if (length == 0 && is_zero(prefix)) {
        return "*";
    }
    const std::size_t whole = 8 * l2_address_size(static_cast<std::uint32_t>(prefix.kind));
    return length == whole ? address_text(prefix)
                           : fmt::format("{}/{}", address_text(prefix), length);
}

} // namespace

std::size_t l2_address_size(std::uint32_t kind) {
    const auto found =
        std::ranges::find(kinds, static_cast<l2_address_kind>(kind), &kind_row::kind);
    return found == std::end(kinds) ? 0 : found->size;
}

bool is_zero(const l2_address &address) {
    return std::ranges::all_of(address.bytes, [](std::uint8_t byte) { return byte == 0; });
}

bool is_multicast(const l2_address &address) {
    switch (address.kind) {
    case l2_address_kind::ipv4:
        return address.bytes[0] >> 4 == 0xe;
    case l2_address_kind::ipv6:
        return address.bytes[0] == 0xff;
    case l2_address_kind::mac:
        return (address.bytes[0] & 1) != 0;
    }
    return false;
}

std::string_view kind_name(l2_address_kind kind) {
    const auto found = std::ranges::find(kinds, kind, &kind_row::kind);
    return found == std::end(kinds) ? "unknown" : found->name;
}

std::string address_text(const l2_address &address) {
    switch (address.kind) {
    case l2_address_kind::ipv4:
        return internet_text(AF_INET, address);
    case l2_address_kind::ipv6:
        return internet_text(AF_INET6, address);
    case l2_address_kind::mac:
        break;
    }
    return fmt::format("{:02x}", fmt::join(std::span(address.bytes).first(6), ":"));
}

std::optional<l2_address> parse_l2_address(const std::string &text) {
    l2_address parsed;
    if (text.find('\0') != text.npos) {
        return std::nullopt;
    }
    if (inet_pton(AF_INET, text.c_str(), parsed.bytes.data()) == 1) {
        return parsed;
    }
    parsed = {l2_address_kind::ipv6};
    if (inet_pton(AF_INET6, text.c_str(), parsed.bytes.data()) == 1) {
        return parsed;
    }
    return parse_mac(text);
}

l2_address ipv4_address(std::uint32_t number) {
    l2_address made;
    for (unsigned i = 0; i < 4; ++i) {
        made.bytes[i] = static_cast<std::uint8_t>(number >> (24 - 8 * i));
    }
    return made;
}

std::uint32_t ipv4_number(const l2_address &address) {
    std::uint32_t number = 0;
    for (unsigned i = 0; i < 4; ++i) {
        number = number << 8 | address.bytes[i];
    }
    return number;
}

std::string ipv4_text(std::uint32_t number) {
    return fmt::format("{}.{}.{}.{}", number >> 24, number >> 16 & 0xff, number >> 8 & 0xff,
                       number & 0xff);
}

std::optional<std::uint32_t> parse_ipv4(const std::string &text) {
    const std::optional<l2_address> parsed = parse_l2_address(text);
    return parsed && parsed->kind == l2_address_kind::ipv4 ? std::optional(ipv4_number(*parsed))
                                                           : std::nullopt;
}

std::string sg_text(const l2_address &source, unsigned source_length, const l2_address &group,
                    unsigned group_length) {
    return fmt::format("({}, {})", prefix_text(source, source_length),
                       prefix_text(group, group_length));
}

} // namespace sim
