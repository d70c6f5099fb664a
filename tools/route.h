// A multicast route as the service is to hold it.
#pragma once

#include <compare>
#include <cstdint>
#include <string>
#include <vector>

namespace feed {

// What the service tells routes apart by.
struct route_key {
    std::uint32_t table = 0;
    std::uint32_t source = 0;
    std::uint8_t source_length = 0;
    std::uint32_t group = 0;
    std::uint8_t group_length = 0;

    friend auto operator<=>(const route_key &, const route_key &) = default;
};

// "(10.0.0.9, 239.1.1.2) in table 253", "(*, 239.1.1.2) in table 100"
std::string key_text(const route_key &key);

struct route_flags {
    bool download = false;       // part of a whole table
    bool download_done = false;  // the last one of it
    bool wildcard_route = false; // any source
    bool drop_route = false;     // no outgoing interface
    bool local_group = false;    // 224.0.0.0/24
};

struct route {
    std::size_t entry = 0; // the table's entry it comes from, counted from 0
    std::uint8_t opcode = 0;
    route_key key;
    route_flags flags;
    std::uint32_t epoch = 0;
    std::uint32_t rpf_if = 0;
    std::vector<std::uint32_t> oifs;
};

} // namespace feed
