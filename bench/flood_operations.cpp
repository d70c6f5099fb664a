// Flood updates: of many VLANs with few interfaces and of few VLANs with many, unchanged, changed
// and out of order.
#include "operation.h"
#include "versions/versions.h"

#include <algorithm>
#include <cstddef>
#include <memory>
#include <random>

namespace bench {

namespace {

enum change { unchanged, tenth_changed, shuffled };
constexpr const char *change_names[] = {"unchanged", "10 % changed", "shuffled"};
constexpr double targets[] = {0.12, 0.15, 0}; // of the plain version, for 64 interfaces

using bytes = std::vector<std::uint8_t>;

// VLANs as they were and as they are, and what they are restored from.
struct batch {
    std::uint16_t vlans;
    bytes fresh_was, fresh_is;
    bytes was, is;
};

// A new message has every tenth interface exchanged for another, unless nothing changes. Shuffled
// messages have the same changes, and the entries of both are out of order.
bytes message_of(std::uint16_t vlans, std::uint32_t interfaces, bool is_new, change what) {
    std::mt19937 random(7);
    const std::size_t record_size = VELL_L2_RECORD_BYTES + interfaces * sizeof(vell_l2_oif);
    bytes message(sizeof(vell_l2_message) + vlans * record_size);
    for (std::uint32_t vlan = 0; vlan < vlans; ++vlan) {
        auto *const record = reinterpret_cast<vell_l2_vlan_record *>(
            &message[sizeof(vell_l2_message) + vlan * record_size]);
        auto *const oifs = reinterpret_cast<vell_l2_oif *>(record + 1);
        record->vlan = vlan + 1;
        record->count = interfaces;
        for (std::uint32_t i = 0; i < interfaces; ++i) {
            const bool other = is_new && what != unchanged && i % 10 == 0;
            oifs[i].kind = vell_l2_oif_if_index;
            oifs[i].value.if_index = 0x1a000000 + i * 0x800 + (other ? 1 : 0);
        }
        if (what == shuffled)
            std::shuffle(oifs, oifs + interfaces, random);
    }
    return message;
}

operation flood_update(std::uint16_t vlans, std::uint32_t interfaces, change what) {
    const auto messages = std::make_shared<batch>();
    messages->vlans = vlans;
    messages->fresh_was = message_of(vlans, interfaces, false, what);
    messages->fresh_is = message_of(vlans, interfaces, true, what);
    // Shuffled messages are sorted by the first run.
    const unsigned batch_size =
        what == shuffled ? 1 : std::max(1600 / (vlans * interfaces), std::uint32_t{1});
    operation op = {.name = std::string("flood update, ") + change_names[what] + ", " +
                            std::to_string(vlans) + (vlans == 1 ? " VLAN" : " VLANs"),
                    .size = interfaces,
                    .unit = "interface",
                    .batch = batch_size,
                    .restore = [messages] {
                        messages->was = messages->fresh_was;
                        messages->is = messages->fresh_is;
                    }};
    // How little sorting can cost is another question.
    const versions calls(vell_send_l2_mc_update_flood_ltl,
                         what == shuffled ? nullptr : floor_send_l2_mc_update_flood_ltl,
                         plain_send_l2_mc_update_flood_ltl);
    return with(std::move(op), calls, [messages](auto &send, unsigned) {
        return send(messages->was.data(), messages->was.size(), messages->vlans,
                    messages->is.data(), messages->is.size(), messages->vlans, messages.get());
    });
}

} // namespace

void add_flood_updates(operations &table) {
    constexpr std::uint16_t many_vlans = 100, few_vlans = 2;
    for (const change what : {unchanged, tenth_changed, shuffled}) {
        table.push_back(flood_update(many_vlans, 8, what));
        for (const bool open : {true, false}) {
            operation op = flood_update(many_vlans, 64, what);
            op.target = targets[what];
            op.history_open = open;
            op.guarded = open && what != shuffled;
            table.push_back(std::move(op));
        }
        table.push_back(flood_update(few_vlans, 4000, what));
        for (const std::uint32_t interfaces : {1U, 8U, 64U, 512U, 4000U, 32768U}) {
            operation op = flood_update(1, interfaces, what);
            op.on_curve = true;
            table.push_back(std::move(op));
        }
    }
}

} // namespace bench
