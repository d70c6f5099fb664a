#include "sim/tlv/tlv_layout.h"

#include <cstring>
#include <limits>
#pragma GCC visibility push(default)
#include <tlv.h>
#pragma GCC visibility pop

namespace {

using namespace sim;

static_assert(sizeof(void *) == sizeof(std::uint32_t),
              "an append state holds an address in 32 bits");

constexpr std::uint32_t field_max = std::numeric_limits<std::uint16_t>::max();

// Arrays lie wherever a record happens to put them.
template <class Record>
Record read_at(const std::uint8_t *from) {
    Record record;
    std::memcpy(&record, from, sizeof record);
    return record;
}

template <class Record>
void write_at(std::uint8_t *to, const Record &record) {
    std::memcpy(to, &record, sizeof record);
}

std::uint32_t size_of(tlv_array_head head) {
    return head.words * tlv_unit;
}

std::uint32_t padded(std::uint32_t length) {
    return (length + tlv_unit - 1) / tlv_unit * tlv_unit;
}

std::uint32_t address_after(const std::uint8_t *array, std::uint32_t size) {
    return static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(array)) +
           sizeof(tlv_array_head) + size;
}

// A caller resets its append state before every record of a message. For one that resets it only
// once a message is sent, a state that does not fit this array is another array's, and this array
// has not been begun.
tlv_array_head begun_or_fresh(const std::uint8_t *array, std::uint32_t position,
                              std::uint32_t size) {
    if (size == 0 || position != address_after(array, size))
        return {};
    const auto head = read_at<tlv_array_head>(array);
    return size_of(head) == size ? head : tlv_array_head{};
}

void write_tlv(std::uint8_t *to, tlv_head head, const void *value) {
    write_at(to, head);
    if (head.length != 0)
        std::memcpy(to + sizeof head, value, head.length);
    std::memset(to + sizeof head + head.length, 0, padded(head.length) - head.length);
}

} // namespace

uint32_t tlv_aligned_array_append_tlv(void *array, uint32_t *position, uint32_t *size,
                                      uint32_t capacity, uint16_t type, uint16_t length,
                                      const void *value, uint32_t) {
    if (array == nullptr || position == nullptr || size == nullptr ||
        (value == nullptr && length != 0))
        return tlv_bad_argument;
    auto *bytes = static_cast<std::uint8_t *>(array);
    tlv_array_head head = begun_or_fresh(bytes, *position, *size);
    const std::uint32_t old_size = size_of(head);
    const std::uint32_t new_size = old_size + sizeof(tlv_head) + padded(length);
    if (sizeof head + new_size > capacity || new_size / tlv_unit > field_max ||
        head.count == field_max)
        return tlv_no_room;

    write_tlv(bytes + sizeof head + old_size, {type, length}, value);
    head.count = static_cast<std::uint16_t>(head.count + 1);
    head.words = static_cast<std::uint16_t>(new_size / tlv_unit);
    write_at(bytes, head);
    *size = new_size;
    *position = address_after(bytes, new_size);
    return tlv_ok;
}

uint32_t tlv_aligned_array_get_next_tlv(const void *array, uint16_t *type, uint16_t *length,
                                        const void **value, uint32_t, uint32_t *cursor) {
    if (array == nullptr || type == nullptr || length == nullptr || value == nullptr ||
        cursor == nullptr)
        return tlv_bad_argument;
    const auto *bytes = static_cast<const std::uint8_t *>(array);
    const std::uint32_t size = size_of(read_at<tlv_array_head>(bytes));
    if (*cursor == size)
        return tlv_no_more;
    if (*cursor > size || size - *cursor < sizeof(tlv_head))
        return tlv_malformed;
    const std::uint8_t *tlv = bytes + sizeof(tlv_array_head) + *cursor;
    const auto head = read_at<tlv_head>(tlv);
    if (padded(head.length) > size - *cursor - sizeof head)
        return tlv_malformed;

    *type = head.type;
    *length = head.length;
    *value = tlv + sizeof head;
    *cursor += static_cast<std::uint32_t>(sizeof head) + padded(head.length);
    return tlv_ok;
}

int32_t tlv_aligned_array_get_num_tlvs(const void *array, uint32_t) {
    return array == nullptr
               ? 0
               : read_at<tlv_array_head>(static_cast<const std::uint8_t *>(array)).count;
}

uint32_t tlv_aligned_array_size_get(const void *array, uint32_t) {
    return array == nullptr
               ? 0
               : size_of(read_at<tlv_array_head>(static_cast<const std::uint8_t *>(array)));
}
