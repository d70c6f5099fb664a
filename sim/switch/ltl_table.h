// The LTL indexes: those that are allocated, each a set of interfaces, and those that are free.
#pragma once

#include "sim/switch/l2_tables.h"
#include "sim/switch/ltl_decode.h"
#include "sim/switch/ltl_outcome.h"
#include "sim/wire/protocol.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <set>

namespace sim {

struct ltl {
    std::uint16_t vlan = 0;
    std::uint32_t tag = 0;
    sender_name from; // who allocated it or changed it last
    std::set<std::uint32_t> interfaces{};
};

// Each entry is applied whole or not at all, also when there is no memory.
class ltl_table {
public:
    // Allocates the smallest free index, `index`, unless `size` are in use. A refused entry changes
    // nothing.
    ltl_outcome allocate(const ltl_entry &entry, const sender_name &from, std::uint32_t size,
                         std::uint32_t &index);
    ltl_outcome modify(const ltl_entry &entry, const sender_name &from);
    ltl_outcome release(const ltl_keys &keys);

    // How many interfaces the LTL has; 0 when there is none of this index.
    std::size_t interface_count(std::uint32_t index) const;

    const std::map<std::uint32_t, ltl> &all() const { return ltls_; }

private:
    ltl_outcome check(const ltl_keys &keys) const;
    std::uint32_t free_index() const;

    std::map<std::uint32_t, ltl> ltls_;
    std::set<std::uint32_t> released_;      // and not allocated again
    std::uint32_t unused_ = ltl_pool_first; // this index and those behind it were never allocated
};

} // namespace sim
