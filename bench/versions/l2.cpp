// Layer-2 messages, with the log lines of either version. The conversion is the
// same in both, a loop inlined for each record type; what differs is how the trace of a record is
// written.
//
// Messages with markers are not measured, and are not understood here.
#include "client.h"
#include "log_lines.h"
#include "versions.h"

#include <kyt.h>

#include <cstdint>
#include <cstring>

namespace bench {

namespace {

constexpr std::uint32_t record_size = 80;

std::uint32_t word_at(const std::uint8_t *at) {
    std::uint32_t word;
    std::memcpy(&word, at, sizeof(word));
    return word;
}

void swap_word(std::uint8_t *at) {
    const std::uint32_t word = __builtin_bswap32(word_at(at));
    std::memcpy(at, &word, sizeof(word));
}

// The words at these offsets, one after the other: a loop over them would not be unrolled.
template <unsigned... offsets>
void swap_words(std::uint8_t *at) {
    (swap_word(at + offsets), ...);
}

void swap_half(std::uint8_t *at) {
    std::uint16_t half;
    std::memcpy(&half, at, sizeof(half));
    half = __builtin_bswap16(half);
    std::memcpy(at, &half, sizeof(half));
}

// Returns the number of entries.
std::uint32_t swap_count(std::uint8_t *at) {
    const std::uint32_t count = word_at(at);
    swap_word(at);
    return count;
}

std::uint32_t swap_pairs(std::uint8_t *entries, std::uint32_t count) {
    for (std::uint32_t left = count; left != 0; --left, entries += 8)
        swap_words<0, 4>(entries);
    return record_size + 8 * count;
}

// Returns whether the address is understood.
bool swap_address(std::uint8_t *address) {
    const std::uint32_t kind = word_at(address);
    if (kind != vell_l2_address_ipv4 && kind != vell_l2_address_ipv6 && kind != vell_l2_address_mac)
        return false;
    swap_word(address);
    if (kind == vell_l2_address_ipv4)
        swap_word(address + 4);
    return true;
}

// The end of a record with addresses: they, the count after them and its entries.
[[gnu::always_inline]] inline std::uint32_t swap_oifs(std::uint8_t *addresses) {
    const std::uint32_t count = swap_count(addresses + 40);
    if (!swap_address(addresses) || !swap_address(addresses + 20))
        return record_size + 32 * count;
    std::uint8_t *entry = addresses + 44;
    for (std::uint32_t left = count; left != 0; --left, entry += 32) {
        const std::uint32_t kind = word_at(entry);
        swap_words<0, 4, 8, 12>(entry);
        if (kind == vell_l2_oif_if_index)
            swap_word(entry + 16);
        else if (kind != vell_l2_oif_plain && kind != vell_l2_oif_ipv6)
            break;
    }
    return record_size + 32 * count;
}

template <typename Lines>
[[gnu::always_inline]] inline void convert(std::uint8_t *record, std::uint32_t records) {
    std::uint32_t length = 0;
    for (; records != 0; --records, record += length) {
        switch (record[0]) {
        case 8:
        case 9:
            swap_words<12, 20>(record);
            length = swap_pairs(record + 24, swap_count(record + 16));
            break;
        case 10:
        case 11:
            length = swap_pairs(record + 16, swap_count(record + 12));
            break;
        case 12:
        case 13:
        case 14:
        case 15:
            swap_words<12, 16, 20, 24>(record);
            swap_half(record + 28);
            length = swap_oifs(record + 30);
            break;
        case 18:
            swap_word(record + 12);
            length = swap_pairs(record + 20, swap_count(record + 16));
            break;
        case 21:
        case 22:
            swap_words<12, 16, 20, 24, 28>(record);
            swap_half(record + 32);
            length = swap_oifs(record + 34);
            Lines::trace_478();
            break;
        }
        std::memcpy(record + 8, &length, sizeof(length));
    }
}

template <typename Lines>
[[gnu::always_inline]] inline int send_l2(std::uint8_t *buffer, std::uint32_t length,
                                          std::uint16_t count, std::uint16_t value,
                                          std::uint32_t msg_ref) {
    if (client_queue == 0)
        return 0;
    auto *const message = reinterpret_cast<vell_l2_message *>(buffer);
    message->client_id = client_id;
    message->count = __builtin_bswap16(count);
    message->value = __builtin_bswap16(value);
    message->flags = __builtin_bswap16(message->flags);
    convert<Lines>(buffer + sizeof(*message), count);
    return send(client_queue, notifications, 75821, 1, buffer, length,
                reinterpret_cast<kyt_msg_ref *>(msg_ref));
}

} // namespace

} // namespace bench

using namespace bench;

int floor_send_l2_mc_update(std::uint8_t *buffer, std::uint32_t length, std::uint16_t count,
                            std::uint16_t value, std::uint32_t msg_ref) {
    return send_l2<floor_lines>(buffer, length, count, value, msg_ref);
}

int plain_send_l2_mc_update(std::uint8_t *buffer, std::uint32_t length, std::uint16_t count,
                            std::uint16_t value, std::uint32_t msg_ref) {
    return send_l2<plain_lines>(buffer, length, count, value, msg_ref);
}
