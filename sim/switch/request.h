// What the handlers of requests share. A new kind of request is a handler, declared below, and a
// row in service.cpp.
#pragma once

#include "sim/switch/service.h"

#include <fmt/format.h>

namespace sim {

struct request {
    service &vell;
    session &from;
    const frame_head &head;
    std::span<const std::byte> payload;
    std::vector<reply> replies{};
    std::uint64_t records = 0; // that the message had; set by the handlers of those that have any
};

// Each throws refusal, before it has changed anything.
void handle_register(request &asked);
void handle_deregister(request &asked);
void handle_route_message(request &asked);
void handle_ipv6_notice(request &asked);
void handle_l2_message(request &asked);
void handle_marker(request &asked);
void handle_download_complete(request &asked);
void handle_statistics(request &asked);
void handle_overlay_notice(request &asked);
void handle_overlay_route(request &asked);
void handle_ltl_allocation(request &asked);
void handle_ltl_modification(request &asked);
void handle_ltl_release(request &asked);
void handle_flood_update(request &asked);

// Refuse what a fault mode names: a VLAN of layer-2 messages, a group of those and of routes.
void refuse_vlan_by_fault(const request &asked, std::uint16_t vlan);
void refuse_group_by_fault(const request &asked, const l2_address &group);

// The second word of the send options, where it depends on what the request says.
void require_option_word_1(const request &asked, std::uint32_t value);

// The sender's own row in the client table. Refuses an id that is not the one that this connection
// was given.
client &require_client(const request &asked, std::uint8_t id);

// The same for requests that carry no id.
client &require_registered(const request &asked);

// Refuses what would make the switch hold more of these than the limit.
void check_limit(std::string_view what, std::size_t held, std::size_t more, std::size_t limit);

// For what a peer without an id may send too.
sender_name name_sender(const request &asked);

// Lines about the entries of one request, of which there can be thousands: the log gets the first
// few, and one line for the rest.
class line_limit {
public:
    line_limit(const request &asked, std::uint32_t level) : asked_(asked), level_(level) {}

    // `text` is a function, so that what is not logged is not made.
    template <typename Text>
    void add(Text text) {
        if (++count_ <= logged_one_by_one) {
            log(text());
        }
    }

    // "12 more" and what they are.
    void log_rest(std::string_view what) const {
        if (count_ > logged_one_by_one) {
            log(fmt::format("{} more {}", count_ - logged_one_by_one, what));
        }
    }

    std::uint64_t count() const { return count_; }

private:
    static constexpr std::uint64_t logged_one_by_one = 8;

    void log(const std::string &text) const;

    const request &asked_;
    std::uint32_t level_;
    std::uint64_t count_ = 0;
};

} // namespace sim
