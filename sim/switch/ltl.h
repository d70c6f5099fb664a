// The LTL indexes: those that are allocated, each a set of interfaces, and those that are free.
#pragma once

#include "sim/switch/ltl_decode.h"
#include "sim/switch/sender.h"
#include "sim/wire/protocol.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <string>

namespace sim {

// The result of one entry of a request to the LTL manager. An entry that is refused has changed
// nothing.
struct ltl_outcome {
    nerb_sim_status status = NERB_SIM_DONE;
    std::uint32_t culprit = 0; // the interface, tag, operation or VLAN id that the status is about
};

// For the log: "status 6: a removed interface is absent: Vlan20".
std::string outcome_text(const ltl_outcome &outcome);

struct ltl {
    std::uint16_t vlan = 0;
    std::uint32_t tag = 0;
    sender_name from; // who allocated it or changed it last
    std::set<std::uint32_t> interfaces{};
};

class ltl_table {
public:
    // Allocates the smallest free index, `index`, unless `size` are in use. `room` is how many
    // more interfaces the switch may hold.
    ltl_outcome allocate(const ltl_entry &entry, const sender_name &from, std::uint32_t size,
                         std::size_t room, std::uint32_t &index);
    ltl_outcome modify(const ltl_entry &entry, const sender_name &from, std::size_t room);
    ltl_outcome release(const ltl_keys &keys);

    const std::map<std::uint32_t, ltl> &all() const { return ltls_; }

    // How many interfaces all LTLs have together, and how many one has: 0 if it is not allocated.
    std::size_t interfaces() const { return interfaces_; }
    std::size_t interfaces_of(std::uint32_t index) const;

private:
    ltl_outcome check(const ltl_keys &keys) const;

    std::map<std::uint32_t, ltl> ltls_;
    std::size_t interfaces_ = 0;
    std::set<std::uint32_t> released_;               // and not allocated again
    std::uint32_t unused_ = VELL_SIM_LTL_POOL_FIRST; // no index from this one on was ever allocated
};

} // namespace sim
