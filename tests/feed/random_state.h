// Tables for tests: many small ones, which have much in common.
#pragma once

#include "feed/interfaces.h"
#include "feed/state.h"
#include "sim/wire/protocol.h"

#include <algorithm>
#include <random>

// The same tables for the same seed.
inline feed::state random_state(unsigned seed) {
    std::mt19937 random(seed);
    const auto up_to = [&](std::uint32_t most) {
        return static_cast<std::uint32_t>(random() % (most + 1));
    };
    const auto port = [&] {
        return feed::index_in_name("Eth" + std::to_string(up_to(2)) + "/" +
                                   std::to_string(1 + up_to(5)))
            .value();
    };
    const auto ports = [&](std::uint32_t most) {
        std::vector<std::uint32_t> made;
        for (std::uint32_t i = up_to(most); i > 0; --i) {
            made.push_back(port());
        }
        std::ranges::sort(made);
        made.erase(std::unique(made.begin(), made.end()), made.end());
        return made;
    };
    feed::state made;
    for (std::uint32_t i = 4 + up_to(12); i > 0; --i) {
        const bool any_source = up_to(3) == 0;
        const feed::route_key key = {253, any_source ? 0 : 0x0a000001 + up_to(3),
                                     static_cast<std::uint8_t>(any_source ? 0 : 32),
                                     0xef010100 + up_to(5), 32};
        feed::route row{port(), any_source ? feed::route_flag_wildcard : 0, ports(4), ""};
        row.flags |= row.oifs.empty() ? feed::route_flag_drop : 0;
        made.routes[key] = row;
    }
    for (std::uint32_t i = up_to(8); i > 0; --i) {
        feed::group_key key = {static_cast<std::uint16_t>(10 * (1 + up_to(2))),
                               sim::ipv4_address(0xef020200 + up_to(4)),
                               {}};
        if (up_to(1) == 0) {
            key.source = sim::ipv4_address(0x0a000001 + up_to(2));
        }
        feed::group row{feed::vlan_interface(key.vlan), up_to(2) == 0, {}};
        for (const std::uint32_t if_index : ports(4)) {
            row.ports.push_back({if_index, up_to(3) == 0 ? VELL_SIM_PORT_SVI : 0u});
        }
        made.groups[key] = row;
        made.ltls[{key.vlan, static_cast<std::uint32_t>(1 + up_to(9))}] = {ports(5), 0};
    }
    for (std::uint32_t i = up_to(4); i > 0; --i) {
        feed::flood_set row{ports(6), 0};
        for (const std::uint32_t if_index : row.interfaces) {
            row.line_cards |= feed::line_card_bit(if_index);
        }
        if (!row.interfaces.empty()) {
            made.floods[{static_cast<std::uint16_t>(10 * (1 + up_to(4)))}] = row;
        }
    }
    return made;
}
