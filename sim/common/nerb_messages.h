// The messages between libnerb and the desk's LTL manager.
//
// Requests go to SAP 230 of the switch's node. An answer comes on the client's queue as a message of SAP 230, under its
// request's opcode. All words are u32 in host byte order.
//
//   allocation, modification   cookie, number of entries, and each entry: key word 1, key word 2, number of interfaces
//                              and as many interface indexes
//   release                    cookie, number of entries, and each entry: key word 1, key word 2, and a word that is
//                              not read
//   flood LTL update           context, number of VLANs, and each VLAN: its id, two words that are not read, line-card
//                              mask, a word that is not read, number of updates, and each update: interface index,
//                              operation (1 adds, 2 removes)
//   answer                     kind, overall status, cookie or context, number of entries, and for each of the request's
//                              entries, in their order, four words:
//     allocation               key word 2, LTL index, number of interfaces, status
//     modification, release    LTL index, key word 2, number of interfaces that the LTL has now, status
//     flood LTL update         VLAN id, interfaces added, interfaces removed, status
//
// The overall status is 0 when every entry's is, and 1 otherwise; of an allocation of one entry it is that entry's.
#pragma once

#include <cstddef>
#include <cstdint>

namespace desk {

inline constexpr std::uint32_t nerb_sap = 230;

inline constexpr std::uint32_t nerb_opcode_allocation = 90001;
inline constexpr std::uint32_t nerb_opcode_modification = 90002;
inline constexpr std::uint32_t nerb_opcode_release = 90003;
inline constexpr std::uint32_t nerb_opcode_flood_update = 90004;

struct nerb_answer_kind {
    std::uint32_t opcode;
    std::uint32_t kind;
};

inline constexpr std::uint32_t nerb_kind_allocation = 13;

inline constexpr nerb_answer_kind nerb_answer_kinds[] = {
    {nerb_opcode_allocation, nerb_kind_allocation},
    {nerb_opcode_modification, 14},
    {nerb_opcode_release, 15},
    {nerb_opcode_flood_update, 16},
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

inline constexpr std::size_t nerb_answer_head_size = 16;
inline constexpr std::size_t nerb_info_size = 16;

// How an entry of a request ended. The names are for people.
enum class nerb_status : std::uint32_t {
    done = 0,
    refused_by_fault_mode = 1,
    no_such_ltl = 2,
    pool_exhausted = 3,
    tag_mismatch = 4,
    interface_present = 5,
    interface_absent = 6,
    no_vlan_id = 7,
    interface_twice = 8,
    no_operation = 9,
};

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

} // namespace desk
