#include "mrib/route_tlvs.h"

#include <tlv.h>
#include <vell.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

std::uint8_t vell_mrib_buf[VELL_MRIB_BUF_SIZE];
vell_oif_list *vell_oifs;
vell_mti_list *mti_oifs;
vell_glt_list *glt_oifs;
std::uint32_t p_current_tlv_addr;
std::uint32_t current_tlv_size;

static_assert(sizeof(vell_mrib_list) == 4 && alignof(vell_mrib_list) == 1);
static_assert(sizeof(vell_oif_entry) == 8 && alignof(vell_oif_entry) == 1 &&
              offsetof(vell_oif_entry, kind) == 4);
static_assert(sizeof(vell_mti_entry) == 16 && alignof(vell_mti_entry) == 1);
static_assert(sizeof(vell_glt_entry) == 60 && alignof(vell_glt_entry) == 1 &&
              offsetof(vell_glt_entry, data) == 16 && offsetof(vell_glt_entry, data_length) == 52 &&
              offsetof(vell_glt_entry, last_word) == 56);

namespace vell {

namespace {

struct list_kind {
    vell_mrib_list **cursor;
    std::uint32_t entry_size;
};

// By TLV type.
constexpr list_kind list_kinds[list_types] = {
    {&vell_oifs, sizeof(vell_oif_entry)},
    {&mti_oifs, sizeof(vell_mti_entry)},
    {&glt_oifs, sizeof(vell_glt_entry)},
};

vell_mrib_list *scratch_list() {
    return reinterpret_cast<vell_mrib_list *>(vell_mrib_buf);
}

void begin_list(list_type type) {
    *list_kinds[type].cursor = scratch_list();
    scratch_list()->count = 0;
}

// Where the next entry goes, or null while the list is closed. Bytes, so that nothing is concluded
// from an entry's type about how much may be written there.
std::uint8_t *next_entry(list_type type) {
    vell_mrib_list *const list = *list_kinds[type].cursor;
    if (list == nullptr)
        return nullptr;
    return reinterpret_cast<std::uint8_t *>(list + 1) +
           std::size_t{list->count} * list_kinds[type].entry_size;
}

void count_entry(list_type type) {
    ++(*list_kinds[type].cursor)->count;
}

void append_list(list_type type, vell_mrib_route *route, const vell_mrib_list *list) {
    const auto length =
        static_cast<std::uint16_t>(sizeof(*list) + list->count * list_kinds[type].entry_size);
    tlv_aligned_array_append_tlv(tlv_array(route), &p_current_tlv_addr, &current_tlv_size,
                                 VELL_MRIB_BUF_SIZE, type, length, list, 0);
}

void end_list(list_type type, vell_mrib_route *route) {
    vell_mrib_list *&list = *list_kinds[type].cursor;
    if (list == nullptr || list->count == 0)
        return;
    append_list(type, route, list);
    list = nullptr;
}

void append_whole_list(list_type type, vell_mrib_route *route, const void *entries,
                       std::uint32_t count) {
    if (entries == nullptr || count == 0)
        return;
    // The entries may have been laid out in the scratch buffer itself.
    std::memmove(scratch_list() + 1, entries, std::size_t{count} * list_kinds[type].entry_size);
    scratch_list()->count = count;
    append_list(type, route, scratch_list());
}

void add_oif(std::uint32_t if_index, vell_oif_kind kind) {
    if (std::uint8_t *const at = next_entry(oif_list)) {
        const vell_oif_entry entry = {if_index, kind};
        std::memcpy(at, &entry, sizeof(entry));
        count_entry(oif_list);
    }
}

} // namespace

} // namespace vell

using namespace vell;

void vell_mrib_add_oifs_begin(void) {
    begin_list(oif_list);
}
void vell_mrib_add_mti_encap_begin(void) {
    begin_list(mti_list);
}
void vell_mrib_add_glt_encap_begin(void) {
    begin_list(glt_list);
}

#define DEFINE_OIF_ADDER(value, name)                                                              \
    void vell_mrib_add_##name##_oif(std::uint32_t if_index) {                                      \
        add_oif(if_index, vell_oif_kind_##name);                                                   \
    }
VELL_OIF_KIND_TABLE(DEFINE_OIF_ADDER)
#undef DEFINE_OIF_ADDER

void vell_mrib_add_mti_encap(std::uint32_t word0, std::uint32_t word1, std::uint32_t word2,
                             std::uint32_t word3) {
    if (std::uint8_t *const at = next_entry(mti_list)) {
        const vell_mti_entry entry = {{word0, word1, word2, word3}};
        std::memcpy(at, &entry, sizeof(entry));
        count_entry(mti_list);
    }
}

void vell_mrib_add_glt_encap(std::uint32_t word0, std::uint32_t word1, std::uint32_t word2,
                             std::uint32_t word3, const void *data, std::uint32_t data_length,
                             std::uint32_t last_word) {
    std::uint8_t *const at = next_entry(glt_list);
    if (at == nullptr)
        return;
    const std::uint32_t words[] = {word0, word1, word2, word3};
    const std::uint32_t behind_data[] = {data_length, last_word};
    static_assert(offsetof(vell_glt_entry, data_length) + sizeof(behind_data) ==
                  sizeof(vell_glt_entry));
    std::memcpy(at, words, sizeof(words));
    std::memcpy(at + offsetof(vell_glt_entry, data_length), behind_data, sizeof(behind_data));
    // Last, and as many as asked: what does not fit the data field goes over the words just stored.
    if (data_length != 0)
        std::memmove(at + offsetof(vell_glt_entry, data), data, data_length);
    count_entry(glt_list);
}

void vell_mrib_add_oifs_end(vell_mrib_route *route) {
    end_list(oif_list, route);
}
void vell_mrib_add_mti_encap_end(vell_mrib_route *route) {
    end_list(mti_list, route);
}
void vell_mrib_add_glt_encap_end(vell_mrib_route *route) {
    end_list(glt_list, route);
}

void vell_mrib_test_add_oiflist(vell_mrib_route *route, const vell_oif_entry *entries,
                                std::uint32_t count) {
    append_whole_list(oif_list, route, entries, count);
}

void vell_mrib_test_add_mti_oif(vell_mrib_route *route, const vell_mti_entry *entries,
                                std::uint32_t count) {
    append_whole_list(mti_list, route, entries, count);
}

void vell_mrib_test_add_glt_oif(vell_mrib_route *route, const vell_glt_entry *entries,
                                std::uint32_t count) {
    append_whole_list(glt_list, route, entries, count);
}

std::uint32_t vell_mrib_get_route_size(const vell_mrib_route *route) {
    return route_size(route);
}

std::uint32_t vell_mrib_get_max_route_size(std::uint32_t n_oif, std::uint32_t n_mti,
                                           std::uint32_t n_glt) {
    return (n_oif + 2 * n_mti + 7) * 8 + 60 * n_glt;
}
