// The switch's loop: one thread, many connections, no call that blocks.
//
// A turn of the loop serves every connection that has something to do: reads a little, carries out
// the requests that are whole, sends what the peer takes. What a connection may cost is in
// limits.h; at the end of memory or of file descriptors run() throws.
#pragma once

#include "sim/switch/limits.h"
#include "sim/switch/listener.h"
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

class server {
public:
    // `stop_fd` becomes readable when the switch should end.
    server(service &vell, listener &place, int stop_fd, const server_limits &limits = {})
        : vell_(vell), place_(place), stop_fd_(stop_fd), limits_(limits) {}

    enum class outcome {
        stopped,
        died,      // by a fault mode
        displaced, // its place in the run directory is gone, and it cannot get it again
    };

    // Serves until it is stopped, a fault mode makes it die, or another switch has its place. A
    // switch that is stopped first handles what it has received, or logs what it drops.
    outcome run();

private:
    using clock = peer_connection::clock;
    using connection_id = std::uint64_t;
    using connections = std::map<connection_id, peer_connection>;

    std::vector<pollfd> poll_entries(std::vector<connection_id> &ids);
    int poll_timeout_ms();

    void accept_waiting();
    void admit(file_descriptor socket);
    void keep_place();

    void serve_connection(connection_id id, short events);
    void take_frames(connection_id id, peer_connection &peer);
    void take_requests(peer_connection &peer);
    void take_request(peer_connection &peer, const frame_view &asked);
    void catch_up(connection_id asker);
    void finish();

    void end_turn(connection_id id, peer_connection &peer);
    void close_connection(connection_id id, const peer_connection::closing &how);
    void close_hoarders();
    void close_largest(std::size_t (*size)(const peer_connection &peer), std::size_t limit,
                       const char *what);

    service &vell_;
    listener &place_;
    int stop_fd_;
    server_limits limits_;
    connections peers_;
    connection_id last_id_ = 0;
    clock::time_point now_ = clock::now(); // of this turn
    clock::time_point place_checked_ = now_;
    bool full_said_ = false; // that no more connections are taken
    std::optional<outcome> end_;
};

} // namespace sim
