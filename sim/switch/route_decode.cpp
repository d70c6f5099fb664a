#include "sim/base/address.h"
#include "sim/switch/byte_reader.h"
#include "sim/switch/route.h"
#include "sim/wire/protocol.h"

#include <algorithm>
#include <bit>
#include <cstring>
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
    // Bytes after the data in use mean nothing and are not kept.
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

constexpr std::size_t smallest_record = 44;

std::uint8_t read_prefix_length(byte_reader &reader, std::string_view what) {
    const std::size_t offset = reader.offset();
    const std::uint8_t length = reader.u8(what);
    if (length > 32) {
        refuse_at(offset, "{} {} is above 32", what, length);
    }
    return length;
}

void check_opcode(std::uint8_t opcode, std::size_t offset) {
    if (opcode != VELL_SIM_ROUTE_ADD && opcode != VELL_SIM_ROUTE_DELETE &&
        opcode != VELL_SIM_ROUTE_DUX_ROLE) {
        // The plus signs: fmt 10 no longer formats enumerators.
        refuse_at(offset, "route opcode {} is not {} (add), {} (delete) or {} (dux role)", opcode,
                  +VELL_SIM_ROUTE_ADD, +VELL_SIM_ROUTE_DELETE, +VELL_SIM_ROUTE_DUX_ROLE);
    }
}

void check_roles(const route_record &record, std::size_t offset) {
    const std::uint64_t roles = record.flags & VELL_SIM_DUX_ROLES;
    if (record.opcode == VELL_SIM_ROUTE_DUX_ROLE && std::popcount(roles) > 1) {
        refuse_at(offset, "dux role flags {:#x}: more than one role bit", roles);
    }
}

void check_group(const route_record &record, std::size_t offset) {
    const bool is_route = record.opcode != VELL_SIM_ROUTE_DUX_ROLE && record.key.group_length > 0;
    if (is_route && record.key.group >> 28 != 0xe) {
        refuse_at(offset, "group {} is not multicast (224.0.0.0/4)", ipv4_text(record.key.group));
    }
}

route_record read_record(byte_reader &reader) {
    route_record record;
    const std::size_t start = reader.offset();
    record.opcode = reader.u8("route opcode");
    check_opcode(record.opcode, start);
    reader.skip(3, "reserved");
    const std::size_t flags_offset = reader.offset();
    record.flags = reader.u64("flags");
    check_roles(record, flags_offset);
    record.key.source_length = read_prefix_length(reader, "source prefix length");
    record.key.group_length = read_prefix_length(reader, "group prefix length");
    reader.skip(2, "reserved");
    record.epoch = reader.u32("epoch");
    record.key.source = reader.u32("source");
    const std::size_t group_offset = reader.offset();
    record.key.group = reader.u32("group");
    check_group(record, group_offset);
    record.rpf_if = reader.u32("RPF interface");
    record.df_ordinal = reader.u8("DF ordinal");
    reader.skip(3, "reserved");
    record.key.table = reader.u32("table id");
    record.lists = decode_route_lists(reader);
    return record;
}

// A dux role update carries its role and nothing else; anything more in it was not meant to be
// sent.
void check_role_update(std::span<const std::byte> message) {
    struct field {
        std::size_t offset;
        std::size_t width;
        std::string_view name;
    };
    constexpr field zero_fields[] = {
        {20, 1, "source prefix length"},
        {21, 1, "group prefix length"},
        {24, 4, "epoch"},
        {28, 4, "source"},
        {32, 4, "group"},
        {36, 4, "RPF interface"},
        {40, 1, "DF ordinal"},
        {44, 4, "table id"},
        {48, 4, "TLV array head"},
    };
    byte_reader reader(message);
    reader.skip(12, "head");
    constexpr std::uint64_t roles = VELL_SIM_DUX_ROLES;
    if (const std::uint64_t others = reader.u64("flags") & ~roles; others != 0) {
        refuse_at(12, "flags {:#x} in a dux role update, it takes role bits only", others);
    }
    for (const field &zero : zero_fields) {
        for (const std::byte byte : message.subspan(zero.offset, zero.width)) {
            if (byte != std::byte{0}) {
                refuse_at(zero.offset, "{} is not 0 in a dux role update", zero.name);
            }
        }
    }
}

} // namespace

bool is_dux_role_update(const route_message &message) {
    return message.marker == VELL_SIM_DUX_ROLE_MARKER && message.records.size() == 1 &&
           message.records.front().opcode == VELL_SIM_ROUTE_DUX_ROLE;
}

route_message decode_route_message(std::span<const std::byte> message) {
    byte_reader reader(message);
    route_message decoded;
    decoded.client_id = reader.u8("client id");
    reader.skip(1, "reserved");
    const std::uint16_t count = reader.u16("route count");
    decoded.marker = reader.u16("message marker");
    reader.skip(2, "reserved");
    for (std::uint16_t i = 0; i < count; ++i) {
        if (reader.left() < smallest_record) {
            refuse_at(reader.offset(),
                      "the message has {} bytes left here, route record {} of {} needs {} or more",
                      reader.left(), i + 1, count, smallest_record);
        }
        decoded.records.push_back(read_record(reader));
    }
    if (reader.left() > 0) {
        refuse_at(reader.offset(), "{} bytes follow the last of {} route records", reader.left(),
                  count);
    }
    if (is_dux_role_update(decoded)) {
        check_role_update(message);
    }
    return decoded;
}

} // namespace sim
