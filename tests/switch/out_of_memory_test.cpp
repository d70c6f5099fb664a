// A switch whose memory runs out while it handles a request: it ends that connection and no other.
#include "sim/switch/listener.h"
#include "sim/switch/server.h"
#include "tests/support/simulator.h"
#include "tests/switch/raw_peer.h"
#include "tests/switch/test_service.h"

#include <atomic>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <mutex>
#include <new>
#include <thread>

using testing::Contains;
using testing::EndsWith;

namespace {

class OutOfMemory : public simulator {
protected:
    // As long as it is not 0, there is no memory for the next line of the log.
    std::atomic<int> failing_lines = 0;

    OutOfMemory() {
        vell.log = [this](std::uint32_t, const std::string &text) {
            if (failing_lines > 0) {
                --failing_lines;
                throw std::bad_alloc();
            }
            const std::lock_guard lock(lines_mutex_);
            lines_.push_back(text);
        };
        thread_ = std::thread([this] {
            sim::server serving(vell, place_.socket.get(), stop_.read.get());
            outcome_ = serving.run();
        });
    }
    ~OutOfMemory() override {
        stop_.write.reset();
        thread_.join();
        EXPECT_EQ(outcome_, sim::server::outcome::stopped);
    }
    OutOfMemory(const OutOfMemory &) = delete;
    OutOfMemory &operator=(const OutOfMemory &) = delete;

    std::vector<std::string> lines() {
        const std::lock_guard lock(lines_mutex_);
        return lines_;
    }
    // Makes the switch write a line in the middle of a request: it refuses it.
    static void send_refused_request(raw_peer &peer) { peer.send(request_head(230, 1, 0), {}); }

private:
    pipe_ends stop_ = make_pipe();
    sim::listener place_ = sim::open_listener(run_dir);
    sim::service vell;
    std::vector<std::string> lines_;
    std::mutex lines_mutex_;
    sim::server::outcome outcome_ = sim::server::outcome::died;
    std::thread thread_;
};

} // namespace

TEST_F(OutOfMemory, EndsTheConnectionWhoseRequestItCannotHandle) {
    raw_peer other(run_dir);
    EXPECT_EQ(other.register_client(), 1);
    raw_peer peer(run_dir);
    EXPECT_EQ(peer.register_client(), 2);
    failing_lines = 1;
    send_refused_request(peer);
    EXPECT_TRUE(peer.wait_for_close());
    EXPECT_EQ(failing_lines, 0);
    EXPECT_EQ(other.ask("clients").at("clients").at(1).at("state"), "lost");
    EXPECT_EQ(other.ask("clients").at("clients").at(0).at("state"), "registered");
    EXPECT_THAT(lines(), Contains(EndsWith(
                             ": there is no memory to handle what it sent: connection closed")));
    expect_service(run_dir);
}

TEST_F(OutOfMemory, GoesOnWithoutMemoryForTheLog) {
    raw_peer peer(run_dir);
    EXPECT_EQ(peer.register_client(), 1);
    failing_lines = 3;
    send_refused_request(peer);
    EXPECT_TRUE(peer.wait_for_close());
    EXPECT_EQ(failing_lines, 0)
        << "the refusal, the end of the connection and the loss of the client";
    raw_peer next(run_dir);
    EXPECT_EQ(next.register_client(), 1) << "the id is free";
    expect_service(run_dir);
}

// Whoever asks for a table has the others' requests handled first.
TEST_F(OutOfMemory, EndsNotTheConnectionOfWhoAsksMeanwhile) {
    raw_peer asker(run_dir);
    asker.ask("clients");
    raw_peer peer(run_dir);
    EXPECT_EQ(peer.register_client(), 1);
    failing_lines = 1;
    send_refused_request(peer);
    EXPECT_EQ(asker.ask("clients").at("clients").at(0).at("state"), "lost");
    EXPECT_TRUE(peer.wait_for_close());
}
