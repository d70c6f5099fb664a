#include "tests/switch/raw_peer.h"

#include "sim/wire/run_dir.h"
#include "tests/support/wait.h"
#include "tests/switch/test_service.h"

#include <cstring>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>

bytes frame_bytes(const sim::frame_head &head, const bytes &payload) {
    sim::frame_head sent = head;
    sent.length = static_cast<std::uint32_t>(payload.size());
    bytes whole(sizeof sent);
    std::memcpy(whole.data(), &sent, sizeof sent);
    whole.insert(whole.end(), payload.begin(), payload.end());
    return whole;
}

raw_peer::raw_peer(const std::string &run_directory) {
    sim::connection made = sim::connect_service(run_directory, patience_ms);
    EXPECT_TRUE(made.socket) << made.reason;
    socket_ = std::move(made.socket);
}

bool raw_peer::send_raw(const bytes &sent) {
    std::size_t done = 0;
    while (done < sent.size()) {
        const ssize_t count = ::send(fd(), sent.data() + done, sent.size() - done, MSG_NOSIGNAL);
        if (count < 0) {
            return false;
        }
        done += static_cast<std::size_t>(count);
    }
    return true;
}

std::optional<sim::frame> raw_peer::receive() {
    sim::frame whole;
    const auto got = sim::receive_frame(fd(), reader_, sim::deadline::after_ms(patience_ms), whole);
    EXPECT_NE(got.status, sim::frame_status::timed_out);
    return got.status == sim::frame_status::done ? std::optional(std::move(whole)) : std::nullopt;
}

std::pair<int, int> raw_peer::receive_ack() {
    const std::optional<sim::frame> ack = receive();
    if (!ack || ack->head.kind != sim::frame_kind::message || ack->head.opcode != 75796 ||
        ack->payload.size() != 2) {
        ADD_FAILURE() << "no acknowledgment";
        return {-1, -1};
    }
    return {ack->payload[0], ack->payload[1]};
}

std::uint8_t raw_peer::register_client(std::uint32_t uuid) {
    send(register_head(), register_payload(uuid));
    return static_cast<std::uint8_t>(receive_ack().first);
}

void raw_peer::send_show(const std::string &query) {
    sim::frame_head head{};
    head.magic = sim::frame_magic;
    head.kind = sim::frame_kind::question;
    const std::string payload = question_payload(query);
    send(head, message().text(payload, payload.size()));
}

nlohmann::json raw_peer::receive_table() {
    std::string text;
    std::optional<sim::frame> part;
    do {
        part = receive();
        if (!part || part->head.kind != sim::frame_kind::answer || part->head.opcode != 0) {
            ADD_FAILURE() << "no answer";
            return {};
        }
        text.append(reinterpret_cast<const char *>(part->payload.data()), part->payload.size());
    } while (part->head.flags != 0);
    return nlohmann::json::parse(text);
}

nlohmann::json raw_peer::first_client() {
    const nlohmann::json clients = ask("clients").at("clients");
    return clients.empty() ? nlohmann::json{{"state", "none"}} : clients.at(0);
}

bool raw_peer::wait_for_close() {
    while (receive()) {
    }
    // The switch says why before it closes.
    pollfd end{fd(), POLLIN, 0};
    char byte;
    return poll(&end, 1, patience_ms) == 1 &&
           (recv(fd(), &byte, 1, MSG_DONTWAIT) == 0 || errno == ECONNRESET);
}

void raw_peer::shut_down_sending() {
    shutdown(fd(), SHUT_WR);
}

void expect_service(const std::string &run_directory) {
    raw_peer peer(run_directory);
    const std::uint8_t id = peer.register_client(777);
    ASSERT_NE(id, 0);
    const test_route route{.group = 0xefffff01, .table = 777, .oifs = {{5, 0}}};
    peer.send(route_head(), route_payload(id, {route}));
    const nlohmann::json held = peer.ask("routes table=777").at("routes");
    ASSERT_EQ(held.size(), 1u);
    EXPECT_EQ(held[0].at("group"), "239.255.255.1");
    EXPECT_EQ(held[0].at("client"), id);
    test_route gone = route;
    gone.opcode = 2;
    peer.send(route_head(), route_payload(id, {gone}));
    EXPECT_TRUE(peer.ask("routes table=777").at("routes").empty());
    peer.send(deregister_head(), deregister_payload(id));
    EXPECT_EQ(peer.ask("clients limit=1").count("clients"), 1u);
}
