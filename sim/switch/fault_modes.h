// The ways in which the switch misbehaves when asked to, for people who test their clients: one
// table, from which the options of `vellsim run` and `vellsim fault` and the texts in the log are
// made.
#pragma once

#include "sim/base/address.h"
#include "sim/wire/protocol.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace sim {

// A message to the peer that sent the request.
struct reply {
    std::vector<std::byte> frame;
    std::chrono::milliseconds delay{0};
};

enum class ack_mode {
    once,
    late,
    twice,
    never,
    garbled, // every byte of its payload inverted
    cut,     // without the second half of its payload
    foreign, // after a message of an opcode that answers nothing
};

// How a kind of request is answered.
struct answer_fault {
    ack_mode mode = ack_mode::once;
    std::chrono::milliseconds delay{0}; // for ack_mode::late

    answer_fault(ack_mode how = ack_mode::once,
                 std::chrono::milliseconds by = std::chrono::milliseconds(0))
        : mode(how), delay(by) {}
};

inline constexpr std::uint32_t no_ack_id = 256;

struct fault_modes {
    bool reject_registration = false;
    answer_fault ack{};                              // of registrations
    answer_fault answer{};                           // of statistics and clear requests
    answer_fault ltl_answer{};                       // of requests to the LTL manager
    std::set<std::uint16_t> ltl_refused_vlans{};     // flood updates and allocations
    std::uint32_t ltl_pool = VELL_SIM_LTL_POOL_SIZE; // how many LTL indexes there are
    std::set<std::uint16_t> refused_vlans{};         // layer-2 messages
    std::set<l2_address> refused_groups{};           // layer-2 and route messages
    std::uint32_t ack_id = no_ack_id;                // instead of the smallest free client id
    std::uint32_t slow_ms = 0;                       // pause before each request of a client
    std::uint32_t drop_after = 0;                    // requests from now; 0 is never
    std::uint32_t die_after = 0;                     // requests from now; 0 is never
};

// Adds what answers a request: this frame, or what a fault mode makes of it.
void add_replies(std::vector<reply> &replies, const std::vector<std::byte> &frame,
                 const answer_fault &how);

struct number_fault {
    std::uint32_t fault_modes::*value;
    std::uint32_t least;
    std::uint32_t most;
};

struct fault_mode {
    std::string_view name;  // of the option, without its dashes
    std::string_view value; // what the option takes; empty for none
    std::string_view help;
    std::variant<bool fault_modes::*, number_fault, answer_fault fault_modes::*,
                 std::set<std::uint16_t> fault_modes::*, std::set<l2_address> fault_modes::*>
        target;

    // Returns an empty string, or what is wrong with the value.
    std::string set(fault_modes &faults, const std::string &text) const;

    // The values that are set, none when the mode is off.
    std::vector<std::string> values(const fault_modes &faults) const;
};

std::span<const fault_mode> all_fault_modes();

// The modes that are on, as options: "--ack twice --slow 50". Empty when there are none.
std::string fault_text(const fault_modes &faults);

// Switches on the modes of such a text. Returns an empty string, or what is wrong, and changes
// nothing then.
std::string set_faults(fault_modes &faults, std::string_view text);

} // namespace sim
