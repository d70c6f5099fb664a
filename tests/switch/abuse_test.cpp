// What no client should send, and that the switch goes on.
#include "tests/support/simulator.h"
#include "tests/support/wait.h"
#include "tests/switch/raw_peer.h"
#include "tests/switch/route_bytes.h"
#include "tests/switch/test_service.h"

#include <csignal>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <random>

using testing::Contains;
using testing::Each;
using testing::EndsWith;
using testing::HasSubstr;

namespace {

class Abuse : public simulator {
protected:
    switch_process running{run_dir};

    std::vector<std::string> errors() const { return service_log(run_dir, 102); }

    void TearDown() override {
        expect_service(run_dir);
        running.signal(SIGTERM);
        EXPECT_EQ(running.wait(), 0);
    }
};

// The same numbers in every run and on every machine.
class numbers {
public:
    explicit numbers(std::uint32_t seed) : engine_(seed) {}
    std::uint32_t any() { return static_cast<std::uint32_t>(engine_()); }
    std::uint32_t below(std::uint32_t limit) { return any() % limit; }
    bytes some(std::size_t count) {
        bytes made(count);
        std::ranges::generate(made, [this] { return static_cast<std::byte>(any()); });
        return made;
    }

private:
    std::mt19937 engine_;
};

nlohmann::json client_row(raw_peer &asker, unsigned id) {
    return asker.ask(fmt::format("clients client={}", id)).at("clients").at(0);
}

bytes valid_frame(std::uint32_t which, unsigned id) {
    switch (which) {
    case 0:
        return frame_bytes(route_head(), patched(two_routes(), 0, {static_cast<int>(id)}));
    case 1:
        return frame_bytes(role_head(), patched(role_update(), 0, {static_cast<int>(id)}));
    default:
        return frame_bytes(notice_head(), notice_payload(id, 1, 2, 3));
    }
}

// One to three bytes are others. Magic, kind and length stay right, so that one bad frame does not
// take the others with it.
bytes spoiled(bytes frame, numbers &random) {
    for (std::uint32_t hits = 1 + random.below(3); hits > 0; --hits) {
        const std::size_t at = 12 + random.below(static_cast<std::uint32_t>(frame.size() - 12));
        frame[at] = static_cast<std::byte>(random.any());
    }
    return frame;
}

} // namespace

TEST_F(Abuse, WithRandomBytes) {
    numbers random(1);
    for (int i = 0; i < 300; ++i) {
        raw_peer peer(run_dir);
        peer.send_raw(random.some(104 + random.below(2000)));
        EXPECT_TRUE(peer.wait_for_close());
    }
    EXPECT_EQ(errors().size(), 300u);
    EXPECT_THAT(errors(), Each(HasSubstr("frame magic is 0x")));
    EXPECT_THAT(errors(), Each(EndsWith(": connection closed")));
}

TEST_F(Abuse, WithThousandsOfFramesOfRandomPayload) {
    constexpr std::uint32_t frames = 5000;
    constexpr std::uint32_t opcodes[] = {75797, 75831, 75779, 75780};
    numbers random(2);
    raw_peer peer(run_dir);
    const unsigned id = peer.register_client();
    for (std::uint32_t i = 0; i < frames; ++i) {
        const std::uint32_t opcode = opcodes[random.below(4)];
        const std::uint32_t sap = opcode == 75797 ? 212 : 214;
        // A deregistration of the right length and id would be none of the garbage.
        peer.send(request_head(sap, opcode, random.below(2)), random.some(random.below(240)));
    }
    const nlohmann::json row = client_row(peer, id);
    EXPECT_EQ(row.at("messages"), frames + 1);
    EXPECT_GE(row.at("refused"), frames * 9 / 10);
    EXPECT_EQ(errors().size(), row.at("refused").get<std::size_t>());
}

TEST_F(Abuse, WithThousandsOfFramesThatAreNearlyRight) {
    constexpr std::uint32_t frames = 6000;
    numbers random(3);
    raw_peer peer(run_dir);
    const unsigned id = peer.register_client();
    for (std::uint32_t i = 0; i < frames; ++i) {
        ASSERT_TRUE(peer.send_raw(spoiled(valid_frame(random.below(3), id), random)));
    }
    const nlohmann::json row = client_row(peer, id);
    EXPECT_EQ(row.at("messages"), frames + 1);
    EXPECT_GT(row.at("refused"), frames / 3);
    EXPECT_GT(row.at("ipv6_notices"), 0) << "a spoiled reserved byte does not make it refuse";
}

