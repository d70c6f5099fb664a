// Routes built in any order of operations: the records' fields, the lists in the scratch buffer,
// what is appended to the TLV array, and what is read back from an array of any TLVs.
#include "fuzz/platform.h"

#include <vell.h>

#include <cstring>

namespace {

using namespace fuzz;

constexpr std::uint32_t buffer_size = 120832;
constexpr std::uint32_t record_size = 40;
constexpr std::uint32_t entry_sizes[] = {8, 16, 60};

// What the library's variables should be.
struct Model {
    std::uint8_t buffer[buffer_size];
    bool open[3];
    std::uint32_t position, size;
    std::vector<std::uint8_t> record;

    std::uint32_t count() const {
        std::uint32_t count;
        std::memcpy(&count, buffer, sizeof(count));
        return count;
    }
    void set_count(std::uint32_t count) { std::memcpy(buffer, &count, sizeof(count)); }
};
Model model;

bool is_open(unsigned list) {
    return (list == 0 ? vell_oifs : list == 1 ? mti_oifs : glt_oifs) != nullptr;
}

vell_mrib_route *route_at(Buffer &record) {
    return reinterpret_cast<vell_mrib_route *>(record.data());
}

// ---- the record's fields ---------------------------------------------------------------------

struct Flag {
    unsigned bit;
    void (*set)(vell_mrib_route *);
    int (*is)(const vell_mrib_route *);
};

#define FLAG(bit, setter, tester)                                                                  \
    { bit, vell_mrib_set_flags_##setter, vell_mrib_is_flags_##tester }
constexpr Flag flags[] = {
    FLAG(0, direct, direct),
    FLAG(1, local_addr, local_addr),
    FLAG(2, drop_route, drop_route),
    FLAG(3, local_group, local_group),
    FLAG(4, count_pfx, count_pfx),
    FLAG(5, set_df_bits, set_df_bits),
    FLAG(6, rpf_only, rpf_only),
    FLAG(7, download, download),
    FLAG(8, download_done, download_done),
    FLAG(9, come_up_route, come_up_route),
    FLAG(10, drop_on_rpf_fail, drop_on_rpf_fail),
    FLAG(11, wildcard_route, wildcard_route),
    FLAG(12, overlay_decap, decap),
    FLAG(12, decap, overlay_decap),
    FLAG(13, svrf_download, svrf_download),
    FLAG(15, non_rpf_check, non_rpf_check),
    FLAG(16, even_route, even_route),
    FLAG(17, odd_route, odd_route),
    FLAG(18, dux_forward_all, dux_forward_all),
    FLAG(19, dux_forward_even, dux_forward_even),
    FLAG(20, dux_forward_odd, dux_forward_odd),
    FLAG(21, dux_src_rp_l3, dux_src_rp_l3),
    FLAG(22, dux_none_forwarder, dux_none_forwarder),
    FLAG(23, dux_rpf_is_svi, dux_rpf_check),
    FLAG(24, dux_l3src_behind_peer, dux_l3src_behind_peer),
    {25, vell_mrib_set_flags_dux_forward_none, nullptr},
};

template <typename Value>
void store(std::size_t offset, Value value) {
    std::memcpy(&model.record[offset], &value, sizeof(value));
}

void fuzz_flag(Input &input, vell_mrib_route *route) {
    std::uint64_t word;
    std::memcpy(&word, &model.record[4], sizeof(word));
    const Flag &flag = flags[input.below(std::size(flags))];
    const std::uint64_t mask = std::uint64_t{1} << flag.bit;
    if (flag.is != nullptr)
        FUZZ_CHECK(flag.is(route) == ((word & mask) != 0));
    flag.set(route);
    store(4, word | mask);
}

void fuzz_field(Input &input, vell_mrib_route *route) {
    const std::uint32_t value = input.number();
    const std::uint8_t length = input.byte();
    switch (input.below(9)) {
    case 0:
        vell_mrib_set_opcode(route, value);
        return store(0, static_cast<std::uint8_t>(value));
    case 1:
        vell_mrib_set_flags(route, std::uint64_t{value} << length % 64);
        return store(4, std::uint64_t{value} << length % 64);
    case 2:
        vell_mrib_set_flag_init(route);
        return store(4, std::uint64_t{0});
    case 3:
        vell_mrib_set_source(route, value, length);
        store(12, length);
        return store(20, value);
    case 4:
        vell_mrib_set_group(route, value, length);
        store(13, length);
        return store(24, value);
    case 5:
        vell_mrib_set_epoch(route, value);
        return store(16, value);
    case 6:
        vell_mrib_set_rpfif(route, value);
        FUZZ_CHECK(vell_mrib_get_rpfif(route) == value);
        return store(28, value);
    case 7:
        vell_mrib_set_df_ordinal(route, value);
        return store(32, static_cast<std::uint8_t>(value));
    default:
        vell_mrib_set_table_id(route, value);
        return store(36, value);
    }
}

// ---- lists -----------------------------------------------------------------------------------

void begin(unsigned list) {
    static constexpr void (*functions[])() = {
        vell_mrib_add_oifs_begin, vell_mrib_add_mti_encap_begin, vell_mrib_add_glt_encap_begin};
    functions[list]();
    model.open[list] = true;
    model.set_count(0);
}

// Where the next entry of an open list goes; null where it would leave the buffer, for which the
// library does not look.
std::uint8_t *next_entry(unsigned list) {
    const std::uint64_t at = 4 + std::uint64_t{model.count()} * entry_sizes[list];
    return at + 2 * entry_sizes[list] <= buffer_size ? model.buffer + at : nullptr;
}

void add_oif(Input &input, std::uint8_t *entry) {
    static constexpr struct {
        std::uint32_t kind;
        void (*add)(std::uint32_t);
    } adders[] = {{0, vell_mrib_add_reg_oif},
                  {1, vell_mrib_add_vprime_oif},
                  {4, vell_mrib_add_duxsvi_oif},
                  {8, vell_mrib_add_duxbidir_rpf_oif},
                  {12, vell_mrib_add_dux_bidir_rpf_duxsvi_oif}};
    const auto &adder = adders[input.below(std::size(adders))];
    const std::uint32_t words[] = {input.number(), adder.kind};
    adder.add(words[0]);
    if (entry != nullptr)
        std::memcpy(entry, words, sizeof(words));
}

void add_mti(Input &input, std::uint8_t *entry) {
    const std::uint32_t words[] = {input.number(), input.number(), input.number(), input.number()};
    vell_mrib_add_mti_encap(words[0], words[1], words[2], words[3]);
    if (entry != nullptr)
        std::memcpy(entry, words, sizeof(words));
}

// Data longer than its field goes over the words after it, up to the next entry's here.
void add_glt(Input &input, std::uint8_t *entry) {
    const std::uint32_t words[] = {input.number(), input.byte(), input.byte(), input.number()};
    const std::uint32_t length = input.one_in(8) ? input.below(80) : input.below(37);
    const std::uint32_t last = input.number();
    Buffer data(length, input.below(4));
    fill_with_pattern(data.data(), length, input.byte());
    vell_mrib_add_glt_encap(words[0], words[1], words[2], words[3],
                            length == 0 ? nullptr : data.data(), length, last);
    if (entry == nullptr)
        return;
    std::memcpy(entry, words, sizeof(words));
    std::memcpy(entry + 52, &length, sizeof(length));
    std::memcpy(entry + 56, &last, sizeof(last));
    std::memcpy(entry + 16, data.data(), length);
}

void add(Input &input, unsigned list) {
    static constexpr void (*functions[])(Input &, std::uint8_t *) = {add_oif, add_mti, add_glt};
    std::uint8_t *const entry = next_entry(list);
    if (model.open[list] && entry == nullptr)
        return;
    functions[list](input, model.open[list] ? entry : nullptr);
    if (model.open[list])
        model.set_count(model.count() + 1);
}

void expect_append(unsigned list, Buffer &record) {
    const auto length = static_cast<std::uint16_t>(4 + model.count() * entry_sizes[list]);
    const Event &event =
        expect(Call::append_tlv,
               {number_of(record.data() + record_size), number_of(&p_current_tlv_addr),
                number_of(&current_tlv_size), model.position, model.size, buffer_size, list, length,
                number_of(vell_mrib_buf), 0},
               Bytes(model.buffer, length));
    model.position = event.stored[0];
    model.size = event.stored[1];
}

void end(unsigned list, Buffer &record) {
    static constexpr void (*functions[])(vell_mrib_route *) = {
        vell_mrib_add_oifs_end, vell_mrib_add_mti_encap_end, vell_mrib_add_glt_encap_end};
    functions[list](route_at(record));
    if (!model.open[list] || model.count() == 0)
        return;
    expect_append(list, record);
    model.open[list] = false;
}

void add_whole_list(unsigned list, Buffer &record, const void *entries, std::uint32_t count) {
    if (list == 0)
        vell_mrib_test_add_oiflist(route_at(record), static_cast<const vell_oif_entry *>(entries),
                                   count);
    else if (list == 1)
        vell_mrib_test_add_mti_oif(route_at(record), static_cast<const vell_mti_entry *>(entries),
                                   count);
    else
        vell_mrib_test_add_glt_oif(route_at(record), static_cast<const vell_glt_entry *>(entries),
                                   count);
}

// Mostly a few entries, sometimes so many that the TLV's length is cut. They may lie in the scratch
// buffer itself.
void fuzz_whole_list(Input &input, unsigned list, Buffer &record) {
    const std::uint32_t most = (buffer_size - 4) / entry_sizes[list];
    const std::uint32_t count = input.one_in(64)   ? most - input.below(256)
                                : input.one_in(16) ? input.half() % most
                                                   : input.below(8);
    const std::uint32_t size = count * entry_sizes[list];
    const std::uint32_t shift = input.below(8);
    if (input.one_in(8)) {
        add_whole_list(list, record, nullptr, count);
        return;
    }
    if (input.one_in(8) && shift + size <= buffer_size) {
        add_whole_list(list, record, vell_mrib_buf + shift, count);
        std::memmove(model.buffer + 4, model.buffer + shift, size);
    } else {
        Buffer entries(size, shift % 4);
        fill_with_pattern(entries.data(), size, input.byte());
        add_whole_list(list, record, entries.data(), count);
        std::memcpy(model.buffer + 4, entries.data(), size);
    }
    if (count == 0)
        return;
    model.set_count(count);
    expect_append(list, record);
}

void close(unsigned list) {
    (list == 0 ? vell_oifs : list == 1 ? mti_oifs : glt_oifs) = nullptr;
    model.open[list] = false;
}

// ---- sizes, and reading back -----------------------------------------------------------------

void fuzz_sizes(Input &input, Buffer &record) {
    const std::uint32_t size = vell_mrib_get_route_size(route_at(record));
    FUZZ_CHECK(size ==
               expect(Call::size_get, {number_of(record.data() + record_size), 0}).answer + 44);
    const std::uint32_t n[] = {input.number(), input.number(), input.number()};
    FUZZ_CHECK(vell_mrib_get_max_route_size(n[0], n[1], n[2]) ==
               8 * n[0] + 16 * n[1] + 60 * n[2] + 56);
}

std::uint32_t model_tlv_info(Buffer &record, std::uint32_t *counts) {
    const std::uint32_t array = number_of(record.data() + record_size);
    for (unsigned list = 0; list < 3; ++list)
        counts[list] = 0;
    std::uint32_t value = 0, cursor = 0;
    for (std::uint8_t i = 0;; ++i) {
        const std::uint32_t tlvs = expect(Call::num_tlvs, {array, 0}).answer;
        if (i >= static_cast<std::int32_t>(tlvs))
            return tlvs;
        const Event &next = expect(Call::next_tlv, {array, value, 0, cursor});
        if (next.answer != 0)
            return next.answer;
        if (next.stored[0] > 2)
            return next.stored[0];
        counts[next.stored[0]] = next.stored[1];
        value = next.stored[2];
        cursor = next.stored[3];
    }
}

void fuzz_tlv_info(Input &input, Buffer &record) {
    const bool none = input.one_in(16);
    std::uint32_t counts[] = {11, 22, 33}, expected[] = {11, 22, 33};
    const std::uint32_t result = vell_mrib_get_mroute_tlv_info(none ? nullptr : route_at(record),
                                                               &counts[0], &counts[1], &counts[2]);
    FUZZ_CHECK(result == (none ? 0 : model_tlv_info(record, expected)));
    FUZZ_CHECK(equal(bytes_of(counts), bytes_of(expected)));
}

void fuzz_operation(Input &input, Buffer &record) {
    const std::uint32_t what = input.below(32);
    const std::uint32_t list = input.below(3);
    if (what < 3)
        begin(list);
    else if (what < 12)
        add(input, list);
    else if (what < 16)
        end(list, record);
    else if (what < 19)
        fuzz_whole_list(input, list, record);
    else if (what < 20)
        close(list);
    else if (what < 21)
        model.position = model.size = p_current_tlv_addr = current_tlv_size = 0;
    else if (what < 23)
        fuzz_sizes(input, record);
    else if (what < 26)
        fuzz_tlv_info(input, record);
    else if (what < 29)
        fuzz_flag(input, route_at(record));
    else
        fuzz_field(input, route_at(record));
}

} // namespace

void fuzz::run(Input &input) {
    std::memset(vell_mrib_buf, 0, buffer_size);
    std::memset(model.buffer, 0, buffer_size);
    std::memset(model.open, 0, sizeof(model.open));
    model.position = model.size = 0;
    // The library writes the record's head; the TLV array after it is the platform's.
    Buffer record(record_size + 1, input.below(4));
    fill_with_pattern(record.data(), record.size(), input.byte());
    model.record.assign(record.bytes().begin(), record.bytes().end());
    while (!input.used_up()) {
        fuzz_operation(input, record);
        FUZZ_CHECK(p_current_tlv_addr == model.position && current_tlv_size == model.size);
        for (unsigned list = 0; list < 3; ++list)
            FUZZ_CHECK(is_open(list) == model.open[list]);
        FUZZ_CHECK(equal(record.bytes(), model.record));
    }
    FUZZ_CHECK(equal(Bytes(vell_mrib_buf, buffer_size), Bytes(model.buffer, buffer_size)));
}
