// The three lists of a route, for tests of what they have in common.
#pragma once

#include "library_test.h"
#include "route_buffer.h"

#include <algorithm>
#include <iterator>
#include <string>
#include <utility>

struct ListKind {
    const char *name;
    std::uint16_t tlv_type;
    std::size_t entry_size;
    vell_mrib_list **cursor;
    void (*begin)();
    // Adds an entry that differs from those of other numbers, and the bytes it should have.
    void (*add)(std::uint32_t number);
    bytes (*entry)(std::uint32_t number);
    void (*end)(vell_mrib_route *);
    void (*add_all)(vell_mrib_route *, const void *entries, std::uint32_t count);
    // The most entries whose TLV length fits 16 bits, that length, and the length that one more
    // leaves of it.
    std::uint32_t most_in_a_tlv;
    std::uint16_t length_of_most;
    std::uint16_t length_of_one_more;
    std::uint32_t most_in_the_buffer;
};

inline constexpr std::uint8_t glt_data[36] = {0x91, 0x92, 0x93, 0x94, 0x95, 0x96, 0x97, 0x98, 0x99,
                                              0x9a, 0x9b, 0x9c, 0x9d, 0x9e, 0x9f, 0xa0, 0xa1, 0xa2,
                                              0xa3, 0xa4, 0xa5, 0xa6, 0xa7, 0xa8, 0xa9, 0xaa, 0xab,
                                              0xac, 0xad, 0xae, 0xaf, 0xb0, 0xb1, 0xb2, 0xb3, 0xb4};

inline const ListKind list_kinds[] = {
    {
        .name = "oif",
        .tlv_type = 0,
        .entry_size = 8,
        .cursor = &vell_oifs,
        .begin = vell_mrib_add_oifs_begin,
        .add = [](std::uint32_t number) { vell_mrib_add_vprime_oif(0x14131200 + number); },
        .entry =
            [](std::uint32_t number) {
                return word(0x14131200 + number) + bytes{1, 0, 0, 0};
            },
        .end = vell_mrib_add_oifs_end,
        .add_all =
            [](vell_mrib_route *route, const void *entries, std::uint32_t count) {
                vell_mrib_test_add_oiflist(route, static_cast<const vell_oif_entry *>(entries),
                                           count);
            },
        .most_in_a_tlv = 8191,
        .length_of_most = 65532,
        .length_of_one_more = 4,
        .most_in_the_buffer = 15103,
    },
    {
        .name = "mti",
        .tlv_type = 1,
        .entry_size = 16,
        .cursor = &mti_oifs,
        .begin = vell_mrib_add_mti_encap_begin,
        .add =
            [](std::uint32_t number) {
                vell_mrib_add_mti_encap(0x14131200 + number, 0x24232221, 0x34333231, 0x44434241);
            },
        .entry =
            [](std::uint32_t number) {
                return word(0x14131200 + number) + bytes{0x21, 0x22, 0x23, 0x24, 0x31, 0x32,
                                                         0x33, 0x34, 0x41, 0x42, 0x43, 0x44};
            },
        .end = vell_mrib_add_mti_encap_end,
        .add_all =
            [](vell_mrib_route *route, const void *entries, std::uint32_t count) {
                vell_mrib_test_add_mti_oif(route, static_cast<const vell_mti_entry *>(entries),
                                           count);
            },
        .most_in_a_tlv = 4095,
        .length_of_most = 65524,
        .length_of_one_more = 4,
        .most_in_the_buffer = 7551,
    },
    {
        .name = "glt",
        .tlv_type = 2,
        .entry_size = 60,
        .cursor = &glt_oifs,
        .begin = vell_mrib_add_glt_encap_begin,
        .add =
            [](std::uint32_t number) {
                vell_mrib_add_glt_encap(0x14131200 + number, 0x24232221, 0x34333231, 0x44434241,
                                        glt_data, 36, 0x64636261);
            },
        .entry =
            [](std::uint32_t number) {
                return word(0x14131200 + number) + bytes{0x21, 0x22, 0x23, 0x24, 0x31, 0x32,
                                                         0x33, 0x34, 0x41, 0x42, 0x43, 0x44} +
                       bytes(std::begin(glt_data), std::end(glt_data)) +
                       bytes{0x24, 0x00, 0x00, 0x00, 0x61, 0x62, 0x63, 0x64};
            },
        .end = vell_mrib_add_glt_encap_end,
        .add_all =
            [](vell_mrib_route *route, const void *entries, std::uint32_t count) {
                vell_mrib_test_add_glt_oif(route, static_cast<const vell_glt_entry *>(entries),
                                           count);
            },
        .most_in_a_tlv = 1092,
        .length_of_most = 65524,
        .length_of_one_more = 48,
        .most_in_the_buffer = 2013,
    },
};

// A route, and the scratch buffer with a pattern in every byte.
class ScratchTest : public LibraryTest {
protected:
    ScratchTest() : before_(pattern(sizeof vell_mrib_buf)) {
        std::copy(before_.begin(), before_.end(), std::begin(vell_mrib_buf));
    }

    static bytes scratch() { return {std::begin(vell_mrib_buf), std::end(vell_mrib_buf)}; }

    vell_mrib_route *route() { return buffer_.route(); }

    const void *array() { return reinterpret_cast<const std::uint8_t *>(buffer_.route()) + 40; }

    // The one append of a list at the start of the scratch buffer.
    fake::AppendTlv appended(std::uint16_t type, const bytes &list, const TlvCursor &cursor = {}) {
        return appended_cut(type, static_cast<std::uint16_t>(list.size()), list, cursor);
    }

    // The same of a list that is longer than the TLV's length.
    fake::AppendTlv appended_cut(std::uint16_t type, std::uint16_t length, const bytes &list,
                                 const TlvCursor &cursor = {}) {
        return {.array = array(),
                .position = &p_current_tlv_addr,
                .size = &current_tlv_size,
                .position_was = cursor.address,
                .size_was = cursor.size,
                .capacity = 120832,
                .type = type,
                .length = length,
                .value = vell_mrib_buf,
                .raw = part(list, 0, length),
                .reserved = 0};
    }

    const bytes before_;
    RouteBuffer buffer_{0};
};

// The same test for each list.
class ListTest : public ScratchTest, public testing::WithParamInterface<ListKind> {
protected:
    static const ListKind &list() { return GetParam(); }

    static vell_mrib_list *start_of_scratch() {
        return reinterpret_cast<vell_mrib_list *>(vell_mrib_buf);
    }

    // The list of entries number 0 to `count` - 1, as it should lie in memory.
    static bytes list_of(std::uint32_t count) {
        bytes raw = word(count);
        for (std::uint32_t i = 0; i < count; ++i)
            raw = std::move(raw) + list().entry(i);
        return raw;
    }

    static void add(std::uint32_t count) {
        for (std::uint32_t i = 0; i < count; ++i)
            list().add(i);
    }
};

inline std::string list_name(const testing::TestParamInfo<ListKind> &info) {
    return info.param.name;
}
