// The messages between libnerb and the simulator's LTL manager.
//
// Requests go to SAP 230 of the switch's node. An answer comes on the client's queue as a message
// of SAP 230, under its request's opcode. All words are u32 in host byte order.
//
//   allocation, modification   cookie, number of entries, and each entry: key word 1, key word 2, number of interfaces
//                              and as many interface indexes
//   release                    cookie, number of entries, and each entry: key word 1, key word 2, and a word that is
//                              not read
//   flood LTL update           context, number of VLANs, and each VLAN: its id, two words that are not read, line-card
//                              mask, a word that is not read, number of updates, and each update: interface index,
//                              operation (1 adds, 2 removes)
//
// Answers are described in nerb_sim.h: four words, which are struct nerb_sim_answer, and four
// words an entry.
#pragma once

#include <nerb_sim.h>

#include <cstddef>
#include <cstdint>

namespace sim {

inline constexpr std::uint32_t nerb_sap = NERB_SIM_SAP;

inline constexpr std::uint32_t nerb_opcode_allocation = NERB_SIM_OPCODE_ALLOCATION;
inline constexpr std::uint32_t nerb_opcode_modification = NERB_SIM_OPCODE_MODIFICATION;
inline constexpr std::uint32_t nerb_opcode_release = NERB_SIM_OPCODE_RELEASE;
inline constexpr std::uint32_t nerb_opcode_flood_update = NERB_SIM_OPCODE_FLOOD_UPDATE;

struct nerb_answer_kind {
    std::uint32_t opcode;
    std::uint32_t kind;
};

inline constexpr std::uint32_t nerb_kind_allocation = NERB_SIM_KIND_ALLOCATION;

inline constexpr nerb_answer_kind nerb_answer_kinds[] = {
    {nerb_opcode_allocation, nerb_kind_allocation},
    {nerb_opcode_modification, NERB_SIM_KIND_MODIFICATION},
    {nerb_opcode_release, NERB_SIM_KIND_RELEASE},
    {nerb_opcode_flood_update, NERB_SIM_KIND_FLOOD_UPDATE},
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

// nerb_sim_status for code that is to know all of them when it switches.
enum class nerb_status : std::uint32_t {
    done = NERB_SIM_DONE,
    refused_by_fault_mode = NERB_SIM_REFUSED_BY_FAULT_MODE,
    no_such_ltl = NERB_SIM_NO_SUCH_LTL,
    pool_exhausted = NERB_SIM_POOL_EXHAUSTED,
    tag_mismatch = NERB_SIM_TAG_MISMATCH,
    interface_present = NERB_SIM_INTERFACE_PRESENT,
    interface_absent = NERB_SIM_INTERFACE_ABSENT,
    no_vlan_id = NERB_SIM_NO_VLAN_ID,
    interface_twice = NERB_SIM_INTERFACE_TWICE,
    no_operation = NERB_SIM_NO_OPERATION,
};

// For people.
constexpr const char *nerb_status_name(nerb_status status) {
    switch (status) {
    case nerb_status::done:
        return "done";
    case nerb_status::refused_by_fault_mode:
        return "refused by fault mode";
    case nerb_status::no_such_ltl:
        return "there is no such LTL";
    case nerb_status::pool_exhausted:
        return "the pool is exhausted";
    case nerb_status::tag_mismatch:
        return "the tag does not match";
    case nerb_status::interface_present:
        return "an added interface is present already";
    case nerb_status::interface_absent:
        return "a removed interface is absent";
    case nerb_status::no_vlan_id:
        return "this is no VLAN id";
    case nerb_status::interface_twice:
        return "an interface is in the list twice";
    case nerb_status::no_operation:
        return "an operation is neither 1 nor 2";
    }
    return "unknown";
}

} // namespace sim
