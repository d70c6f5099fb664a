// The test as a client of the library: its queue, and the registration that a client goes through.
#pragma once

#include <kyt.h>
#include <kyt_sim.h>
#include <vell.h>

#include <cstdint>
#include <vector>

class client_queue {
public:
    client_queue() : handle(kyt_sim_queue_open()) {}
    client_queue(const client_queue &) = delete;
    client_queue &operator=(const client_queue &) = delete;
    ~client_queue() {
        // The library's state is the process's: a test must not leave a registration to the next.
        vell_deregister();
        vell_register_kyt_q(0);
        kyt_sim_queue_close(handle);
    }

    // Registers and waits for the answer. Returns the result of vell_register_ack, 0 when none
    // came.
    std::uint32_t register_client(std::uint32_t uuid, const char *segment,
                                  int timeout_ms = 20000) const {
        return vell_register(handle, uuid, segment) != 0 ? take_answer(timeout_ms) : 0;
    }

    std::uint32_t take_answer(int timeout_ms) const {
        kyt_sim_message *answer = nullptr;
        if (kyt_sim_receive(handle, timeout_ms, &answer) != 1)
            return 0;
        const std::uint32_t accepted = vell_register_ack(answer);
        kyt_sim_message_free(answer);
        return accepted;
    }

    const std::uint32_t handle;
};

// A route message in the making, at an odd address to show that it may lie there.
class route_message {
public:
    explicit route_message(std::size_t capacity = 4096) : bytes(capacity + 1) {}

    std::uint8_t *start() { return bytes.data() + 1; }
    vell_mrib_route *next_route() { return reinterpret_cast<vell_mrib_route *>(start() + length); }
    void close_route() {
        length += vell_mrib_get_route_size(next_route());
        ++routes;
    }

    // Sends and releases the reference, as a client must.
    std::uint32_t send(std::uint32_t queue) {
        kyt_msg_ref reference;
        if (vell_send_v4_mroute_update(start(), length, routes, 0x1234, &reference) == 0)
            return 0;
        kyt_drop(queue, &reference);
        return 1;
    }

private:
    std::vector<std::uint8_t> bytes;
    std::uint32_t length = sizeof(vell_mrib_message);
    std::uint16_t routes = 0;
};
