// Interfaces as the switch numbers them: one number for an interface in all commands and tables.
//
//     eth3-7, eth3-7-1, po12, vlan10   name their place in the switch: Eth3/7, Eth3/7/1, Po12, Vlan10
//     any other, with a kernel index   if17, for the kernel's index 17
//     any other                        a number made from the name, the same in every run
//
// The switch's own notation (Eth3/7) is taken as well, and if17 where no interface has this name:
// `ip` writes an interface that is gone so.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace feed {

// The kernel's indexes by name, as links, ports and databases say.
using kernel_indexes = std::map<std::string, std::uint32_t, std::less<>>;

// The numbers of one snapshot's interfaces. It remembers which were made from a name.
class interfaces {
public:
    explicit interfaces(kernel_indexes known) : known_(std::move(known)) {}

    // Throws std::invalid_argument, whose message says what is wrong with the name: one that begins
    // like a place in the switch and is not one ("eth1-300"), a kernel index that is too large, or a
    // name whose made number another name has already.
    std::uint32_t number(const std::string &name);

    // The names whose numbers are made, in the order in which they were first asked for.
    const std::vector<std::pair<std::string, std::uint32_t>> &made() const { return made_; }

private:
    kernel_indexes known_;
    std::map<std::string, std::uint32_t, std::less<>> numbers_; // those asked for so far
    std::map<std::uint32_t, std::string> names_;                // the same
    std::vector<std::pair<std::string, std::uint32_t>> made_;
};

// The index that a name alone says: eth3-7, Eth3/7, Po12, if17. None for any other.
std::optional<std::uint32_t> index_in_name(std::string_view name);

// Of a VLAN's own interface.
std::uint32_t vlan_interface(std::uint16_t vlan);
bool is_vlan_interface(std::uint32_t if_index);

// The line card's bit in a mask of them; 0 for what is not a physical port. The mask has 32 bits,
// which line cards above 31 share.
std::uint32_t line_card_bit(std::uint32_t if_index);

// "Eth3/7 Eth3/8", or "none".
std::string interface_names(const std::vector<std::uint32_t> &if_indexes);

} // namespace feed
