#include "l2/l2_records.h"

#include "client/byte_order.h"

#include <vell.h>

#include <cstddef>
#include <cstdint>
#include <iterator>

namespace vell {

namespace {

constexpr std::uint8_t first_type = 8;

// clang-format off
//                                   words                 u16  addresses count  entries
constexpr l2_layout pairs_two_words = {{12, 20},             0,  {},       16,    24, l2_entries::pairs};
constexpr l2_layout pairs_alone     = {{},                   0,  {},       12,    16, l2_entries::pairs};
constexpr l2_layout address_pair    = {{12, 16, 20, 24},     28, {30, 50}, 70,    74, l2_entries::oifs};
constexpr l2_layout lookup_mode     = {{12},                 0,  {},       16,    20, l2_entries::pairs};
constexpr l2_layout mbd_entry       = {{12, 16, 20, 24, 28}, 32, {34, 54}, 74,    78, l2_entries::oifs};
constexpr l2_layout unconvertible   = {};

// By record type, from 8 on.
constexpr l2_layout layouts[] = {
    /*  8 */ pairs_two_words, pairs_two_words,
    /* 10 */ pairs_alone, pairs_alone,
    /* 12 */ address_pair, address_pair, address_pair, address_pair,
    /* 16 */ unconvertible, unconvertible,
    /* 18 */ lookup_mode,
    /* 19 */ unconvertible, unconvertible,
    /* 21 */ mbd_entry, mbd_entry,
};
// clang-format on
static_assert(std::size(layouts) == 22 - first_type + 1);

constexpr std::uint32_t fixed_size = 80;
constexpr std::uint32_t pair_size = 8;
constexpr std::uint32_t oif_size = 32;

constexpr std::uint32_t address_area = offsetof(vell_l2_address, area);
constexpr std::uint32_t oif_value = offsetof(vell_l2_oif, value);

// The records that callers see, held against the rows above.
static_assert(sizeof(vell_l2_record) == 12 && alignof(vell_l2_record) == 1 && offsetof(vell_l2_record, length) == 8);
static_assert(sizeof(vell_l2_address) == 20 && alignof(vell_l2_address) == 1 && address_area == 4);
static_assert(sizeof(vell_l2_pair) == pair_size && alignof(vell_l2_pair) == 1);
static_assert(sizeof(vell_l2_oif) == oif_size && alignof(vell_l2_oif) == 1 && oif_value == 16);
template <typename Record>
constexpr bool matches(const l2_layout &layout) {
    return sizeof(Record) == layout.first_entry && alignof(Record) == 1 && offsetof(Record, count) == layout.count;
}
template <typename Record>
constexpr bool matches_addresses(const l2_layout &layout) {
    return matches<Record>(layout) && offsetof(Record, half) == layout.half &&
           offsetof(Record, addresses) == layout.address_blocks[0] &&
           offsetof(Record, addresses) + sizeof(vell_l2_address) == layout.address_blocks[1];
}
static_assert(matches<vell_l2_pairs_record>(pairs_two_words));
static_assert(matches<vell_l2_bare_pairs_record>(pairs_alone));
static_assert(matches_addresses<vell_l2_vlan_record>(address_pair) && offsetof(vell_l2_vlan_record, vlan) == 24);
static_assert(matches<vell_l2_lookup_mode_record>(lookup_mode));
static_assert(matches_addresses<vell_l2_mbd_record>(mbd_entry));

// Converts `count` u32 fields that lie back to back.
void convert_words(std::uint8_t *words, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i)
        convert<std::uint32_t>(words + i * sizeof(std::uint32_t));
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
    convert_words(entry, 4);
    if (kind == vell_l2_oif_if_index)
        convert<std::uint32_t>(entry + oif_value);
    return kind == vell_l2_oif_plain || kind == vell_l2_oif_ipv6 || kind == vell_l2_oif_if_index;
}

bool convert_addresses(const l2_layout &layout, std::uint8_t *record) {
    for (const std::uint8_t block : layout.address_blocks)
        if (block != 0 && !convert_address(record + block))
            return false;
    return true;
}

void convert_oifs(std::uint8_t *entries, std::uint32_t count) {
    for (; count != 0 && convert_oif(entries); --count)
        entries += oif_size;
}

} // namespace

const l2_layout *l2_layout_of(std::uint8_t type) {
    const std::size_t row = std::size_t{type} - first_type; // a type below the first one is a row beyond the last
    return row < std::size(layouts) && layouts[row].entries != l2_entries::none ? &layouts[row] : nullptr;
}

std::uint32_t convert_l2_record(const l2_layout &layout, std::uint8_t *record) {
    for (const std::uint8_t *word = layout.words; *word != 0; ++word)
        convert<std::uint32_t>(record + *word);
    if (layout.half != 0)
        convert<std::uint16_t>(record + layout.half);
    const auto count = load<std::uint32_t>(record + layout.count);
    convert<std::uint32_t>(record + layout.count);

    std::uint8_t *const entries = record + layout.first_entry;
    if (layout.entries == l2_entries::pairs) {
        convert_words(entries, std::size_t{count} * 2);
        return fixed_size + count * pair_size;
    }
    if (convert_addresses(layout, record))
        convert_oifs(entries, count);
    return fixed_size + count * oif_size;
}

} // namespace vell
