#include "sim/switch/route_decode.h"

#include "sim/base/address.h"
#include "sim/switch/byte_reader.h"
#include "sim/switch/route_lists_decode.h"
#include "sim/wire/protocol.h"

#include <bit>
#include <string_view>

namespace sim {

namespace {

constexpr std::size_t smallest_record = 44;

std::uint8_t read_mask_length(byte_reader &reader, std::string_view what) {
    const std::size_t offset = reader.offset();
    const std::uint8_t length = reader.u8(what);
    if (length > 32) {
        refuse_at(offset, "{} {} is above 32", what, length);
    }
    return length;
}

void check_opcode(std::uint8_t opcode, std::size_t offset) {
    if (opcode != route_opcode_add && opcode != route_opcode_delete &&
        opcode != route_opcode_dux_role) {
        refuse_at(offset, "route opcode {} is not {} (add), {} (delete) or {} (dux role)", opcode,
                  route_opcode_add, route_opcode_delete, route_opcode_dux_role);
    }
}

void check_roles(const route_record &record, std::size_t offset) {
    const std::uint64_t roles = record.flags & dux_role_flags;
    if (record.opcode == route_opcode_dux_role && std::popcount(roles) > 1) {
        refuse_at(offset, "dux role flags {:#x}: more than one role bit", roles);
    }
}

void check_group(const route_record &record, std::size_t offset) {
    const bool is_route = record.opcode != route_opcode_dux_role && record.key.group_length > 0;
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
    record.key.source_length = read_mask_length(reader, "source mask length");
    record.key.group_length = read_mask_length(reader, "group mask length");
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

// A dux role update carries its role and nothing else; whatever else is in it was not meant to be
// sent.
void check_role_update(std::span<const std::byte> message) {
    struct field {
        std::size_t offset;
        std::size_t width;
        std::string_view name;
    };
    constexpr field zero_fields[] = {
        {20, 1, "source mask length"},
        {21, 1, "group mask length"},
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
    if (const std::uint64_t others = reader.u64("flags") & ~dux_role_flags; others != 0) {
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
    return message.marker == dux_role_marker && message.records.size() == 1 &&
           message.records.front().opcode == route_opcode_dux_role;
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
