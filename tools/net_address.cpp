#include "net_address.h"

#include "address.h"

#include <algorithm>
#include <arpa/inet.h>
#include <charconv>
#include <fmt/format.h>

namespace feed {

namespace {

constexpr std::size_t mac_bytes = 6;
constexpr std::size_t mac_text_length = 3 * mac_bytes - 1;

std::optional<net_address> parse_ipv6(const std::string &text) {
    net_address address{address_kind::ipv6, {}};
    // A NUL inside would end the C string early and hide what follows.
    if (text.find('\0') != std::string::npos ||
        inet_pton(AF_INET6, text.c_str(), address.bytes.data()) != 1)
        return std::nullopt;
    return address;
}

std::optional<net_address> parse_mac(const std::string &text) {
    if (text.size() != mac_text_length)
        return std::nullopt;
    net_address address{address_kind::mac, {}};
    for (std::size_t i = 0; i < mac_bytes; ++i) {
        const char *pair = text.data() + 3 * i;
        const auto result = std::from_chars(pair, pair + 2, address.bytes[i], 16);
        if (result.ec != std::errc() || result.ptr != pair + 2 || (i > 0 && pair[-1] != ':'))
            return std::nullopt;
    }
    return address;
}

} // namespace

const char *kind_name(address_kind kind) {
    constexpr const char *names[] = {"ipv4", "ipv6", "mac"};
    return names[static_cast<std::size_t>(kind)];
}

std::optional<net_address> parse_ip(const std::string &text) {
    if (const auto number = parse_ipv4(text))
        return ipv4_address(*number);
    return parse_ipv6(text);
}

std::optional<net_address> parse_net_address(const std::string &text) {
    if (const auto address = parse_ip(text))
        return address;
    return parse_mac(text);
}

std::string address_text(const net_address &address) {
    const auto &bytes = address.bytes;
    if (address.kind == address_kind::ipv4)
        return ipv4_text(ipv4_number(address));
    if (address.kind == address_kind::mac)
        return fmt::format("{:02x}", fmt::join(bytes.begin(), bytes.begin() + mac_bytes, ":"));
    char text[INET6_ADDRSTRLEN];
    return inet_ntop(AF_INET6, bytes.data(), text, sizeof text);
}

bool is_multicast(const net_address &address) {
    switch (address.kind) {
    case address_kind::ipv4:
        return is_multicast(ipv4_number(address));
    case address_kind::ipv6:
        return address.bytes[0] == 0xff;
    case address_kind::mac:
        return (address.bytes[0] & 1) != 0;
    }
    return false;
}

bool is_any(const net_address &address) {
    return std::all_of(address.bytes.begin(), address.bytes.end(),
                       [](std::uint8_t byte) { return byte == 0; });
}

std::uint32_t ipv4_number(const net_address &address) {
    std::uint32_t number = 0;
    for (std::size_t i = 0; i < 4; ++i)
        number = number << 8 | address.bytes[i];
    return number;
}

net_address ipv4_address(std::uint32_t number) {
    net_address address;
    for (std::size_t i = 0; i < 4; ++i)
        address.bytes[i] = static_cast<std::uint8_t>(number >> (24 - 8 * i));
    return address;
}

net_address ipv6_address(std::span<const std::uint8_t, 16> bytes) {
    net_address address{address_kind::ipv6, {}};
    std::copy(bytes.begin(), bytes.end(), address.bytes.begin());
    return address;
}

} // namespace feed
