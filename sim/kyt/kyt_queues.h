// The process's queues and their connections to the switch.
#pragma once

#include "sim/base/file_descriptor.h"
#include "sim/wire/frame.h"

#include <kyt.h>
#include <kyt_sim.h>

#include <cstdint>
#include <deque>
#include <string>
#include <sys/types.h>

namespace sim {

struct queue {
    std::uint32_t handle = 0;
    pid_t owner = 0;
    file_descriptor socket; // made by the first send
    frame_reader reader{frame_kind::message, frame_kind::closing};
    std::deque<frame> rescued; // messages that a lost connection had brought before
};

// A queue that this process may use, or why there is none. Two processes on one connection would
// send their frames into each other's.
struct found_queue {
    queue *usable = nullptr;
    std::string reason{};
};
found_queue find_queue(std::uint32_t handle);

// Connects a queue that has no connection. Returns an empty string, or why it could not.
std::string connect_queue(queue &q);

// Closes a connection that can send no more. The messages that it has brought are kept for the
// client to receive. Returns why the switch has closed it, if the switch says so.
std::string give_up_connection(queue &q);

// How long the switch may take no byte of a message, or no connection, before a send fails.
int send_timeout_ms();

} // namespace sim
