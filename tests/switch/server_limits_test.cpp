// The limits of a switch, at each edge, on a server whose limits are smaller than usual.
#include "sim/switch/server.h"
#include "tests/support/simulator.h"
#include "tests/support/wait.h"
#include "tests/switch/ltl_bytes.h"
#include "tests/switch/raw_peer.h"
#include "tests/switch/test_service.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <mutex>
#include <sys/socket.h>
#include <thread>

using testing::Contains;
using testing::EndsWith;
using testing::IsEmpty;
using testing::Not;

namespace {

using namespace std::chrono_literals;

// A server in a thread of this process.
class limited_server {
public:
    limited_server(const std::string &run_dir, const sim::server_limits &limits) : place_(run_dir) {
        EXPECT_EQ(place_.open(), "");
        vell_.log = [this](std::uint32_t level, const std::string &text) {
            const std::lock_guard lock(mutex_);
            (level == sim::log_level_error ? errors_ : traces_).push_back(text);
        };
        thread_ = std::thread([this, limits] {
            outcome_ = sim::server(vell_, place_, stop_.read.get(), limits).run();
        });
    }
    ~limited_server() {
        stop_.write.reset();
        thread_.join();
        place_.close();
        EXPECT_EQ(outcome_, sim::server::outcome::stopped);
    }
    limited_server(const limited_server &) = delete;
    limited_server &operator=(const limited_server &) = delete;