// Those that are right all the same are registrations that replace the one before.
TEST_F(Abuse, WithThousandsOfRegistrationsThatAreNearlyRight) {
    constexpr std::uint32_t frames = 2000;
    numbers random(5);
    raw_peer peer(run_dir);
    for (std::uint32_t i = 0; i < frames; ++i) {
        const bytes right = frame_bytes(register_head(), register_payload(i));
        ASSERT_TRUE(peer.send_raw(spoiled(right, random)));
    }
    // The answer comes after all acknowledgments.
    peer.send_show("clients");
    std::size_t acknowledged = 0;
    while (peer.receive().value().head.kind == sim::frame_kind::message) {
        ++acknowledged;
    }
    EXPECT_GT(acknowledged, frames / 10);
    EXPECT_EQ(acknowledged + errors().size(), frames) << "each is acknowledged or refused";
}

TEST_F(Abuse, WithFramesCutAnywhere) {
    const bytes whole = frame_bytes(register_head(), register_payload(500));
    for (std::size_t size = 1; size < whole.size(); ++size) {
        raw_peer peer(run_dir);
        peer.send_raw(cut(whole, size));
        peer.shut_down_sending();
        EXPECT_TRUE(peer.wait_for_close());
    }
    const std::vector<std::string> said = errors();
    ASSERT_EQ(said.size(), whole.size() - 1);
    EXPECT_THAT(
        said.front(),
        EndsWith(": it closed its connection within a frame, after 1 of at least 104 bytes: "
                 "connection closed"));
    EXPECT_THAT(
        said.back(),
        EndsWith(": it closed its connection within a frame, after 351 of 352 bytes: connection "
                 "closed"));
}

TEST_F(Abuse, WithClientsThatVanishInTheMiddleOfAFrame) {
    const bytes whole = frame_bytes(route_head(), patched(two_routes(), 0, {1}));
    raw_peer watcher(run_dir);
    for (std::size_t size = 1; size < whole.size(); size += 13) {
        raw_peer peer(run_dir);
        ASSERT_EQ(peer.register_client(static_cast<std::uint32_t>(size)), 1);
        peer.send_raw(cut(whole, size));
        peer.close();
        EXPECT_TRUE(wait_until([&] { return watcher.first_client().at("state") != "registered"; }));
    }
    EXPECT_TRUE(watcher.ask("routes").at("routes").empty());
}

TEST_F(Abuse, WithWrongLengths) {
    const bytes right = frame_bytes(register_head(), register_payload(500));
    // Shorter than the payload: what is left of it is taken for the next frame.
    raw_peer cut_short(run_dir);
    cut_short.send_raw(patched(right, 8, {100}));
    EXPECT_TRUE(cut_short.wait_for_close());
    EXPECT_THAT(errors(),
                Contains(HasSubstr("the message is 100 bytes long, it must be 248: refused")));
    EXPECT_THAT(errors().back(), HasSubstr("frame magic is 0x00000000"));
    // Longer than the payload: the next frame's start is taken for the rest of it.
    raw_peer drawn_out(run_dir);
    drawn_out.send_raw(message().add(patched(right, 8, {252})).add(right));
    EXPECT_TRUE(drawn_out.wait_for_close());
    EXPECT_THAT(errors(),
                Contains(HasSubstr("the message is 252 bytes long, it must be 248: refused")));
}

TEST_F(Abuse, WithHugeLengthFields) {
    const bytes right = frame_bytes(route_head(), route_payload(1, {{}}));
    for (const int top : {0xff, 0x80, 0x02}) {
        raw_peer peer(run_dir);
        peer.send_raw(patched(right, 8, {0xff, 0xff, 0xff, top}));
        EXPECT_TRUE(peer.wait_for_close());
    }
    EXPECT_EQ(errors().size(), 3u);
    EXPECT_THAT(errors(), Each(HasSubstr(" exceeds 16777216 bytes: connection closed")));
    // 16 MiB each are allowed, and announcing them costs nothing.
    std::vector<std::unique_ptr<raw_peer>> announcers;
    for (int i = 0; i < 400; ++i) {
        announcers.push_back(std::make_unique<raw_peer>(run_dir));
        announcers.back()->send_raw(patched(right, 8, {0, 0, 0, 1}));
    }
    expect_service(run_dir);
}

