// IPv4, IPv6 and MAC addresses, and their usual notation.
#pragma once

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace sim {

enum class l2_address_kind : std::uint32_t { mac = 2, ipv4 = 4, ipv6 = 8 };

struct l2_address {
    l2_address_kind kind = l2_address_kind::ipv4;
    std::array<std::uint8_t, 16> bytes{}; // in network byte order, then zeros

    friend auto operator<=>(const l2_address &, const l2_address &) = default;
};

// How many bytes an address of this family has, or 0 when the number is not a family.
std::size_t l2_address_size(std::uint32_t kind);

bool is_zero(const l2_address &address);
bool is_multicast(const l2_address &address);

std::string_view kind_name(l2_address_kind kind); // ipv4, ipv6 or mac
std::string address_text(const l2_address &address);

// Any of the three: 239.1.1.1, ff02::1:3 or 01:00:5e:01:01:01.
std::optional<l2_address> parse_l2_address(const std::string &text);

// An IPv4 address as a uint32 in host byte order.
l2_address ipv4_address(std::uint32_t number);
std::uint32_t ipv4_number(const l2_address &address);
std::string ipv4_text(std::uint32_t number);
std::optional<std::uint32_t> parse_ipv4(const std::string &text);

// "(10.0.0.9, 239.1.1.2)", "(10.0.0.0/8, 239.1.1.2)", "(*, 239.1.1.2)": a prefix length only when
// it is not the whole address.
std::string sg_text(const l2_address &source, unsigned source_length, const l2_address &group,
                    unsigned group_length);

} // namespace sim
