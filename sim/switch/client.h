// Who has registered with the switch, and who is gone.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace sim {

enum class client_state {
    registered,
    deregistered,
    replaced, // by a later registration on its connection
    lost,
    rejected,
};

std::string_view client_state_name(client_state state);

// Names a registration for as long as the switch runs; client ids are used again.
using client_key = std::uint64_t;

struct client {
    std::uint8_t id = 0;
    std::uint32_t uuid = 0;
    std::uint32_t pid = 0;
    client_state state = client_state::registered;
    std::string segment{};
    std::uint64_t messages =
        0; // every request since registration, this one and refused ones included
    std::uint64_t route_records = 0; // adds and deletes that changed a table
    std::uint64_t refused = 0;
    std::uint64_t missed_deletes = 0;
    std::uint64_t ipv6_notices = 0;
    std::optional<std::array<std::uint32_t, 3>> last_ipv6_notice{};
    std::uint64_t downloads_complete = 0;
    std::string_view dux_role{}; // empty until a role update came
};

// How many clients that are gone are remembered.
inline constexpr std::size_t gone_clients_kept = 64;

class client_table {
public:
    // The smallest id that no registered client holds, or nothing when all 255 are taken.
    std::optional<std::uint8_t> free_id() const;

    client_key add(const client &added);

    // Takes back the id of a registered client and remembers it as gone, the longest gone one
    // forgotten for it.
    void end(client_key key, client_state how);

    // Null when the client is gone and forgotten.
    client *find(client_key key);

    // In the order of registration.
    const std::map<client_key, client> &all() const { return clients_; }

private:
    void forget_oldest_gone();

    std::map<client_key, client> clients_;
    std::map<std::uint64_t, client_key> gone_; // by the order in which they went
    std::array<std::uint32_t, 256>
        id_holders_{}; // counts, since a fault mode may hand one id to several clients
    client_key last_key_ = 0;
    std::uint64_t departures_ = 0;
};

} // namespace sim
