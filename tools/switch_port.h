// Interfaces as the switch counts and names them. They have indexes of their own, which say where a
// port is.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace feed {

// The index that the name of a Linux interface says: eth3-7 is the port "Eth3/7", po12 the
// port-channel "Po12", vlan10 the VLAN interface "Vlan10". None for any other, whose place in the
// switch is unknown.
std::optional<std::uint32_t> index_in_link_name(const std::string &interface);

// The same, and of any other the one by which the switch knows it: that of "if17" for the kernel's
// index 17. None when that is too large for it.
std::optional<std::uint32_t> index_of_link(const std::string &interface,
                                           std::uint32_t kernel_index);

// Of a VLAN's own interface.
std::uint32_t index_of_vlan(std::uint32_t vlan);

// The index of the interface that has this name in the switch; none when that is no such name.
std::optional<std::uint32_t> index_of_name(const std::string &name);

// "Eth3/7", or in hexadecimal an index that has no name.
std::string switch_name(std::uint32_t if_index);

// "Eth3/7 Eth3/8", or "none".
std::string switch_names(const std::vector<std::uint32_t> &if_indexes);

bool is_vlan_interface(std::uint32_t if_index);

// The line card's bit in a mask of them; none for what is no physical port.
std::uint32_t line_card_bit(std::uint32_t if_index);

} // namespace feed
