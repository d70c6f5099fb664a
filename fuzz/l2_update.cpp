// Layer-2 messages of any records, converted as their description says: byte for byte, in a buffer
// of the exact size.
//
// The library trusts a message. So the model runs first, on a copy, and finds how many records can
// be converted without leaving the buffer; the library is asked to convert no more than those.
#include "client/client_state.h"
#include "fuzz/platform.h"

#include <vell.h>

#include <algorithm>
#include <cstring>

namespace {

using namespace fuzz;

constexpr char function[] = "vell_send_l2_mc_update";

// Offsets of a record's fields; 0 where it has no such field.
struct Layout {
    std::array<std::uint8_t, 5> words;
    std::uint8_t half;
    std::array<std::uint8_t, 2> addresses;
    std::uint8_t count;
    std::uint8_t entries;
    std::uint8_t entry_size;
};

const Layout *layout_of(std::uint8_t type) {
    static constexpr Layout with_8_9 = {{12, 20}, 0, {}, 16, 24, 8};
    static constexpr Layout with_10_11 = {{}, 0, {}, 12, 16, 8};
    static constexpr Layout with_12_to_15 = {{12, 16, 20, 24}, 28, {30, 50}, 70, 74, 32};
    static constexpr Layout with_18 = {{12}, 0, {}, 16, 20, 8};
    static constexpr Layout with_21_22 = {{12, 16, 20, 24, 28}, 32, {34, 54}, 74, 78, 32};
    if (type == 8 || type == 9)
        return &with_8_9;
    if (type == 10 || type == 11)
        return &with_10_11;
    if (type >= 12 && type <= 15)
        return &with_12_to_15;
    if (type == 18)
        return &with_18;
    return type == 21 || type == 22 ? &with_21_22 : nullptr;
}

class Model {
public:
    explicit Model(Bytes message) : bytes_(message.begin(), message.end()) {}

    Bytes bytes() const { return bytes_; }

    void write_header(std::uint8_t client_id, std::uint16_t count, std::uint16_t value) {
        bytes_[0] = client_id;
        put_network(2, count);
        put_network(4, value);
    }
    std::uint16_t flags() const { return static_cast<std::uint16_t>(bytes_[6] | bytes_[7] << 8); }
    void convert_flags() { swap(6, 2); }

    // Returns how many of the records were converted before one that does not fit.
    template <typename Converted>
    std::uint16_t convert_records(std::uint16_t count, Converted converted) {
        std::uint32_t at = 8;
        std::uint32_t length = 0;
        for (std::uint16_t i = 0; i < count; ++i, at += length) {
            if (!has(at, 12))
                return i;
            const std::uint8_t type = bytes_[at];
            if (const Layout *layout = layout_of(type); layout && !convert(at, *layout, length))
                return i;
            std::memcpy(&bytes_[at + 8], &length, sizeof(length));
            converted(type);
        }
        return count;
    }

private:
    bool has(std::uint32_t at, std::uint32_t size) const {
        return at <= bytes_.size() && bytes_.size() - at >= size;
    }

    std::uint32_t word(std::uint32_t at) const {
        std::uint32_t value;
        std::memcpy(&value, &bytes_[at], sizeof(value));
        return value;
    }

    void swap(std::uint32_t at, std::uint32_t width) {
        std::reverse(&bytes_[at], &bytes_[at] + width);
    }

    void put_network(std::uint32_t at, std::uint16_t value) {
        bytes_[at] = static_cast<std::uint8_t>(value >> 8);
        bytes_[at + 1] = static_cast<std::uint8_t>(value);
    }

    bool convert(std::uint32_t at, const Layout &layout, std::uint32_t &length) {
        if (!has(at, layout.entries))
            return false;
        for (const std::uint8_t field : layout.words)
            if (field != 0)
                swap(at + field, 4);
        if (layout.half != 0)
            swap(at + layout.half, 2);
        const std::uint32_t count = word(at + layout.count);
        swap(at + layout.count, 4);
        length = 80 + count * layout.entry_size;

        if (layout.addresses[0] != 0 && (!convert_address(at + layout.addresses[0]) ||
                                         !convert_address(at + layout.addresses[1])))
            return true;
        for (std::uint32_t i = 0; i < count; ++i) {
            const std::uint32_t entry = at + layout.entries + i * layout.entry_size;
            if (!has(entry, layout.entry_size))
                return false;
            swap(entry, 4);
            swap(entry + 4, 4);
            if (layout.entry_size == 32 && !convert_rest_of_oif(entry))
                break;
        }
        return true;
    }

    bool convert_address(std::uint32_t at) {
        const std::uint32_t kind = word(at);
        if (kind != 4 && kind != 8 && kind != 2)
            return false;
        swap(at, 4);
        if (kind == 4)
            swap(at + 4, 4);
        return true;
    }

