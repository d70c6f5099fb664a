// The TLV arrays of the fake platform: no array is laid out; what is read is what the test put into
// the platform.
#include "fake/platform.h"

#include <tlv.h>

namespace fake {
namespace {

// The TLV values as they are handed out: at an odd address, as a real array's may be.
class OddlyPlaced {
public:
    const void *place(const bytes &value) {
        bytes_.assign(value.size() + 1, 0);
        std::copy(value.begin(), value.end(), bytes_.begin() + 1);
        return bytes_.data() + 1;
    }

private:
    bytes bytes_;
};

std::size_t index_at(std::uint32_t cursor) {
    return cursor == 0 ? 0 : cursor - cursor_behind(0) + 1;
}

} // namespace
} // namespace fake

extern "C" {

uint32_t tlv_aligned_array_append_tlv(void *array, uint32_t *position, uint32_t *size,
                                      uint32_t capacity, uint16_t type, uint16_t length,
                                      const void *value, uint32_t reserved) {
    const fake::InPlatform inside;
    auto &platform = fake::platform();
    const auto *raw = static_cast<const std::uint8_t *>(value);
    platform.calls.push_back(fake::AppendTlv{.array = array,
                                             .position = position,
                                             .size = size,
                                             .position_was = *position,
                                             .size_was = *size,
                                             .capacity = capacity,
                                             .type = type,
                                             .length = length,
                                             .value = value,
                                             .raw = bytes(raw, raw + length),
                                             .reserved = reserved});
    const auto result = platform.append_tlv.play();
    if (platform.append_state && (result == 0 || platform.failures_write_outputs.value_or(true))) {
        *position = platform.append_state->position;
        *size = platform.append_state->size;
    }
    return result;
}

uint32_t tlv_aligned_array_get_next_tlv(const void *array, uint16_t *type, uint16_t *length,
                                        const void **value, uint32_t reserved, uint32_t *cursor) {
    static fake::OddlyPlaced placed;
    const fake::InPlatform inside;
    auto &platform = fake::platform();
    platform.calls.push_back(fake::NextTlv{
        .array = array, .value_was = *value, .reserved = reserved, .cursor_was = *cursor});
    const auto result = platform.next_tlv.play();
    if (result != 0 && !platform.failures_write_outputs.value_or(false))
        return result;
    const auto index = fake::index_at(*cursor);
    if (index >= platform.tlvs.size())
        return fake::no_more_tlvs;
    const auto &tlv = platform.tlvs[index];
    *type = tlv.type;
    *length = tlv.length;
    *value = placed.place(tlv.value);
    *cursor = fake::cursor_behind(index);
    return result;
}

int32_t tlv_aligned_array_get_num_tlvs(const void *array, uint32_t reserved) {
    const fake::InPlatform inside;
    auto &platform = fake::platform();
    platform.calls.push_back(fake::NumTlvs{.array = array, .reserved = reserved});
    return platform.num_tlvs.play();
}

uint32_t tlv_aligned_array_size_get(const void *array, uint32_t reserved) {
    const fake::InPlatform inside;
    auto &platform = fake::platform();
    platform.calls.push_back(fake::SizeGet{.array = array, .reserved = reserved});
    return platform.size_get.play();
}
}
