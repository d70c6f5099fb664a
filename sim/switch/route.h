// A multicast route as the switch holds it.
#pragma once

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace sim {

// Routes are sorted by these members, in this order.
struct route_key {
    std::uint32_t table = 0;
    std::uint32_t group = 0;
    std::uint32_t source = 0;
    std::uint8_t source_length = 0;
    std::uint8_t group_length = 0;

    friend auto operator<=>(const route_key &, const route_key &) = default;
};

inline bool is_any_source(const route_key &key) {
    return key.source == 0 && key.source_length == 0;
}

// "(10.0.0.9, 239.1.1.2)", without the table.
std::string key_text(const route_key &key);

struct oif_entry {
    std::uint32_t if_index = 0;
    std::uint32_t kind = 0;
};

using mti_entry = std::array<std::uint32_t, 4>;

inline constexpr std::size_t glt_data_size = 36;

struct glt_entry {
    std::array<std::uint32_t, 4> words{};
    std::array<std::uint8_t, glt_data_size> data{};
    std::uint32_t length = 0; // of the data in use
    std::uint32_t last = 0;
};

struct route_lists {
    std::vector<oif_entry> oifs;
    std::vector<mti_entry> mti;
    std::vector<glt_entry> glt;
};

struct route {
    std::uint8_t opcode = 0;
    std::uint64_t flags = 0;
    std::uint32_t epoch = 0;
    std::uint32_t rpf_if = 0;
    std::uint8_t df_ordinal = 0;
    std::uint8_t client = 0; // the id of the client that wrote it last
    route_lists lists;
};

} // namespace sim