TEST_F(Abuse, WithMoreUnfinishedFramesThanFitInMemory) {
    const bytes head = patched(frame_bytes(route_head(), {}), 8, {0, 0, 0, 1});
    const bytes nearly_all = message().add(head).fill(15u << 20, 0);
    std::vector<std::unique_ptr<raw_peer>> hoarders;
    for (int i = 0; i < 20; ++i) {
        hoarders.push_back(std::make_unique<raw_peer>(run_dir));
        hoarders.back()->send_raw(nearly_all);
    }
    raw_peer(run_dir).ask("clients");
    EXPECT_THAT(errors(), Contains(HasSubstr(
                              "the unfinished messages of all connections take more than 268435456 "
                              "bytes, and this one has the most: connection closed")));
    expect_service(run_dir);
}

TEST_F(Abuse, WithOneByteAtATime) {
    raw_peer peer(run_dir);
    const bytes whole = message()
                            .add(frame_bytes(register_head(), register_payload(500)))
                            .add(frame_bytes(notice_head(), notice_payload(1, 1, 2, 3)));
    for (const std::byte byte : whole) {
        ASSERT_TRUE(peer.send_raw({byte}));
    }
    EXPECT_EQ(peer.receive_ack(), std::pair(1, 1));
    EXPECT_EQ(client_row(peer, 1).at("ipv6_notices"), 1);
    EXPECT_TRUE(errors().empty());
}

TEST_F(Abuse, WithRequestsThatOnlyTheSwitchSends) {
    for (const std::uint32_t kind : {0u, 2u, 4u, 99u}) {
        raw_peer peer(run_dir);
        sim::frame_head head = register_head();
        head.kind = static_cast<sim::frame_kind>(kind);
        peer.send(head, register_payload(500));
        EXPECT_TRUE(peer.wait_for_close());
    }
    EXPECT_THAT(errors(), Each(HasSubstr("does not belong here: connection closed")));
}

TEST_F(Abuse, WithAShowRequestThatMakesNoSense) {
    raw_peer peer(run_dir);
    sim::frame_head head{};
    head.magic = sim::frame_magic;
    head.kind = sim::frame_kind::question;
    peer.send(head, numbers(4).some(3 << 20));
    const std::optional<sim::frame> reply = peer.receive();
    ASSERT_TRUE(reply);
    EXPECT_EQ(reply->head.kind, sim::frame_kind::answer);
    EXPECT_NE(reply->head.opcode, 0u);
    EXPECT_EQ(std::string(reply->payload.begin(), reply->payload.end()),
              "the question is 3145728 bytes long, at most 4096 are read");
}

// No abuse, only much: 60000 records with lists in one message.
TEST_F(Abuse, WithAMessageOfSeveralMebibytes) {
    std::vector<test_route> routes(60'000);
    for (std::uint32_t i = 0; i < routes.size(); ++i) {
        routes[i].group = 0xe0000000 + i;
        routes[i].oifs = {{i, 0}, {i, 1}, {i, 4}, {i, 8}, {i, 12}, {i, 0}, {i, 0}, {i, 0}};
    }
    raw_peer peer(run_dir);
    const std::uint8_t id = peer.register_client();
    const bytes sent = route_payload(id, routes);
    ASSERT_GT(sent.size(), std::size_t{6} << 20);
    peer.send(route_head(), sent);
    const nlohmann::json sums = peer.ask("routes summary=true").at("summary").at(0);
    EXPECT_EQ(sums.at("routes"), 60'000);
    EXPECT_EQ(sums.at("oifs"), 480'000);
    EXPECT_EQ(client_row(peer, id).at("route_records"), 60'000);
    // One wrong byte at its end, and nothing of it counts.
    for (test_route &route : routes) {
        route.opcode = 2;
    }
    bytes deletes = route_payload(id, routes);
    deletes[deletes.size() - 4] = std::byte{3};
    peer.send(route_head(), deletes);
    EXPECT_EQ(peer.ask("routes summary=true").at("summary").at(0).at("routes"), 60'000);
    EXPECT_THAT(errors().back(),
                EndsWith(fmt::format("offset {}: OIF kind 3 is not 0, 1, 4, 8 or 12: refused",
                                     deletes.size() - 4)));
}
