// Interface indexes, taken apart.
#include "sim/qarnutils/if_layout.h"

namespace {

enum status : std::uint32_t { ok = 0, no_type = 1, wrong_type = 2 };

} // namespace

uint32_t if_index_get_type(uint32_t if_index, uint8_t *type) {
    const sim::if_parts parts = sim::take_apart(if_index);
    if (sim::find_kind(parts) == nullptr)
        return no_type;
    *type = parts.type;
    return ok;
}

uint32_t if_index_phy_eth_get_fields(uint32_t if_index, uint8_t *slot, uint8_t *port,
                                     uint32_t *third) {
    const sim::if_parts parts = sim::take_apart(if_index);
    if (sim::find_kind(parts) == nullptr)
        return no_type;
    if (parts.type != IF_INDEX_TYPE_PHY_ETH)
        return wrong_type;
    const sim::eth_fields fields = sim::to_eth_fields(parts.number);
    *slot = fields.slot;
    *port = fields.port;
    *third = fields.lane;
    return ok;
}
