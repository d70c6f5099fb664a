// The LTL manager: what clients ask of it, its answers (nerb_messages.h has their layouts), the LTL
// indexes that are allocated or free, and the flood sets.
#pragma once

#include "sim/switch/client.h"
#include "sim/wire/nerb_messages.h"
#include "sim/wire/protocol.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace sim {

using ltl_keys = std::pair<std::uint32_t, std::uint32_t>;

// An allocation's or a modification's entry.
struct ltl_entry {
    ltl_keys keys{};
    std::vector<std::uint32_t> interfaces{};
};

struct interface_update {
    std::uint32_t if_index = 0;
    std::uint32_t operation = 0;
};

struct flood_update {
    std::uint32_t vlan = 0;
    std::uint32_t line_card_mask = 0;
    std::vector<interface_update> updates{};
};

// Of the LTL manager; a flood update's cookie is called its context.
template <typename Entry>
struct ltl_request {
    std::uint32_t cookie = 0;
    std::vector<Entry> entries{};
};

// All throw refusal. The first is of an allocation or a modification.
ltl_request<ltl_entry> decode_ltl_request(std::span<const std::byte> message);
ltl_request<ltl_keys> decode_ltl_release(std::span<const std::byte> message);
ltl_request<flood_update> decode_flood_request(std::span<const std::byte> message);

// How one entry of a request ended.
struct ltl_result {
    std::array<std::uint32_t, 3> words{};
    nerb_sim_status status = NERB_SIM_DONE;
};

struct ltl_answer {
    std::uint32_t opcode = 0; // the request's
    std::uint32_t cookie = 0; // or its context
    std::vector<ltl_result> results{};
};

// The payload.
std::vector<std::byte> encode_ltl_answer(const ltl_answer &answer);

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

// To which interfaces a VLAN is flooded, as the flood LTL updates have made it. The flood lists of
// layer-2 messages are in l2.h.
struct flood_set {
    std::uint32_t line_card_mask = 0; // as sent with the last update
    sender_name from;                 // of the last update
    std::set<std::uint32_t> interfaces{};
};

class flood_table {
public:
    // Updates one VLAN whole or not at all. A VLAN stays in the table when its last interface
    // goes. `room` is how many more interfaces the switch may hold.
    ltl_outcome apply(const flood_update &update, const sender_name &from, std::size_t room);

    const std::map<std::uint16_t, flood_set> &all() const { return sets_; } // by VLAN

    // How many all VLANs have together.
    std::size_t interfaces() const { return interfaces_; }

private:
    std::map<std::uint16_t, flood_set> sets_;
    std::size_t interfaces_ = 0;
};

} // namespace sim
