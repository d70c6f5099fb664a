// What clients ask of the LTL manager, and its answer; nerb_messages.h has their layouts.
#pragma once

#include "sim/wire/nerb_messages.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>
#include <vector>

namespace sim {

using ltl_keys = std::pair<std::uint32_t, std::uint32_t>;

// An allocation's or a modification's entry.
struct ltl_entry {
    ltl_keys keys{};
    std::vector<std::uint32_t> interfaces{};
};

struct ltl_request {
    std::uint32_t cookie = 0;
    std::vector<ltl_entry> entries{};
};

struct ltl_release_request {
    std::uint32_t cookie = 0;
    std::vector<ltl_keys> entries{};
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

struct flood_request {
    std::uint32_t context = 0;
    std::vector<flood_update> vlans{};
};

// All throw refusal.
ltl_request
decode_ltl_request(std::span<const std::byte> message); // an allocation or a modification
ltl_release_request decode_ltl_release(std::span<const std::byte> message);
flood_request decode_flood_request(std::span<const std::byte> message);

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

} // namespace sim
