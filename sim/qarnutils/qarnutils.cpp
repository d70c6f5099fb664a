// libqarnutils: interface indexes, their names, and IPv6 addresses, for C callers.
#include "sim/base/c_boundary.h"
#include "sim/base/if_name.h"

#include <qarnutils.h>
#include <qarnutils_sim.h>

#include <cstring>

static_assert(sim::if_type_ethernet == IF_INDEX_TYPE_PHY_ETH &&
              sim::if_type_kernel == QARNUTILS_SIM_TYPE_KERNEL &&
              sim::if_type_svi == QARNUTILS_SIM_TYPE_SVI &&
              sim::if_type_port_channel == QARNUTILS_SIM_TYPE_PORT_CHANNEL);

namespace {

enum status : std::uint32_t { ok = 0, no_type = 1, wrong_type = 2 };

} // namespace

uint32_t if_index_get_type(uint32_t if_index, uint8_t *type) {
    const auto found = sim::if_type(if_index);
    if (!found)
        return no_type;
    *type = *found;
    return ok;
}

uint32_t if_index_phy_eth_get_fields(uint32_t if_index, uint8_t *slot, uint8_t *second,
                                     uint32_t *third) {
    const auto found = sim::ethernet_port_of(if_index);
    if (!found)
        return sim::if_type(if_index) ? wrong_type : no_type;
    *slot = found->slot;
    *second = found->port;
    *third = found->lane;
    return ok;
}

void ipv6_addr_copy(const void *from, void *to) {
    constexpr std::size_t address_size = 16;
    std::memcpy(to, from, address_size);
}

int qarnutils_sim_if_index(const char *name, uint32_t *if_index) {
    const auto found = name == nullptr ? std::nullopt : sim::parse_if_name(name);
    if (!found || if_index == nullptr)
        return -1;
    *if_index = *found;
    return 0;
}

int qarnutils_sim_if_name(uint32_t if_index, char *name, size_t size) {
    if (!sim::if_type(if_index) || name == nullptr)
        return -1;
    return sim::guarded(-1, [=] {
        const std::string made = sim::if_name(if_index);
        if (made.size() >= size)
            return -1;
        std::memcpy(name, made.c_str(), made.size() + 1);
        return 0;
    });
}
