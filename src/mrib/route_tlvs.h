// A route record's TLV array: where it lies, how large it makes the record, and the types of its
// lists.
#pragma once

#include <tlv.h>
#include <vell.h>

#include <cstdint>

namespace vell {

// The TLV types. They also index whatever holds one thing per list.
enum list_type : std::uint16_t { oif_list, mti_list, glt_list, list_types };

// The TLV array lies directly behind the record's head.
inline void *tlv_array(vell_mrib_route *route) {
    return route + 1;
}
inline const void *tlv_array(const vell_mrib_route *route) {
    return route + 1;
}

// The TLV array's head takes 4 bytes, which its size leaves out.
inline std::uint32_t route_size(const vell_mrib_route *route) {
    return sizeof(*route) + 4 + tlv_aligned_array_size_get(tlv_array(route), 0);
}

} // namespace vell
