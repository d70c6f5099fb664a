// The interface and address helpers of the fake platform.
#include "fake/platform.h"

#include <qarnutils.h>

#include <cstring>

extern "C" {

uint32_t if_index_get_type(uint32_t if_index, uint8_t *type) {
    const fake::InPlatform inside;
    auto &platform = fake::platform();
    platform.calls.push_back(fake::IfIndexType{if_index});
    const auto output = platform.interfaces.type(if_index);
    const auto result = platform.if_index_type.play();
    if (result == 0 || platform.failures_write_outputs.value_or(true))
        *type = output;
    return result;
}

// The port and the third field are nothing that the library looks at.
uint32_t if_index_phy_eth_get_fields(uint32_t if_index, uint8_t *slot, uint8_t *port,
                                     uint32_t *third) {
    const fake::InPlatform inside;
    auto &platform = fake::platform();
    platform.calls.push_back(fake::IfIndexFields{if_index});
    const auto line_card = platform.interfaces.line_card(if_index);
    const auto result = platform.if_index_fields.play();
    if (result == 0 || platform.failures_write_outputs.value_or(true)) {
        *slot = line_card;
        *port = 0x1f;
        *third = 0x1d1c1b1a;
    }
    return result;
}

void ipv6_addr_copy(const void *from, void *to) {
    const fake::InPlatform inside;
    auto &platform = fake::platform();
    platform.calls.push_back(fake::AddressCopy{.from = from, .to = to});
    std::memcpy(to, from, 16);
    platform.ipv6_addr_copy.run();
}
}
