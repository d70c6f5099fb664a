// The routes that the switch holds, as `vellsim show routes --json` prints them.
#pragma once

#include "route.h"
#include "text_input.h"

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace feed {

struct held_oif {
    std::uint32_t if_index = 0;
    std::uint32_t kind = 0;

    friend bool operator==(const held_oif &, const held_oif &) = default;
};

struct held_route {
    route_key key;
    std::uint32_t opcode = 0;
    std::vector<std::string> flags; // sorted
    std::uint64_t flags_word = 0;
    std::uint32_t epoch = 0;
    std::uint32_t rpf_if = 0;
    std::uint32_t df_ordinal = 0;
    std::vector<held_oif> oifs;
    std::size_t mti = 0; // entries
    std::size_t glt = 0;
};

// Throws input_error when the text is anything but such a list.
std::vector<held_route> parse_held_routes(const text_input &input);

} // namespace feed
