#include "flood_batch.h"

bytes message_of(const Vlans &vlans) {
    bytes message = hex("e1e2e3e4e5e6e7e8");
    for (const auto &vlan : vlans) {
        auto record = pattern(80 + 32 * vlan.oifs.size());
        record[0] = 99; // no type that has such records
        record = patched(record, 24, word(vlan.id));
        record = patched(record, 70, word(static_cast<std::uint32_t>(vlan.oifs.size())));
        message = std::move(message) + patched(std::move(record), 74, bytes_of(vlan.oifs));
    }
    return message;
}

std::uint32_t FloodRequestTest::send(std::uint8_t *was, std::uint16_t old_count, std::uint8_t *is,
                                     std::uint16_t new_count) {
    return vell_send_l2_mc_update_flood_ltl(was, 0xffffffff, old_count, is, 0, new_count,
                                            &context_);
}

std::uint32_t FloodRequestTest::send(const Vlans &was, const Vlans &is) {
    was_ = message_of(was);
    is_ = message_of(is);
    return send(was_.data(), static_cast<std::uint16_t>(was.size()), is_.data(),
                static_cast<std::uint16_t>(is.size()));
}

fake::Calls FloodRequestTest::failed(int line, const std::string &format, const std::string &text) {
    return error_logged("vell_send_l2_mc_update_flood_ltl", line, format, text);
}

fake::Calls FloodRequestTest::counted(std::uint32_t vlans) {
    return trace_logged("vell_send_l2_mc_update_flood_ltl", 1304, "Num of msgs %d\n",
                        "Num of msgs " + signed_text(vlans) + "\n");
}

fake::Calls FloodRequestTest::delta_begun(std::uint32_t vlan) {
    return trace_logged("vell_build_nerb_flood_ltl_pyld", 1244, "Delta for vlan %d\n",
                        "Delta for vlan " + signed_text(vlan) + "\n");
}

fake::Calls FloodRequestTest::nothing_there() {
    return trace_logged("vell_find_oiflist_delta", 1109,
                        "Old and new OIF lists both NULL, return SUCCESS\n",
                        "Old and new OIF lists both NULL, return SUCCESS\n");
}

fake::FloodUpdate FloodRequestTest::update_sent(const bytes &payload) const {
    return {.queue = client.queue, .payload = payload, .context = &context_};
}
