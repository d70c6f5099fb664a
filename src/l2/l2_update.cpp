#include "client/byte_order.h"
#include "client/client_state.h"
#include "client/log.h"
#include "client/transport.h"
#include "l2/igmp_notifications.h"

#include <kyt.h>
#include <vell.h>

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <utility>

namespace vell {

namespace {

constexpr char l2_sender[] = "vell_send_l2_mc_update";

static_assert(sizeof(vell_l2_message) == 8 && alignof(vell_l2_message) == 1);
static_assert(offsetof(vell_l2_message, count) == 2 && offsetof(vell_l2_message, value) == 4 &&
              offsetof(vell_l2_message, flags) == 6);

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

// clang-format off
//                                   words                 u16 addresses count entries
constexpr l2_layout pairs_2_words = {{12, 20},             0,  {},       16, 24, l2_entries::pairs};
constexpr l2_layout pairs_alone   = {{},                   0,  {},       12, 16, l2_entries::pairs};
constexpr l2_layout address_pair  = {{12, 16, 20, 24},     28, {30, 50}, 70, 74, l2_entries::oifs};
constexpr l2_layout lookup_mode   = {{12},                 0,  {},       16, 20, l2_entries::pairs};
constexpr l2_layout mbd_entry     = {{12, 16, 20, 24, 28}, 32, {34, 54}, 74, 78, l2_entries::oifs};
// clang-format on

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
template <typename Record, l2_layout layout>
constexpr bool matches = sizeof(Record) == layout.first_entry && alignof(Record) == 1 &&
                         offsetof(Record, count) == layout.count;
template <typename Record, l2_layout layout>
constexpr bool matches_addresses = (offsetof(Record, half) == layout.half) &&
                                   (offsetof(Record, addresses) == layout.address_blocks[0]) &&
                                   (offsetof(Record, addresses) + sizeof(vell_l2_address) ==
                                    layout.address_blocks[1]) &&
                                   matches<Record, layout>;
static_assert(matches<vell_l2_pairs_record, pairs_2_words>);
static_assert(matches<vell_l2_bare_pairs_record, pairs_alone>);
static_assert(matches_addresses<vell_l2_vlan_record, address_pair> &&
              offsetof(vell_l2_vlan_record, vlan) == 24);
static_assert(matches<vell_l2_lookup_mode_record, lookup_mode>);
static_assert(matches_addresses<vell_l2_mbd_record, mbd_entry>);

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
template <std::uint8_t word>
void convert_word(std::uint8_t *record) {
    if constexpr (word != 0)
        convert<std::uint32_t>(record + word);
}

template <l2_layout layout, std::size_t... i>
void convert_words_of(std::uint8_t *record, std::index_sequence<i...>) {
    (convert_word<layout.words[i]>(record), ...);
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

// Converts a record in place, traces it where its type is worth a trace, and returns its length. A
// record of another type is left alone, and has the length that is given.
std::uint32_t convert_and_trace(std::uint8_t *record, std::uint32_t length) {
    switch (record[0]) {
    case 8:
    case 9:
        return convert_record<pairs_2_words>(record);
    case 10:
    case 11:
        return convert_record<pairs_alone>(record);
    case 12:
    case 13:
    case 14:
    case 15:
        return convert_record<address_pair>(record);
    case vell_l2_lookup_mode:
        length = convert_record<lookup_mode>(record);
        vell_log(log_trace, l2_sender, 486, "%s(%d):TRACE: Send lkup mode change\n");
        return length;
    case vell_l2_mbd_add:
    case vell_l2_mbd_delete:
        length = convert_record<mbd_entry>(record);
        vell_log(log_trace, l2_sender, 478, "%s(%d):TRACE: Send VELL_OP_ADD/DEL_L2_MBD update\n");
        return length;
    default:
        return length;
    }
}

// Converts `count` records. One that cannot be converted takes over the length of the one before
// it, so that the walk goes on from there by that much; the first one's is 0, and the walk stays
// where it is.
void convert_records(std::uint8_t *first, std::uint16_t count) {
    std::uint32_t length = 0;
    // A number, not a pointer: after the last record it may say any address.
    auto at = reinterpret_cast<std::uintptr_t>(first);
    for (; count != 0; --count, at += length) {
        length = convert_and_trace(reinterpret_cast<std::uint8_t *>(at), length);
        // In host order, unlike everything else.
        reinterpret_cast<vell_l2_record *>(at)->length = length;
    }
}

} // namespace

} // namespace vell

using namespace vell;

int vell_send_l2_mc_update(std::uint8_t *buffer, std::uint32_t length, std::uint16_t count,
                           std::uint16_t value, std::uint32_t msg_ref) {
    if (vell_client_q == 0) {
        vell_log(log_error, l2_sender, 422, "%s(%d):ERROR: Client not registered\n");
        return 0;
    }

    auto *const message = reinterpret_cast<vell_l2_message *>(buffer);
    message->count = swapped(count);
    message->value = swapped(value);
    message->client_id = vell_client_id;
    const std::uint16_t flags = message->flags;
    if ((flags & vell_l2_begin_marker) != 0) {
        send_oob_marker(oob_begin_marker);
        vell_log(log_trace, l2_sender, 436, "%s(%d):TRACE: Sent OOB begin marker\n");
    }
    message->flags = swapped(flags);

    convert_records(buffer + sizeof(*message), count);

    if (!send_request(request::l2_update, vell_client_q, buffer, length,
                      reinterpret_cast<kyt_msg_ref *>(msg_ref)))
        return 0;
    if ((flags & vell_l2_end_marker) != 0) {
        send_oob_marker(oob_end_marker);
        vell_log(log_trace, l2_sender, 514, "%s(%d):TRACE: Sent OOB end marker\n");
    }
    return 1;
}
