// Who has registered with the switch, who only has a connection, and who is gone.
//
//   register request     248 bytes: u8 client id 0, 3 reserved, u32 uuid, char[240] segment name,
//                        NUL-terminated
//   deregister request   248 bytes: u8 client id, 247 reserved
//   acknowledgment       2 bytes: u8 client id, u8 flags: bit 0 set when it is accepted
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace sim {

enum class client_state {
    unregistered, // it has a connection, and has sent something
    registered,
    deregistered,
    replaced, // by a later registration on its connection
    lost,
    rejected,
};

std::string_view client_state_name(client_state state);

// Who sent a request: a process, and its client id, which is 0 for a peer that has a queue only.
struct sender_name {
    std::uint8_t client = 0;
    std::uint32_t pid = 0;
};

// Names a registration for as long as the switch runs; client ids are used again.
using client_key = std::uint64_t;

struct request_count {
    std::uint64_t messages = 0;
    std::uint64_t refused = 0;
    std::uint64_t records = 0; // of messages that were not refused
};

struct client {
    std::uint8_t id = 0;
    std::uint32_t uuid = 0;
    std::uint32_t pid = 0;
    client_state state = client_state::registered;
    std::string segment{};
    std::uint64_t messages = 0; // every request on its connection, refused ones included
    std::uint64_t refused = 0;
    std::uint64_t answers = 0;
    std::map<std::string_view, request_count> requests{}; // by the name of the request
    std::uint64_t route_records = 0;                      // adds and deletes that changed a table
    std::uint64_t missed_deletes = 0;
    std::uint64_t ipv6_notices = 0;
    std::optional<std::array<std::uint32_t, 3>> last_ipv6_notice{};
    std::uint64_t downloads_complete = 0;
    std::string_view dux_role{}; // empty until a role update came
};

class client_table {
public:
    // The smallest id that no registered client holds, or nothing when all 255 are taken.
    std::optional<std::uint8_t> free_id() const;

    client_key add(const client &added);

    // Makes a row of a peer that was unregistered a registered or a rejected one.
    void promote(client_key key, client_state how);

    // Takes back the id of a registered client and remembers it as gone, the longest gone one
    // forgotten for it. An unregistered peer is forgotten at once.
    void end(client_key key, client_state how);

    // Null when the client is gone and forgotten.
    client *find(client_key key);

    // In the order in which they came.
    const std::map<client_key, client> &all() const { return clients_; }

private:
    void settle(client_key key, const client &added);
    void remember_gone(client_key key);

    std::map<client_key, client> clients_;
    std::deque<client_key> gone_; // in the order in which they went
    // Counts, since a fault mode may hand one id to several clients.
    std::array<std::uint32_t, 256> id_holders_{};
    client_key last_key_ = 0;
};

struct register_request {
    std::uint32_t uuid = 0;
    std::string segment;
};

// Both throw refusal.
register_request decode_register_request(std::span<const std::byte> message);
std::uint8_t decode_deregister_request(std::span<const std::byte> message);

// A whole frame, ready to send.
std::vector<std::byte> encode_register_ack(std::uint8_t id, bool accepted);

} // namespace sim