    std::vector<std::string> errors() {
        const std::lock_guard lock(mutex_);
        return errors_;
    }

private:
    pipe_ends stop_ = make_pipe();
    sim::listener place_;
    sim::service vell_;
    std::mutex mutex_;
    std::vector<std::string> errors_;
    std::vector<std::string> traces_;
    sim::server::outcome outcome_ = sim::server::outcome::died;
    std::thread thread_;
};

class ServerLimits : public testing::Test {
protected:
    scratch_directory directory;
    const std::string run_dir = directory / "run";
};

// The start of a message of 16 MiB, of `size` bytes with its head.
bytes part_of_message(std::size_t size) {
    return cut(
        message().add(patched(frame_bytes(route_head(), {}), 8, {0, 0, 0, 1})).fill(size, 0).get(),
        size);
}

// Of everybody, since a question is answered after all that was sent before it.
void let_all_be_read(raw_peer &asker) {
    asker.ask("overlay");
}

std::string closing_text(const std::string &run_dir) {
    raw_peer peer(run_dir);
    sim::frame_reader reader{sim::frame_kind::message, sim::frame_kind::closing};
    sim::frame whole;
    return sim::receive_frame(peer.fd(), reader, sim::deadline::after_ms(10'000), whole).reason;
}

} // namespace

TEST_F(ServerLimits, RefuseOneConnectionMoreWithAReason) {
    limited_server running(run_dir, {.connections = 2});
    raw_peer first(run_dir);
    let_all_be_read(first);
    {
        raw_peer second(run_dir);
        let_all_be_read(second);
        const std::string why = "the switch has 2 connections, which is its limit";
        EXPECT_EQ(closing_text(run_dir), "the other end has closed the connection: " + why);
        EXPECT_EQ(closing_text(run_dir), "the other end has closed the connection: " + why);
        EXPECT_EQ(running.errors(),
                  std::vector{fmt::format("connection of pid {}: {}: it and others are refused",
                                          getpid(), why)});
    }
    let_all_be_read(first);
    raw_peer next(run_dir);
    EXPECT_EQ(next.register_client(), 1);
}

TEST_F(ServerLimits, CloseTheConnectionWithTheLargestUnfinishedMessage) {
    limited_server running(run_dir, {.input = 3000});
    raw_peer asker(run_dir);
    raw_peer hoarder(run_dir);
    raw_peer other(run_dir);
    hoarder.send_raw(part_of_message(2000));
    other.send_raw(part_of_message(1000));
    let_all_be_read(asker);
    let_all_be_read(asker);
    EXPECT_THAT(running.errors(), IsEmpty()) << "3000 bytes are allowed";
    other.send_raw({std::byte{0}});
    EXPECT_TRUE(hoarder.wait_for_close());
    EXPECT_THAT(running.errors(),
                Contains(EndsWith("the unfinished messages of all connections take more than 3000 "
                                  "bytes, and this one has the most: connection closed")));
    EXPECT_EQ(other.send_raw({std::byte{0}}), true);
    let_all_be_read(asker);
    EXPECT_EQ(running.errors().size(), 1u);
}

TEST_F(ServerLimits, CloseAConnectionThatLeavesAMessageUnfinished) {
    limited_server running(run_dir, {.unfinished = 300ms});
    raw_peer client(run_dir);
    EXPECT_EQ(client.register_client(), 1);
    raw_peer silent(run_dir);
    raw_peer halfway(run_dir);
    halfway.register_client();
    halfway.send_raw(part_of_message(200));
    EXPECT_TRUE(silent.wait_for_close());
    EXPECT_TRUE(halfway.wait_for_close());
    EXPECT_EQ(running.errors().size(), 2u);
    EXPECT_THAT(running.errors(),
                testing::Each(EndsWith(": it has not finished its message: connection closed")));
    EXPECT_EQ(client.ask("clients").at("clients").at(0).at("state"), "registered")
        << "a client may be silent between messages";
}

TEST_F(ServerLimits, LetAMessageComeSlowly) {
    limited_server running(run_dir, {.unfinished = 300ms});
    raw_peer client(run_dir);
    for (const std::byte byte : cut(frame_bytes(register_head(), register_payload(500)), 12)) {
        client.send_raw({byte});
        std::this_thread::sleep_for(50ms);
    }
    EXPECT_THAT(running.errors(), IsEmpty());
}

TEST_F(ServerLimits, LetAPeerThatReadsSlowlyWait) {
    limited_server running(run_dir, {.output = 1000, .unread = 10s});
    raw_peer client(run_dir);
    constexpr int requests = 40'000; // more answers than two sockets hold
    std::thread sender([&client] {
        const bytes pair = message()
                               .add(frame_bytes(register_head(), register_payload(500)))
                               .add(frame_bytes(deregister_head(), deregister_payload(1)));
        for (int i = 0; i < requests; ++i) {
            client.send_raw(pair);
        }
    });
    std::this_thread::sleep_for(500ms);
    int answers = 0;
    auto longest_wait = 0ns;
    for (auto asked = std::chrono::steady_clock::now();
         answers < requests && client.receive_ack() == std::pair(1, 1); ++answers) {
        const auto got = std::chrono::steady_clock::now();
        longest_wait = std::max<std::chrono::nanoseconds>(longest_wait, got - asked);
        asked = got;
    }
    sender.join();
    EXPECT_EQ(answers, requests);
    EXPECT_LT(longest_wait, 800ms) << "the switch goes on as soon as the peer has read";
    EXPECT_THAT(running.errors(), IsEmpty());
}

TEST_F(ServerLimits, CloseAConnectionThatReadsNothingForTooLong) {
    limited_server running(run_dir, {.output = 1000, .unread = 300ms});
    raw_peer deaf(run_dir);
    const bytes pair = message()
                           .add(frame_bytes(register_head(), register_payload(500)))
                           .add(frame_bytes(deregister_head(), deregister_payload(1)));
    while (deaf.send_raw(pair)) {
    }
    EXPECT_TRUE(deaf.wait_for_close());
    EXPECT_THAT(running.errors(),
                Contains(EndsWith(": it does not read its messages: connection closed")));
    expect_service(run_dir);
}

TEST_F(ServerLimits, CloseTheConnectionWithTheMostUnreadAnswers) {
    limited_server running(run_dir, {.all_output = 2u << 20});
    raw_peer hoarder(run_dir);
    raw_peer other(run_dir);
    const auto releases = [](std::uint32_t count) {
        return message().u32(0x99).u32(count).fill(std::size_t{count} * 12, 0);
    };
    hoarder.send(ltl_head(release), releases(100'000)); // an answer of 1.5 MiB
    let_all_be_read(other);
    EXPECT_THAT(running.errors(), Not(Contains(EndsWith("connection closed"))));
    other.send(ltl_head(release), releases(80'000));
    // It would read its answer while it waits for the end.
    EXPECT_TRUE(wait_until([&running] { return running.errors().back().ends_with("closed"); }));
    EXPECT_TRUE(hoarder.wait_for_close());
    const std::optional<sim::frame> answer = other.receive();
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->payload.size(), 16 + std::size_t{80'000} * 16);
    EXPECT_THAT(running.errors(),
                Contains(EndsWith("the unread answers of all connections take more than 2097152 "
                                  "bytes, and this one has the most: connection closed")));
}
