// The switch's loop: one thread, many connections, no call that blocks.
#pragma once

#include "sim/switch/acceptor.h"
#include "sim/switch/peer_connection.h"
#include "sim/switch/service.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <poll.h>
#include <string>
#include <vector>

namespace sim {

// What frames that are not yet whole may take of the process's memory, all connections together.
inline constexpr std::size_t input_limit = 256u << 20;

class server {
public:
    // `stop_fd` becomes readable when the switch is to end.
    server(service &vell, int listening_fd, int stop_fd);

    enum class outcome { stopped, died };

    // Serves until it is told to stop, or until a fault mode makes it die.
    outcome run();

private:
    using clock = peer_connection::clock;
    using connection_id = std::uint64_t;

    struct closing {
        bool is_error;
        std::string why;
    };

    std::vector<pollfd> poll_entries(std::vector<connection_id> &ids);
    int poll_timeout_ms() const;
    template <typename Body>
    void attend(connection_id id, Body body);
    void close_without_memory(connection_id id, peer_connection &peer);
    void serve_connection(connection_id id, short events);
    void take_frames(connection_id id, peer_connection &peer);
    void take_requests(peer_connection &peer);
    static bool reads(peer_connection &peer);
    void catch_up(connection_id asker);
    void finish_turn(connection_id id, peer_connection &peer);
    bool pauses(peer_connection &peer) const;
    void take_request(peer_connection &peer, const frame_view &asked);
    std::optional<closing> why_close(peer_connection &peer) const;
    void close_connection(connection_id id, const closing &how);
    void log_closing(peer_connection &peer, const closing &how) const;
    void send_late_replies();
    std::size_t all_input() const;

    service &vell_;
    acceptor acceptor_;
    int stop_fd_;
    std::map<connection_id, peer_connection> peers_;
    connection_id last_id_ = 0;
    std::uint64_t handled_ = 0;
    bool dead_ = false;
};

} // namespace sim
