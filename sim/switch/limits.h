// The limits of the switch. What would pass one of them is refused, and the log names it.
#pragma once

#include <cstddef>
#include <cstdint>

namespace sim {

// The tables.
inline constexpr std::size_t route_limit = 2'000'000;
inline constexpr std::size_t route_list_limit = 256u << 20; // bytes of the routes' lists
inline constexpr std::size_t counter_limit = 1'000'000;     // of `vellsim count`
inline constexpr std::uint32_t ltl_index_limit = 65'536;
inline constexpr std::size_t l2_entry_limit = 500'000;
inline constexpr std::size_t l2_record_limit = 64u << 20; // bytes of flood lists and other records
inline constexpr std::size_t interface_limit = 4'000'000; // of layer-2 entries, LTLs and flood sets
inline constexpr std::size_t batches_kept = 256;          // and as many other markers

} // namespace sim
