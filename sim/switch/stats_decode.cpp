// The statistics messages: layouts are drawn in stats.h.
#include "sim/switch/byte_reader.h"
#include "sim/switch/stats.h"

#include <algorithm>
#include <cstring>
#include <string_view>

namespace sim {

namespace {

constexpr std::size_t answer_size = 72;

std::uint8_t read_length(byte_reader &reader, std::string_view what, unsigned most) {
    const std::size_t offset = reader.offset();
    const std::uint8_t length = reader.u8(what);
    if (length > most) {
        refuse_at(offset, "{} {} is above {}", what, length, most);
    }
    return length;
}

l2_address read_ipv6(byte_reader &reader, std::string_view what) {
    l2_address address{l2_address_kind::ipv6};
    std::memcpy(address.bytes.data(), reader.take(address.bytes.size(), what).data(),
                address.bytes.size());
    return address;
}

counter_key read_head(byte_reader &reader, unsigned longest_mask) {
    counter_key key;
    key.table = reader.u32("table id");
    key.source_length = read_length(reader, "source mask length", longest_mask);
    key.group_length = read_length(reader, "group mask length", longest_mask);
    return key;
}

class byte_writer {
public:
    explicit byte_writer(std::size_t size) { bytes_.reserve(size); }

    template <typename Value>
    byte_writer &put(const Value &value) {
        const auto added = std::as_bytes(std::span(&value, 1));
        bytes_.insert(bytes_.end(), added.begin(), added.end());
        return *this;
    }
    byte_writer &put_address(const l2_address &address) {
        std::array<std::uint8_t, 16> bytes = address.bytes;
        if (address.kind == l2_address_kind::ipv4) {
            const std::uint32_t number = ipv4_number(address);
            std::memcpy(bytes.data(), &number, sizeof number);
        }
        return put(bytes);
    }
    std::vector<std::byte> take() { return std::move(bytes_); }

private:
    std::vector<std::byte> bytes_;
};

} // namespace

statistics_request decode_ipv4_statistics_request(std::span<const std::byte> message,
                                                  bool is_clear_request) {
    require_length(message, is_clear_request ? 16 : 20);
    byte_reader reader(message);
    statistics_request decoded{.key = read_head(reader, 32)};
    reader.skip(2, "reserved");
    decoded.key.source = ipv4_address(reader.u32("source"));
    decoded.key.group = ipv4_address(reader.u32("group"));
    decoded.clear = is_clear_request || reader.u32("clear") != 0;
    return decoded;
}

statistics_request decode_ipv6_statistics_request(std::span<const std::byte> message,
                                                  bool is_clear_request) {
    require_length(message, 40);
    byte_reader reader(message);
    statistics_request decoded{.key = read_head(reader, 128), .clear = is_clear_request};
    decoded.key.source = read_ipv6(reader, "source");
    decoded.key.group = read_ipv6(reader, "group");
    return decoded;
}

std::vector<std::byte> encode_statistics_answer(const counter_key &key,
                                                const statistics_answer &answer) {
    const bool is_ipv4 = key.group.kind == l2_address_kind::ipv4;
    byte_writer writer(answer_size);
    writer.put(std::uint32_t{answer.found ? 0u : 1u})
        .put(key.table)
        .put(key.source_length)
        .put(key.group_length);
    writer.put(static_cast<std::uint16_t>(is_ipv4 ? 4 : 6))
        .put_address(key.source)
        .put_address(key.group);
    writer.put(std::uint32_t{answer.cleared ? 1u : 0u});
    writer.put(answer.seen.packets).put(answer.seen.bytes).put(answer.seen.wrong_if);
    return writer.take();
}

} // namespace sim
