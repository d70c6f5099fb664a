#include <vell.h>

#include <cstddef>
#include <cstdint>

static_assert(sizeof(vell_mrib_route) == 40 && alignof(vell_mrib_route) == 1);
static_assert(offsetof(vell_mrib_route, opcode) == 0 && offsetof(vell_mrib_route, flags) == 4);
static_assert(offsetof(vell_mrib_route, source_length) == 12 &&
              offsetof(vell_mrib_route, group_length) == 13);
static_assert(offsetof(vell_mrib_route, epoch) == 16 && offsetof(vell_mrib_route, source) == 20);
static_assert(offsetof(vell_mrib_route, group) == 24 && offsetof(vell_mrib_route, rpf_if) == 28);
static_assert(offsetof(vell_mrib_route, df_ordinal) == 32 &&
              offsetof(vell_mrib_route, table_id) == 36);

#define DEFINE_SETTER(bit, setter)                                                                 \
    void vell_mrib_set_flags_##setter(vell_mrib_route *route) {                                    \
        route->flags |= vell_mrib_flag_##setter;                                                   \
    }
#define DEFINE_SETTER_AND_TESTER(bit, setter, tester)                                              \
    DEFINE_SETTER(bit, setter)                                                                     \
    int vell_mrib_is_flags_##tester(const vell_mrib_route *route) {                                \
        return (route->flags & vell_mrib_flag_##setter) != 0;                                      \
    }
VELL_MRIB_FLAG_TABLE(DEFINE_SETTER_AND_TESTER, DEFINE_SETTER)
#undef DEFINE_SETTER_AND_TESTER
#undef DEFINE_SETTER

void vell_mrib_set_flags(vell_mrib_route *route, std::uint64_t flags) {
    route->flags = flags;
}

void vell_mrib_set_flag_init(vell_mrib_route *route) {
    route->flags = 0;
}

void vell_mrib_set_opcode(vell_mrib_route *route, std::uint32_t opcode) {
    route->opcode = static_cast<std::uint8_t>(opcode);
}

void vell_mrib_set_source(vell_mrib_route *route, std::uint32_t address,
                          std::uint8_t prefix_length) {
    route->source = address;
    route->source_length = prefix_length;
}

void vell_mrib_set_group(vell_mrib_route *route, std::uint32_t address,
                         std::uint8_t prefix_length) {
    route->group = address;
    route->group_length = prefix_length;
}

void vell_mrib_set_epoch(vell_mrib_route *route, std::uint32_t epoch) {
    route->epoch = epoch;
}

void vell_mrib_set_rpfif(vell_mrib_route *route, std::uint32_t if_index) {
    route->rpf_if = if_index;
}

std::uint32_t vell_mrib_get_rpfif(const vell_mrib_route *route) {
    return route->rpf_if;
}

void vell_mrib_set_df_ordinal(vell_mrib_route *route, std::uint32_t ordinal) {
    route->df_ordinal = static_cast<std::uint8_t>(ordinal);
}

void vell_mrib_set_table_id(vell_mrib_route *route, std::uint32_t table_id) {
    route->table_id = table_id;
}
