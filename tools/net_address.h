// Addresses of the kinds that snooping bridges and route statistics know.
#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace feed {

// In the order in which entries are sent.
enum class address_kind { ipv4, ipv6, mac };

// "ipv4", "ipv6" or "mac", as vellsim names them.
const char *kind_name(address_kind kind);

struct net_address {
    address_kind kind = address_kind::ipv4;
    // As on the wire: 4 bytes, 16 or 6, and zeros behind them.
    std::array<std::uint8_t, 16> bytes{};

    friend auto operator<=>(const net_address &, const net_address &) = default;
};

// An IPv4 or an IPv6 address and nothing else.
std::optional<net_address> parse_ip(const std::string &text);

// The same, or six pairs of hexadecimal digits with colons between.
std::optional<net_address> parse_net_address(const std::string &text);

std::string address_text(const net_address &address);

// 224.0.0.0/4, ff00::/8, or a MAC address with the group bit.
bool is_multicast(const net_address &address);

// All zero: 0.0.0.0, ::
bool is_any(const net_address &address);

// An IPv4 address as the number that it is in host byte order: 10.0.0.9 is 0x0a000009.
std::uint32_t ipv4_number(const net_address &address);
net_address ipv4_address(std::uint32_t number);

net_address ipv6_address(std::span<const std::uint8_t, 16> bytes);

} // namespace feed
