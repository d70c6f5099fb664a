#include "l2/l2_records.h"

#include "client/byte_order.h"

#include <vell.h>

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <utility>

namespace vell {

namespace {

enum class l2_entries : std::uint8_t {
    pairs, // 8 bytes: two u32
    oifs,  // 32 bytes: kind, three u32 and a value of that kind
};

// Where a record type has its fields, as offsets from the record's start; 0 stands for a field that
// it does not have.
struct l2_layout {
    std::uint8_t words[5];          // fixed u32 fields
    std::uint8_t half;              // the u16
    std::uint8_t address_blocks[2]; // u32 kind and 16 bytes of address each
    std::uint8_t count;             // u32 number of entries
    std::uint8_t first_entry;
    l2_entries entries;
};

//                                   words                 u16  addresses count  entries
constexpr l2_layout pairs_two_words = {{12, 20}, 0, {}, 16, 24, l2_entries::pairs};
constexpr l2_layout pairs_alone = {{}, 0, {}, 12, 16, l2_entries::pairs};
constexpr l2_layout address_pair = {{12, 16, 20, 24}, 28, {30, 50}, 70, 74, l2_entries::oifs};
constexpr l2_layout lookup_mode = {{12}, 0, {}, 16, 20, l2_entries::pairs};
constexpr l2_layout mbd_entry = {{12, 16, 20, 24, 28}, 32, {34, 54}, 74, 78, l2_entries::oifs};

constexpr std::uint32_t pair_size = 8;
constexpr std::uint32_t oif_size = 32;

constexpr std::uint32_t address_area = offsetof(vell_l2_address, area);
constexpr std::uint32_t oif_value = offsetof(vell_l2_oif, value);

// The records that callers see, held against the rows above.
static_assert(sizeof(vell_l2_record) == 12 && alignof(vell_l2_record) == 1 &&
              offsetof(vell_l2_record, length) == 8);
static_assert(sizeof(vell_l2_address) == 20 && alignof(vell_l2_address) == 1 && address_area == 4);
static_assert(sizeof(vell_l2_pair) == pair_size && alignof(vell_l2_pair) == 1);
static_assert(sizeof(vell_l2_oif) == oif_size && alignof(vell_l2_oif) == 1 && oif_value == 16);
template <typename Record>
constexpr bool matches(const l2_layout &layout) {
    return sizeof(Record) == layout.first_entry && alignof(Record) == 1 &&
           offsetof(Record, count) == layout.count;
}
template <typename Record>
constexpr bool matches_addresses(const l2_layout &layout) {
    return matches<Record>(layout) && offsetof(Record, half) == layout.half &&
           offsetof(Record, addresses) == layout.address_blocks[0] &&
           offsetof(Record, addresses) + sizeof(vell_l2_address) == layout.address_blocks[1];
}
static_assert(matches<vell_l2_pairs_record>(pairs_two_words));
static_assert(matches<vell_l2_bare_pairs_record>(pairs_alone));
static_assert(matches_addresses<vell_l2_vlan_record>(address_pair) &&
              offsetof(vell_l2_vlan_record, vlan) == 24);
static_assert(matches<vell_l2_lookup_mode_record>(lookup_mode));
static_assert(matches_addresses<vell_l2_mbd_record>(mbd_entry));

void convert_pair(std::uint8_t *words) {
    convert<std::uint32_t>(words);
    convert<std::uint32_t>(words + sizeof(std::uint32_t));
}

// Each returns whether the conversion of the record goes on: an unknown kind ends it.

bool convert_address(std::uint8_t *block) {
    const auto kind = load<std::uint32_t>(block);
    if (kind != vell_l2_address_ipv4 && kind != vell_l2_address_ipv6 && kind != vell_l2_address_mac)
        return false; // a block that is not understood stays as it is, its kind included
    convert<std::uint32_t>(block);
    if (kind == vell_l2_address_ipv4)
        convert<std::uint32_t>(block + address_area);
    return true;
}

bool convert_oif(std::uint8_t *entry) {
    const auto kind = load<std::uint32_t>(entry);
    convert_pair(entry);
    convert_pair(entry + pair_size);
    if (kind == vell_l2_oif_if_index)
        convert<std::uint32_t>(entry + oif_value);
    return kind == vell_l2_oif_plain || kind == vell_l2_oif_ipv6 || kind == vell_l2_oif_if_index;
}

// The fields of a row are known when this is compiled, so that a record costs no more than its byte
// swaps.
template <l2_layout layout, std::size_t... i>
void convert_words_of(std::uint8_t *record, std::index_sequence<i...>) {
    ((layout.words[i] != 0 ? convert<std::uint32_t>(record + layout.words[i]) : void()), ...);
}

template <l2_layout layout>
std::uint32_t convert_record(std::uint8_t *record) {
    convert_words_of<layout>(record, std::make_index_sequence<std::size(layout.words)>());
    if constexpr (layout.half != 0)
        convert<std::uint16_t>(record + layout.half);
    const auto count = load<std::uint32_t>(record + layout.count);
    convert<std::uint32_t>(record + layout.count);

    std::uint8_t *entry = record + layout.first_entry;
    if constexpr (layout.entries == l2_entries::pairs) {
        for (std::uint32_t left = count; left != 0; --left, entry += pair_size)
            convert_pair(entry);
        return VELL_L2_RECORD_BYTES + count * pair_size;
    } else {
        if (convert_address(record + layout.address_blocks[0]) &&
            convert_address(record + layout.address_blocks[1]))
            for (std::uint32_t left = count; left != 0 && convert_oif(entry); --left)
                entry += oif_size;
        return VELL_L2_RECORD_BYTES + count * oif_size;
    }
}

constexpr std::uint8_t first_type = 8;

// By record type, from the first one on; null for the types between that cannot be converted.
constexpr l2_conversion conversions[] = {
    /*  8 */ convert_record<pairs_two_words>,
    convert_record<pairs_two_words>,
    /* 10 */ convert_record<pairs_alone>,
    convert_record<pairs_alone>,
    /* 12 */ convert_record<address_pair>,
    convert_record<address_pair>,
    /* 14 */ convert_record<address_pair>,
    convert_record<address_pair>,
    /* 16 */ nullptr,
    nullptr,
    /* 18 */ convert_record<lookup_mode>,
    /* 19 */ nullptr,
    nullptr,
    /* 21 */ convert_record<mbd_entry>,
    convert_record<mbd_entry>,
};
static_assert(std::size(conversions) == 22 - first_type + 1);

} // namespace

l2_conversion l2_conversion_of(std::uint8_t type) {
    const std::size_t row =
        std::size_t{type} - first_type; // a type below the first one is a row beyond the last
    return row < std::size(conversions) ? conversions[row] : nullptr;
}

} // namespace vell
