// Batches of VLANs for tests of the flood update request.
#pragma once

#include "ltl_test.h"

struct Vlan {
    std::uint32_t id = 0;
    Oifs oifs = {};
};
using Vlans = std::vector<Vlan>;

// A layer-2 message of address-pair records, all bytes that are not looked at different ones.
bytes message_of(const Vlans &vlans);

class FloodRequestTest : public LtlTest {
protected:
    // vell_send_l2_mc_update_flood_ltl, with lengths that have nothing to do with the messages.
    std::uint32_t send(std::uint8_t *was, std::uint16_t old_count, std::uint8_t *is,
                       std::uint16_t new_count);

    // The same with the messages of two batches, whose counts are the messages'. Afterwards they
    // are in `was_` and `is_`.
    std::uint32_t send(const Vlans &was, const Vlans &is);

    static fake::Calls failed(int line, const std::string &format, const std::string &text);
    static fake::Calls counted(std::uint32_t vlans);
    static fake::Calls delta_begun(std::uint32_t vlan);
    static fake::Calls nothing_there();
    fake::FloodUpdate update_sent(const bytes &payload) const;

    bytes was_;
    bytes is_;
    int context_ = 0;
};
