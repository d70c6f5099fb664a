#include "sim/switch/byte_reader.h"
#include "sim/switch/l2.h"
#include "sim/wire/protocol.h"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace sim {

namespace {

constexpr std::size_t header_size = 8;
constexpr std::size_t fixed_block_size = 80;
constexpr std::size_t type_at = 0;
constexpr std::size_t length_at = 8;

enum class entry_form { pairs, oifs };

// Where the fields of a range of record types are, from the start of the record; 0 is none.
struct record_layout {
    std::uint8_t first_type;
    std::uint8_t last_type;
    std::array<std::size_t, 4> words;
    std::size_t vlan;
    std::size_t flags;
    std::array<std::size_t, 2> addresses;
    std::size_t count;
    std::size_t entries;
    entry_form form;
};

constexpr record_layout layouts[] = {
    {8, 9, {12, 20}, 0, 0, {}, 16, 24, entry_form::pairs},
    {10, 11, {}, 0, 0, {}, 12, 16, entry_form::pairs},
    {12, 15, {12, 16, 20}, 24, 28, {30, 50}, 70, 74, entry_form::oifs},
    {18, 18, {12}, 0, 0, {}, 16, 20, entry_form::pairs},
    {21, 22, {12, 16, 20, 28}, 24, 32, {34, 54}, 74, 78, entry_form::oifs},
};

constexpr std::size_t entry_size(entry_form form) {
    return form == entry_form::pairs ? 8 : 32;
}

bool is_mbd(const record_layout &layout) {
    return layout.first_type == VELL_SIM_L2_MBD_ADD;
}

// One record, of a length that has been checked; refusals count from the start of the message.
class record_view {
public:
    record_view(std::span<const std::byte> bytes, std::size_t start)
        : bytes_(bytes), start_(start) {}

    std::size_t offset(std::size_t at) const { return start_ + at; }
    std::uint16_t u16(std::size_t at) const { return static_cast<std::uint16_t>(number(at, 2)); }
    std::uint32_t u32(std::size_t at) const { return number(at, 4); }
    template <typename Bytes>
    void copy(std::size_t at, std::size_t size, Bytes &to) const {
        std::memcpy(to.data(), bytes_.subspan(at, size).data(), size);
    }

private:
    std::uint32_t number(std::size_t at, std::size_t size) const {
        std::uint32_t value = 0;
        for (const std::byte byte : bytes_.subspan(at, size)) {
            value = value << 8 | std::to_integer<std::uint32_t>(byte);
        }
        return value;
    }

