#include "sim/switch/service.h"

#include "sim/base/address.h"
#include "sim/switch/byte_reader.h"
#include "sim/switch/request.h"
#include "sim/wire/nerb_messages.h"
#include "sim/wire/protocol.h"

#include <algorithm>
#include <cstddef>
#include <fmt/format.h>
#include <iterator>
#include <utility>

namespace sim {

namespace {

// What word 1 of the send options has to be; of some requests it depends on what they say.
enum class word_1 : std::uint32_t { is_0, is_1, depends };

struct request_kind {
    std::uint32_t sap;
    std::uint32_t opcode;
    word_1 option;
    std::string_view name;
    void (*handle)(request &asked);
};

constexpr request_kind request_kinds[] = {
    {VELL_SIM_SAP_REGISTRATION, VELL_SIM_OPCODE_REGISTER, word_1::is_0, "register request",
     handle_register},
    {VELL_SIM_SAP_REGISTRATION, VELL_SIM_OPCODE_DEREGISTER, word_1::is_0, "deregister request",
     handle_deregister},
    {VELL_SIM_SAP_ROUTES, VELL_SIM_OPCODE_ROUTES, word_1::depends, "route update",
     handle_route_message},
    {VELL_SIM_SAP_ROUTES, VELL_SIM_OPCODE_IPV6_NOTICE, word_1::is_1, "IPv6 route notice",
     handle_ipv6_notice},
    {VELL_SIM_SAP_L2, VELL_SIM_OPCODE_L2, word_1::is_1, "layer-2 update", handle_l2_message},
    {VELL_SIM_SAP_L2, VELL_SIM_OPCODE_MARKER, word_1::is_0, "out-of-band marker", handle_marker},
    {VELL_SIM_SAP_L2, VELL_SIM_OPCODE_DOWNLOAD_COMPLETE, word_1::is_0, "download complete",
     handle_download_complete},
    {VELL_SIM_SAP_L2, VELL_SIM_OPCODE_OVERLAY_NOTICE, word_1::depends, "overlay notification",
     handle_overlay_notice},
    {VELL_SIM_SAP_L2, VELL_SIM_OPCODE_OVERLAY_ROUTE, word_1::is_1, "overlay route update",
     handle_overlay_route},
    {VELL_SIM_SAP_ROUTES, VELL_SIM_OPCODE_IPV4_STATS, word_1::is_0, "IPv4 statistics request",
     handle_statistics},
    {VELL_SIM_SAP_ROUTES, VELL_SIM_OPCODE_IPV4_CLEAR, word_1::is_0, "IPv4 clear request",
     handle_statistics},
    {VELL_SIM_SAP_ROUTES, VELL_SIM_OPCODE_IPV6_STATS, word_1::is_0, "IPv6 statistics request",
     handle_statistics},
    {VELL_SIM_SAP_ROUTES, VELL_SIM_OPCODE_IPV6_CLEAR, word_1::is_0, "IPv6 clear request",
     handle_statistics},
    {NERB_SIM_SAP, NERB_SIM_OPCODE_ALLOCATION, word_1::is_0, "LTL allocation",
     handle_ltl_allocation},
    {NERB_SIM_SAP, NERB_SIM_OPCODE_MODIFICATION, word_1::is_0, "LTL modification",
     handle_ltl_modification},
    {NERB_SIM_SAP, NERB_SIM_OPCODE_RELEASE, word_1::is_0, "LTL release", handle_ltl_release},
    {NERB_SIM_SAP, NERB_SIM_OPCODE_FLOOD_UPDATE, word_1::is_0, "flood LTL update",
     handle_flood_update},
};

const request_kind *find_kind(std::uint32_t opcode) {
    const auto found = std::ranges::find(request_kinds, opcode, &request_kind::opcode);
    return found == std::end(request_kinds) ? nullptr : found;
}

template <typename... Values>
[[noreturn]] void refuse_head(std::size_t offset, fmt::format_string<Values...> format,
                              Values &&...values) {
    throw refusal{refusal::place::frame_head, offset,
                  fmt::format(format, std::forward<Values>(values)...)};
}

std::size_t option_offset(std::size_t word) {
    return offsetof(frame_head, options) + word * sizeof(std::uint32_t);
}

void require_option_word(const frame_head &head, std::size_t word, std::uint32_t value) {
    if (head.options[word] != value) {
        refuse_head(option_offset(word), "send-options word {} is {}, it must be {}", word,
                    head.options[word], value);
    }
}

void check_head(const request_kind &kind, const frame_head &head) {
    if (head.node != VELL_SIM_NODE) {
        refuse_head(offsetof(frame_head, node), "node is {:#x}, it must be {:#x}", head.node,
                    VELL_SIM_NODE);
    }
    if (head.sap != kind.sap) {
        refuse_head(offsetof(frame_head, sap), "SAP is {}, it must be {}", head.sap, kind.sap);
    }
    if (head.flags != 0) {
        refuse_head(offsetof(frame_head, flags), "flags are {:#x}, they must be 0", head.flags);
    }
    require_option_word(head, 0, 1);
    for (std::size_t word = 2; word < send_option_words; ++word) {
        require_option_word(head, word, 0);
    }
    if (kind.option != word_1::depends) {
        require_option_word(head, 1, static_cast<std::uint32_t>(kind.option));
    }
}

// The sender's row in the client table. A peer that has sent something has one even if it never
// registers.
client_key row_of(service &vell, session &from) {
    if (vell.clients.find(from.client_of) != nullptr) {
        return from.client_of;
    }
    if (vell.clients.find(from.peer) == nullptr) {
        from.peer = vell.clients.add({.pid = from.pid, .state = client_state::unregistered});
    }
    return from.peer;
}

// `sender` is the row that sent the request; null when it is forgotten already.
void count_request(client *sender, std::string_view name, const request &asked, bool is_refused) {
    if (sender == nullptr) {
        return;
    }
    request_count &count = sender->requests[name];
    ++count.messages;
    ++sender->messages;
    sender->answers += asked.replies.size();
    count.refused += is_refused ? 1 : 0;
    sender->refused += is_refused ? 1 : 0;
    count.records += is_refused ? 0 : asked.records;
}

void dispatch(const request_kind *kind, request &asked) {
    if (kind == nullptr) {
        refuse_head(offsetof(frame_head, opcode), "this switch knows no such opcode");
    }
    check_head(*kind, asked.head);
    kind->handle(asked);
}

} // namespace

void refuse_vlan_by_fault(const request &asked, std::uint16_t vlan) {
    if (asked.vell.faults.refused_vlans.contains(vlan)) {
        refuse_at(0, "VLAN {} is refused by --refuse-vlan", vlan);
    }
}

void refuse_group_by_fault(const request &asked, const l2_address &group) {
    if (asked.vell.faults.refused_groups.contains(group)) {
        refuse_at(0, "group {} is refused by --refuse-group", address_text(group));
    }
}

void require_option_word_1(const request &asked, std::uint32_t value) {
    require_option_word(asked.head, 1, value);
}

client &require_client(const request &asked, std::uint8_t id) {
    client *sender = asked.vell.clients.find(asked.from.client_of);
    if (sender == nullptr) {
        refuse_at(0, "client id is {}, but this connection is not registered", id);
    }
    if (sender->id != id) {
        refuse_at(0, "client id is {}, this connection's is {}", id, sender->id);
    }
    return *sender;
}

client &require_registered(const request &asked) {
    client *sender = asked.vell.clients.find(asked.from.client_of);
    if (sender == nullptr) {
        refuse_at(0, "this connection is not registered");
    }
    return *sender;
}

void check_limit(std::string_view what, std::size_t held, std::size_t more, std::size_t limit) {
    if (more > limit - held) {
        refuse_at(0, "the switch would hold {} {}, its limit is {}", held + more, what, limit);
    }
}

std::size_t held_interfaces(const service &vell) {
    return vell.l2.ports + vell.ltls.interfaces() + vell.floods.interfaces();
}

void line_limit::log(const std::string &text) const {
    asked_.vell.log(level_, fmt::format("{}: {}", describe(asked_.vell, asked_.from), text));
}

sender_name name_sender(const request &asked) {
    const client *sender = asked.vell.clients.find(asked.from.client_of);
    return {sender == nullptr ? std::uint8_t{0} : sender->id, asked.from.pid};
}

std::string describe(service &vell, const session &who) {
    if (const client *known = vell.clients.find(who.client_of)) {
        return fmt::format("client {} (pid {})", known->id, who.pid);
    }
    return fmt::format("unregistered client (pid {})", who.pid);
}

std::vector<reply> handle_request(service &vell, session &from, const frame_head &head,
                                  std::span<const std::byte> payload) {
    const request_kind *kind = find_kind(head.opcode);
    const std::string_view name = kind == nullptr ? "unknown request" : kind->name;
    const client_key sender = row_of(vell, from);
    bool is_refused = false;
    request asked{vell, from, head, payload};
    try {
        dispatch(kind, asked);
    } catch (const refusal &why) {
        is_refused = true;
        vell.error("{}: {} (opcode {}): {}: refused", describe(vell, from), name, head.opcode,
                   describe(why));
    }
    count_request(vell.clients.find(sender), name, asked, is_refused);
    return std::move(asked.replies);
}

void log_faults(const service &vell) {
    const std::string modes = fault_text(vell.faults);
    vell.trace("fault modes: {}", modes.empty() ? "none" : modes);
}

void handle_loss(service &vell, session &from, std::string_view how) {
    vell.batches.abandon(std::exchange(from.batch, 0));
    vell.clients.end(std::exchange(from.peer, 0), client_state::lost);
    if (vell.clients.find(from.client_of) == nullptr) {
        return;
    }
    vell.clients.end(from.client_of, client_state::lost);
    vell.trace("{} lost: {}", describe(vell, from), how);
    from.client_of = 0;
}

} // namespace sim
