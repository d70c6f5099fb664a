// The messages between libnerb and the simulator's LTL manager.
//
// Requests go to SAP 230 of the switch's node. An answer comes on the client's queue as a message
// of SAP 230, under its request's opcode. All words are u32 in host byte order.
//
//   allocation, modification   cookie, number of entries, and each entry: key word 1, key word 2,
//                              number of interfaces and as many interface indexes
//   release                    cookie, number of entries, and each entry: key word 1, key word 2,
//                              and a word that is not read
//   flood LTL update           context, number of VLANs, and each VLAN: its id, two words that are
//                              not read, line-card mask, a word that is not read, number of
//                              updates, and each update: interface index, operation (1 adds,
//                              2 removes)
//
// Answers are described in nerb_sim.h: four words, which are struct nerb_sim_answer, and four
// words per entry.
#pragma once

#include <nerb_sim.h>

#include <cstddef>
#include <cstdint>
#include <iterator>

namespace sim {

struct nerb_answer_kind {
    std::uint32_t opcode;
    std::uint32_t kind;
};

inline constexpr nerb_answer_kind nerb_answer_kinds[] = {
    {NERB_SIM_OPCODE_ALLOCATION, NERB_SIM_KIND_ALLOCATION},
    {NERB_SIM_OPCODE_MODIFICATION, NERB_SIM_KIND_MODIFICATION},
    {NERB_SIM_OPCODE_RELEASE, NERB_SIM_KIND_RELEASE},
    {NERB_SIM_OPCODE_FLOOD_UPDATE, NERB_SIM_KIND_FLOOD_UPDATE},
};

// Null when the opcode is none of the manager's.
constexpr const nerb_answer_kind *find_nerb_answer_kind(std::uint32_t opcode) {
    for (const nerb_answer_kind &row : nerb_answer_kinds) {
        if (row.opcode == opcode) {
            return &row;
        }
    }
    return nullptr;
}

inline constexpr std::size_t nerb_answer_head_size = sizeof(nerb_sim_answer);
inline constexpr std::size_t nerb_info_size = 16;

// The statuses of nerb_sim.h in words, for people.
constexpr const char *nerb_status_name(std::uint32_t status) {
    constexpr const char *names[] = {
        "done",
        "refused by fault mode",
        "there is no such LTL",
        "the pool is exhausted",
        "the tag does not match",
        "an added interface is present already",
        "a removed interface is absent",
        "this is not a VLAN id",
        "an interface is in the list twice",
        "an operation is neither 1 nor 2",
        "the switch would hold too many interfaces",
    };
    return status < std::size(names) ? names[status] : "unknown";
}

} // namespace sim
