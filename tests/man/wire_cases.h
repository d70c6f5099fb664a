// What the library sends or reads, one case per drawing of vell-wire(5): the bytes, and the value of
// each field.
#pragma once

#include "tests/support/bytes.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <map>
#include <string>
#include <variant>
#include <vector>

namespace wire {

// Numbers for arguments and fields: neighbouring bytes differ and none is 0, so that a field at a
// wrong offset, of a wrong width or in a wrong order shows.
class Numbers {
public:
    explicit Numbers(unsigned seed) : last_(seed) {}

    std::uint8_t byte() {
        last_ = last_ * 6 % 251;
        return static_cast<std::uint8_t>(last_);
    }
    std::uint16_t half() { return number<std::uint16_t>(); }
    std::uint32_t word() { return number<std::uint32_t>(); }
    bytes some(std::size_t size) {
        bytes drawn(size);
        for (std::uint8_t &one : drawn) {
            one = byte();
        }
        return drawn;
    }

private:
    template <typename Number>
    Number number() {
        Number drawn;
        std::memcpy(&drawn, some(sizeof drawn).data(), sizeof drawn);
        return drawn;
    }

    unsigned last_;
};

// Every byte of the field has this value.
struct Fill {
    std::uint8_t value;
};
using Value = std::variant<std::uint64_t, bytes, Fill>;

// What a case found. `before` is what the caller's buffer held; it is empty where the library builds
// the bytes itself. `from` is who else made all of them, if somebody did.
struct Found {
    bytes sent = {};
    std::map<std::string, Value> values = {};
    bytes before = {};
    std::string from = {};
};

// `function` is the one that sends the request, or null where the drawing is not a request.
struct Case {
    const char *section;
    const char *function;
    Found (*find)(Numbers &numbers);
};

extern const std::vector<Case> service_cases;
extern const std::vector<Case> route_cases;
extern const std::vector<Case> l2_cases;
extern const std::vector<Case> manager_cases;

std::vector<Case> all_cases();

// Runs a case in a fresh client.
Found run(const Case &one, unsigned seed);

// The client that the cases start from.
inline constexpr std::uint8_t client_id = 0xe7;

// What the library sent to the service last.
bytes sent_payload();

// vell_send_l2_mc_update with the whole message.
void send_l2_message(bytes &message, std::uint16_t count, std::uint16_t value);

template <typename Record>
bytes bytes_of(const Record &record) {
    const auto *raw = reinterpret_cast<const std::uint8_t *>(&record);
    return {raw, raw + sizeof record};
}

// A record whose every byte is `fill`, as a caller leaves what it does not write.
inline constexpr std::uint8_t fill = 0xfe;
template <typename Record>
Record filled() {
    Record record;
    auto *raw = reinterpret_cast<std::uint8_t *>(&record);
    for (std::size_t i = 0; i < sizeof record; ++i) {
        raw[i] = fill;
    }
    return record;
}

} // namespace wire
