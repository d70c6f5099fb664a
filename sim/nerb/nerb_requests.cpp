// Requests to the LTL manager. Nothing of the caller's is kept: a request is copied into one
// message and sent.
#include "sim/base/c_boundary.h"
#include "sim/wire/nerb_messages.h"
#include "sim/wire/protocol.h"

#include <kyt.h>
#include <nerb.h>
#include <nerb_sim.h>

#include <cstddef>
#include <cstring>
#include <limits>
#include <new>
#include <vector>

namespace sim {

namespace {

constexpr std::uint32_t send_options[KYT_SEND_OPTION_WORDS] = {1};

using message = std::vector<std::byte>;

// The caller's records may lie at any address.
template <class Value>
Value read(const std::byte *from) {
    Value value;
    std::memcpy(&value, from, sizeof value);
    return value;
}

void append(message &to, const void *from, std::size_t size) {
    const auto *bytes = static_cast<const std::byte *>(from);
    to.insert(to.end(), bytes, bytes + size);
}

void append_word(message &to, std::uint32_t word) {
    append(to, &word, sizeof word);
}

// A number of bytes, if a process can hold them at all.
std::size_t checked_size(std::uint64_t size) {
    if (size > static_cast<std::uint64_t>(std::numeric_limits<std::ptrdiff_t>::max()))
        throw std::bad_alloc();
    return static_cast<std::size_t>(size);
}

nerb_sim_send send(std::uint32_t queue, std::uint32_t opcode, const message &sent) {
    kyt_msg_ref reference;
    if (kyt_send(queue, VELL_SIM_NODE, NERB_SIM_SAP, opcode, sent.data(),
                 static_cast<std::uint32_t>(sent.size()), &reference, 0, send_options) == -1)
        return NERB_SIM_NOT_SENT;
    kyt_drop(queue, &reference);
    return NERB_SIM_SENT;
}

// The payload of an allocation or modification: a u16 count and, directly after it, the entries.
struct ltl_entry {
    static constexpr std::size_t size = 24;
    static constexpr std::size_t interface_count_at = 12;
    static constexpr std::size_t interfaces_at = 16;

    const std::byte *at;

    std::uint32_t key(std::size_t word) const {
        return read<std::uint32_t>(at + word * sizeof(std::uint32_t));
    }
    std::uint16_t interface_count() const { return read<std::uint16_t>(at + interface_count_at); }
    const void *interfaces() const { return read<const void *>(at + interfaces_at); }
};

nerb_sim_send append_ltl_entry(message &to, const ltl_entry &entry) {
    const std::uint16_t count = entry.interface_count();
    const void *interfaces = entry.interfaces();
    if (interfaces == nullptr && count != 0)
        return NERB_SIM_NULL_POINTER;
    append_word(to, entry.key(0));
    append_word(to, entry.key(1));
    append_word(to, count);
    append(to, interfaces, count * sizeof(std::uint32_t));
    return NERB_SIM_SENT;
}

nerb_sim_send send_ltl_entries(std::uint32_t queue, std::uint32_t opcode, const void *payload,
                               std::uint32_t cookie) {
    if (payload == nullptr)
        return NERB_SIM_NULL_POINTER;
    const auto *bytes = static_cast<const std::byte *>(payload);
    const auto count = read<std::uint16_t>(bytes);
    message sent;
    append_word(sent, cookie);
    append_word(sent, count);
    for (std::size_t i = 0; i < count; ++i)
        if (const nerb_sim_send wrong =
                append_ltl_entry(sent, {bytes + sizeof count + i * ltl_entry::size});
            wrong != NERB_SIM_SENT)
            return wrong;
    return send(queue, opcode, sent);
}

nerb_sim_send send_release(std::uint32_t queue, std::uint32_t count, const void *entries,
                           std::uint32_t cookie) {
    constexpr std::uint64_t entry_size = 12;
    if (entries == nullptr)
        return NERB_SIM_NULL_POINTER;
    message sent;
    append_word(sent, cookie);
    append_word(sent, count);
    append(sent, entries, checked_size(count * entry_size));
    return send(queue, NERB_SIM_OPCODE_RELEASE, sent);
}

// A flood update's payload does not say its length, but its counts do.
std::size_t flood_payload_size(const std::byte *payload) {
    constexpr std::uint64_t vlan_size = 24;
    constexpr std::size_t update_count_at = 20;
    constexpr std::uint64_t update_size = 8;
    const auto vlans = read<std::uint32_t>(payload);
    std::size_t size = sizeof vlans;
    for (std::uint32_t i = 0; i < vlans; ++i) {
        const auto updates = read<std::uint32_t>(payload + size + update_count_at);
        size = checked_size(size + vlan_size + updates * update_size);
    }
    return size;
}

nerb_sim_send send_flood_update(std::uint32_t queue, const void *payload, void *context) {
    if (payload == nullptr)
        return NERB_SIM_NULL_POINTER;
    message sent;
    append(sent, &context, sizeof context);
    append(sent, payload, flood_payload_size(static_cast<const std::byte *>(payload)));
    return send(queue, NERB_SIM_OPCODE_FLOOD_UPDATE, sent);
}

static_assert(sizeof(void *) == sizeof(std::uint32_t), "pointers travel as words");

} // namespace

} // namespace sim

uint32_t nerb_send_batched_mcast_alloc_req(uint32_t queue, const void *payload, uint32_t cookie) {
    return sim::guarded(NERB_SIM_OUT_OF_MEMORY, [=] {
        return sim::send_ltl_entries(queue, NERB_SIM_OPCODE_ALLOCATION, payload, cookie);
    });
}

uint32_t nerb_send_batched_mcast_mod_req(uint32_t queue, const void *payload, uint32_t cookie) {
    return sim::guarded(NERB_SIM_OUT_OF_MEMORY, [=] {
        return sim::send_ltl_entries(queue, NERB_SIM_OPCODE_MODIFICATION, payload, cookie);
    });
}

uint32_t nerb_send_batched_mcast_dealloc_msg(uint32_t queue, uint32_t count, const void *entries,
                                             uint32_t cookie) {
    return sim::guarded(NERB_SIM_OUT_OF_MEMORY,
                        [=] { return sim::send_release(queue, count, entries, cookie); });
}

uint32_t nerb_send_flood_ltl_update_req(uint32_t queue, const void *payload, void *context) {
    return sim::guarded(NERB_SIM_OUT_OF_MEMORY,
                        [=] { return sim::send_flood_update(queue, payload, context); });
}
