// How a table is narrowed.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace sim {

struct show_query {
    std::string name; // of the table
    std::optional<std::uint32_t> client{};
    std::optional<std::uint32_t> table{}; // the route table's id
    std::optional<std::uint32_t> group{};
    std::optional<std::uint32_t> source{};
    std::optional<std::uint32_t> vlan{};
    std::optional<std::uint32_t> limit{};
    std::string l2_group{}; // as address_text() writes it; empty for all
    bool summary = false;
};

} // namespace sim
