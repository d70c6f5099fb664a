// Changes as the library's records: filled into messages, which are sent as they get full.
#pragma once

#include "feed/diff.h"
#include "feed/session.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <vector>

namespace feed {

// A message is not longer than this, unless a single record needs more: that one has a message to
// itself.
inline constexpr std::size_t usual_message_bytes = 65536;

struct full_message {
    std::span<std::uint8_t> bytes;
    std::uint16_t records;
};

// Records back to back after a head.
class message_batch {
public:
    message_batch(std::size_t head_bytes, std::size_t message_bytes,
                  std::function<void(const full_message &)> send)
        : head_bytes_(head_bytes), message_bytes_(message_bytes), send_(std::move(send)) {}

    // Zeroed room for a record of up to `most_bytes`, after sending the message so far when it has
    // no room for it.
    std::uint8_t *room(std::size_t most_bytes);

    // The record is in its room, and takes `bytes` of it.
    void take(std::size_t bytes);

    // Sends what is left.
    void finish();

private:
    void send();

    std::size_t head_bytes_;
    std::size_t message_bytes_;
    std::function<void(const full_message &)> send_;
    std::vector<std::uint8_t> buffer_;
    std::size_t used_ = 0;
    std::uint16_t records_ = 0;
};

// How records are sent, which is not part of what is wanted.
struct sending {
    std::size_t message_bytes = usual_message_bytes;
    std::uint32_t epoch = 0;
    bool download = false; // a first set, rather than changes of it

    // After each message: how many changes, of those in the order in which they were given, the
    // service has been sent so far.
    std::function<void(std::size_t changes)> sent = [](std::size_t) {};
};

// Each throws session_error when a message could not be sent. Deletions are to come first.
void send_route_changes(session &client, const std::vector<change<route>> &changes,
                        const sending &how);

// A group that must be made again has two changes, one to nothing and one from nothing.
void send_group_changes(session &client, const std::vector<change<group>> &changes,
                        const sending &how);

// One flood update. `before` is what the manager is taken to have; `after` what it should have.
struct flood_change {
    flood_key key;
    std::vector<std::uint32_t> before;
    flood_set after;

    bool says_more() const { return false; }
};
void send_flood_update(session &client, const std::vector<flood_change> &changes,
                       std::uint32_t cookie);

// A request for one LTL.
struct ltl_change {
    std::uint32_t opcode; // NERB_SIM_OPCODE_ALLOCATION, _MODIFICATION or _RELEASE
    ltl_key key;          // whose VLAN only an allocation needs
    ltl row;              // as it should be; an allocation has no index yet

    // Which index was allocated, so that it can be released.
    bool says_more() const;
};
const char *operation_name(const ltl_change &change); // "allocation"
bool send_ltl_change(const ltl_change &change, std::uint32_t cookie);

} // namespace feed