    bool convert_rest_of_oif(std::uint32_t at) {
        swap(at + 8, 4);
        swap(at + 12, 4);
        swap(at, 4);
        const std::uint32_t kind = word(at);
        swap(at, 4);
        if (kind == 2)
            swap(at + 16, 4);
        return kind <= 2;
    }

    std::vector<std::uint8_t> bytes_;
};

void trace(std::uint8_t type) {
    if (type == 18)
        expect_log("%s(%d):TRACE: Send lkup mode change\n", function, 486);
    if (type == 21 || type == 22)
        expect_log("%s(%d):TRACE: Send VELL_OP_ADD/DEL_L2_MBD update\n", function, 478);
}

void put(std::uint8_t *at, std::uint32_t word) {
    std::memcpy(at, &word, sizeof(word));
}

// One record of a type that mostly exists, with a plausible number of entries.
void add_record(std::vector<std::uint8_t> &message, Input &input) {
    static constexpr std::uint8_t types[] = {8, 9, 10, 11, 12, 13, 14, 15, 18, 21, 22};
    static constexpr std::uint32_t address_kinds[] = {4, 8, 2, 4, 8, 2, 0, 3};
    const std::uint8_t choice = input.byte();
    const std::uint8_t type = choice < 0xc0 ? types[choice % std::size(types)] : input.byte();
    const Layout *const layout = layout_of(type);
    const std::uint32_t entries = layout == nullptr ? 0 : input.below(5);
    const std::uint32_t entry_size = layout == nullptr ? 0 : layout->entry_size;

    const std::size_t at = message.size();
    message.resize(at + 80 + entries * entry_size);
    fill_with_pattern(&message[at], message.size() - at, input.byte());
    message[at] = type;
    if (layout == nullptr)
        return;
    // Where the entries are not converted, any count is safe, and lengths wrap around.
    put(&message[at + layout->count], input.one_in(8) ? input.number() : entries);
    if (entry_size != 32)
        return;
    for (const std::uint8_t block : layout->addresses)
        put(&message[at + block], address_kinds[input.below(std::size(address_kinds))]);
    for (std::uint32_t i = 0; i < entries; ++i)
        put(&message[at + layout->entries + i * entry_size], input.below(4));
}

std::vector<std::uint8_t> make_message(Input &input) {
    std::vector<std::uint8_t> message(8);
    fill_with_pattern(message.data(), message.size(), input.byte());
    message[6] = input.byte();
    const std::uint32_t records = input.below(8);
    for (std::uint32_t i = 0; i < records; ++i)
        add_record(message, input);
    for (std::uint32_t patches = input.below(8); patches != 0; --patches) {
        const std::size_t at = input.half() % message.size();
        message[at] = input.byte();
    }
    message.resize(message.size() - std::min<std::size_t>(input.below(16), message.size() - 8));
    return message;
}

} // namespace

void fuzz::run(Input &input) {
    vell_client_q = input.one_in(16) ? 0 : 1 + input.byte();
    vell_client_id = input.byte();
    const auto content = make_message(input);
    Buffer message(content.size(), input.below(4));
    std::copy(content.begin(), content.end(), message.data());
    // Many records land on the same one only, and take long.
    const auto asked =
        static_cast<std::uint16_t>(input.one_in(16) ? input.half() & 0x3ff : input.byte() & 0xf);
    const std::uint16_t value = input.half();
    const std::uint32_t length = input.flip() ? input.number() : content.size();
    kyt_msg_ref reference;
    setup().reference = &reference;
    setup().payload = message.bytes();

    Model trial(message.bytes());
    trial.write_header(vell_client_id, asked, value);
    trial.convert_flags();
    const std::uint16_t count = trial.convert_records(asked, [](std::uint8_t) {});

    const int result = library([&] {
        return vell_send_l2_mc_update(message.data(), length, count, value, number_of(&reference));
    });

    Model model(content);
    const auto play = [&] {
        if (vell_client_q == 0) {
            expect_log("%s(%d):ERROR: Client not registered\n", function, 422);
            return 0;
        }
        model.write_header(vell_client_id, count, value);
        const std::uint16_t flags = model.flags();
        if ((flags & 1) != 0) {
            expect_marker(vell_client_q, 1);
            expect_log("%s(%d):TRACE: Sent OOB begin marker\n", function, 436);
        }
        model.convert_flags();
        model.convert_records(count, trace);
        if (!expect_send_of_callers(vell_client_q, {213, 75821, 1}, model.bytes(), length,
                                    Reference::callers))
            return 0;
        if ((flags & 2) != 0) {
            expect_marker(vell_client_q, 2);
            expect_log("%s(%d):TRACE: Sent OOB end marker\n", function, 514);
        }
        return 1;
    };
    FUZZ_CHECK(result == play());
    FUZZ_CHECK(equal(message.bytes(), model.bytes()));
}
