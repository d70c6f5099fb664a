// A raw connection to the switch: frames as bytes, well-formed ones and others.
#pragma once

#include "sim/base/file_descriptor.h"
#include "sim/wire/frame.h"
#include "tests/switch/message_bytes.h"

#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

bytes frame_bytes(const sim::frame_head &head, const bytes &payload);

class raw_peer {
public:
    explicit raw_peer(const std::string &run_directory);

    bool connected() const { return static_cast<bool>(socket_); }
    int fd() const { return socket_.get(); }

    // False when the switch takes no more.
    bool send_raw(const bytes &sent);
    bool send(const sim::frame_head &head, const bytes &payload) {
        return send_raw(frame_bytes(head, payload));
    }

    // Waits for the next frame; nothing when the connection ends instead.
    std::optional<sim::frame> receive();

    // Waits for an acknowledgment: its two bytes.
    std::pair<int, int> receive_ack();

    // Registers and waits for the acknowledgment: the id, or 0.
    std::uint8_t register_client(std::uint32_t uuid = 500);

    // Asks for a table on this connection. Whatever was sent before is handled by the time the
    // answer is there.
    nlohmann::json ask(const std::string &query) {
        send_show(query);
        return receive_table();
    }
    // The first row of the table of clients; its state is "none" when the table is empty.
    nlohmann::json first_client();
    void send_show(const std::string &query);
    nlohmann::json receive_table();

    // Waits until the switch has closed the connection, and throws away what it sent before.
    bool wait_for_close();

    void shut_down_sending();
    void close() { socket_.reset(); }

private:
    sim::file_descriptor socket_;
    sim::frame_reader reader_{sim::frame_kind::message, sim::frame_kind::answer,
                              sim::frame_kind::closing};
};

// Registers a client, adds a route, sees it in the table, deletes it and deregisters: a well-formed
// client is served.
void expect_service(const std::string &run_directory);
