#include "sim/switch/route_lists_decode.h"

#include <algorithm>
#include <iterator>
#include <string_view>
#include <utility>

namespace sim {

namespace {

void read_oif(byte_reader &entry, route_lists &lists) {
    oif_entry oif;
    oif.if_index = entry.u32("interface index");
    const std::size_t kind_offset = entry.offset();
    oif.kind = entry.u32("OIF kind");
    constexpr std::uint32_t kinds[] = {0, 1, 4, 8, 12};
    if (std::ranges::find(kinds, oif.kind) == std::end(kinds)) {
        refuse_at(kind_offset, "OIF kind {} is not 0, 1, 4, 8 or 12", oif.kind);
    }
    lists.oifs.push_back(oif);
}

void read_mti(byte_reader &entry, route_lists &lists) {
    mti_entry words;
    for (std::uint32_t &word : words) {
        word = entry.u32("MTI word");
    }
    lists.mti.push_back(words);
}

void read_glt(byte_reader &entry, route_lists &lists) {
    glt_entry glt;
    for (std::uint32_t &word : glt.words) {
        word = entry.u32("GLT word");
    }
    const auto data = entry.take(glt_data_size, "GLT data");
    const std::size_t length_offset = entry.offset();
    glt.length = entry.u32("GLT data length");
    if (glt.length > glt_data_size) {
        refuse_at(length_offset, "GLT data length {} is above {}", glt.length, glt_data_size);
    }
    // What stands behind the data in use is not the client's word and is not kept.
    std::memcpy(glt.data.data(), data.data(), glt.length);
    glt.last = entry.u32("last GLT word");
    lists.glt.push_back(glt);
}

struct list_kind {
    std::string_view name;
    std::size_t entry_size;
    void (*read)(byte_reader &entry, route_lists &lists);
};

// Indexed by TLV type.
constexpr list_kind list_kinds[] = {
    {"OIF list", 8, read_oif},
    {"MTI list", 16, read_mti},
    {"GLT list", 60, read_glt},
};

std::size_t entries_that_fit(const list_kind &kind, std::size_t length, std::size_t length_offset) {
    constexpr std::size_t count_size = 4;
    if (length < count_size || (length - count_size) % kind.entry_size != 0) {
        refuse_at(length_offset, "TLV length {} of the {} is not 4 plus whole entries of {} bytes",
                  length, kind.name, kind.entry_size);
    }
    return (length - count_size) / kind.entry_size;
}

void read_tlv(byte_reader &array, bool (&seen)[std::size(list_kinds)], route_lists &lists) {
    const std::size_t type_offset = array.offset();
    const std::uint16_t type = array.u16("TLV type");
    if (type >= std::size(list_kinds)) {
        refuse_at(type_offset, "TLV type {} is not 0 (OIF list), 1 (MTI list) or 2 (GLT list)",
                  type);
    }
    const list_kind &kind = list_kinds[type];
    if (std::exchange(seen[type], true)) {
        refuse_at(type_offset, "the record has a second {}", kind.name);
    }
    const std::size_t length_offset = array.offset();
    const std::uint16_t length = array.u16("TLV length");
    const std::size_t fitting = entries_that_fit(kind, length, length_offset);
    const std::size_t padding = (4 - length % 4) % 4;
    byte_reader value = array.part(length, kind.name);
    array.skip(padding, "TLV padding");

    const std::size_t count_offset = value.offset();
    const std::uint32_t count = value.u32("entry count");
    if (count != fitting) {
        refuse_at(count_offset, "{} says {} entries but its TLV has room for {}", kind.name, count,
                  fitting);
    }
    while (value.left() > 0) {
        kind.read(value, lists);
    }
}

} // namespace

route_lists decode_route_lists(byte_reader &reader) {
    const std::uint16_t count = reader.u16("number of TLVs");
    const std::size_t bytes = std::size_t{reader.u16("TLV array size")} * 4;
    byte_reader array = reader.part(bytes, "TLV array");

    route_lists lists;
    bool seen[std::size(list_kinds)] = {};
    for (std::uint16_t i = 0; i < count; ++i) {
        read_tlv(array, seen, lists);
    }
    if (array.left() > 0) {
        refuse_at(array.offset(), "{} bytes follow the last of {} TLVs in the TLV array",
                  array.left(), count);
    }
    return lists;
}

} // namespace sim