    std::span<const std::byte> bytes_;
    std::size_t start_;
};

const record_layout &find_layout(std::uint8_t type, std::size_t offset) {
    const auto found = std::ranges::find_if(layouts, [type](const record_layout &layout) {
        return type >= layout.first_type && type <= layout.last_type;
    });
    if (found == std::end(layouts)) {
        refuse_at(
            offset,
            "record type {} is not convertible to network byte order; 8 to 15, 18, 21 and 22 are",
            type);
    }
    return *found;
}

std::uint32_t host_u32(std::span<const std::byte> bytes, std::size_t at) {
    std::uint32_t value;
    std::memcpy(&value, bytes.subspan(at, sizeof value).data(), sizeof value);
    return value;
}

// Takes the next record, its length and its count of entries agreeing with each other and with the
// message.
record_view take_record(byte_reader &reader, const record_layout &layout,
                        std::span<const std::byte> message) {
    const std::size_t start = reader.offset();
    const std::uint64_t count = record_view(message.subspan(start), start).u32(layout.count);
    const std::uint64_t needed = fixed_block_size + count * entry_size(layout.form);
    const std::uint32_t length = host_u32(message.subspan(start), length_at);
    if (length != needed) {
        refuse_at(
            start + length_at,
            "record length is {} (in host byte order), with {} entries of {} bytes it must be {}",
            length, count, entry_size(layout.form), needed);
    }
    if (needed > reader.left()) {
        refuse_at(start + layout.count,
                  "{} entries make the record {} bytes long, the message has {} from its start on",
                  count, needed, reader.left());
    }
    return record_view(reader.take(static_cast<std::size_t>(needed), "record"), start);
}

std::uint16_t read_vlan(const record_view &view, std::size_t at) {
    const std::uint32_t vlan = view.u32(at);
    if (vlan < 1 || vlan > VELL_SIM_HIGHEST_VLAN) {
        refuse_at(view.offset(at), "VLAN id {} is not 1 to {}", vlan, VELL_SIM_HIGHEST_VLAN);
    }
    return static_cast<std::uint16_t>(vlan);
}

l2_address read_address(const record_view &view, std::size_t at, std::size_t block) {
    const std::uint32_t kind = view.u32(at);
    const std::size_t size = l2_address_size(kind);
    if (size == 0) {
        refuse_at(view.offset(at),
                  "address family {} of address block {} is not 4 (IPv4), 8 (IPv6) or 2 (MAC)",
                  kind, block);
    }
    l2_address address{static_cast<l2_address_kind>(kind)};
    view.copy(at + 4, size, address.bytes);
    return address;
}

l2_oif read_oif(const record_view &view, std::size_t at, bool is_port) {
    const std::uint32_t kind = view.u32(at);
    if (kind > 2) {
        refuse_at(view.offset(at),
                  "entry kind {} is not 0, 1 (IPv6 address) or 2 (interface index)", kind);
    }
    l2_oif oif{.kind = static_cast<l2_oif_kind>(kind), .flags = view.u32(at + 4)};
    if (is_port && oif.kind != l2_oif_kind::if_index) {
        refuse_at(view.offset(at), "entry kind {} names no port, which takes 2 (interface index)",
                  kind);
    }
    oif.words = {view.u32(at + 8), view.u32(at + 12)};
    if (oif.kind == l2_oif_kind::if_index) {
        oif.if_index = view.u32(at + 16);
    } else if (oif.kind == l2_oif_kind::ipv6) {
        view.copy(at + 16, oif.ipv6.size(), oif.ipv6);
    }
    return oif;
}

void check_mbd_addresses(const record_view &view, const record_layout &layout,
                         const l2_record &record) {
    const auto &[group, source] = record.addresses;
    if (!is_multicast(group)) {
        refuse_at(view.offset(layout.addresses[0] + 4), "group {} is not multicast",
                  address_text(group));
    }
    if (source.kind != group.kind) {
        refuse_at(view.offset(layout.addresses[1]),
                  "source is of address family {}, its group of {}", kind_name(source.kind),
                  kind_name(group.kind));
    }
}

void read_entries(const record_view &view, const record_layout &layout, l2_record &record) {
    const std::uint32_t count = view.u32(layout.count);
    std::size_t at = layout.entries;
    for (std::uint32_t i = 0; i < count; ++i, at += entry_size(layout.form)) {
        if (record.type == VELL_SIM_L2_LOOKUP_MODE) {
            read_vlan(view, at);
        }
        if (layout.form == entry_form::pairs) {
            record.pairs.emplace_back(view.u32(at), view.u32(at + 4));
        } else {
            record.oifs.push_back(read_oif(view, at, is_mbd(layout)));
        }
    }
}

l2_record read_fields(std::uint8_t type, const record_view &view, const record_layout &layout) {
    l2_record record{.type = type};
    for (const std::size_t at : layout.words) {
        if (at != 0) {
            record.words.push_back(view.u32(at));
        }
    }
    if (layout.vlan != 0) {
        record.vlan = read_vlan(view, layout.vlan);
        record.flags = view.u16(layout.flags);
        record.addresses = {read_address(view, layout.addresses[0], 1),
                            read_address(view, layout.addresses[1], 2)};
    }
    if (is_mbd(layout)) {
        check_mbd_addresses(view, layout, record);
    }
    read_entries(view, layout, record);
    return record;
}

} // namespace

std::size_t record_size(const l2_record &record) {
    return fixed_block_size + record.pairs.size() * entry_size(entry_form::pairs) +
           record.oifs.size() * entry_size(entry_form::oifs);
}

l2_message decode_l2_message(std::span<const std::byte> message) {
    byte_reader reader(message);
    const record_view header(reader.take(header_size, "header"), 0);
    l2_message decoded{.client_id = std::to_integer<std::uint8_t>(message[0]), .records = {}};
    const std::uint16_t count = header.u16(2);
    for (std::uint16_t i = 0; i < count; ++i) {
        const std::size_t start = reader.offset();
        if (reader.left() < fixed_block_size) {
            refuse_at(start, "the message has {} bytes left here, record {} of {} needs {} or more",
                      reader.left(), i + 1, count, fixed_block_size);
        }
        const auto type = std::to_integer<std::uint8_t>(message[start + type_at]);
        const record_layout &layout = find_layout(type, start);
        decoded.records.push_back(read_fields(type, take_record(reader, layout, message), layout));
    }
    if (reader.left() > 0) {
        refuse_at(reader.offset(), "{} bytes follow the last of {} records", reader.left(), count);
    }
    return decoded;
}

} // namespace sim
