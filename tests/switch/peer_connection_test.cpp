// What waits for a peer: how much it is, when it goes out, and when it is too much.
#include "sim/switch/peer_connection.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

using namespace std::chrono_literals;
using clock_type = sim::peer_connection::clock;

struct socket_pair {
    sim::file_descriptor near;
    sim::file_descriptor far;

    socket_pair() {
        int ends[2];
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
        near = sim::file_descriptor(ends[0]);
        far = sim::file_descriptor(ends[1]);
    }
};

class PeerConnection : public testing::Test {
protected:
    socket_pair ends;
    const clock_type::time_point now = clock_type::now();
    sim::peer_connection peer{std::move(ends.near), 4711, now};

    static sim::reply reply_of(std::size_t size, char content,
                               std::chrono::milliseconds delay = 0ms) {
        return {std::vector(size, static_cast<std::byte>(content)), delay};
    }
    // What the peer has been sent so far.
    std::string read_all() const {
        std::string all;
        char part[4096];
        ssize_t count = 0;
        while ((count = recv(ends.far.get(), part, sizeof part, MSG_DONTWAIT)) > 0) {
            all.append(part, static_cast<std::size_t>(count));
        }
        return all;
    }
};

constexpr std::size_t mebibyte = 1u << 20;

} // namespace

TEST_F(PeerConnection, SendsLateRepliesWhenTheyAreDue) {
    peer.queue_replies(
        {reply_of(1, 'c', 30ms), reply_of(1, 'a'), reply_of(1, 'b', 20ms), reply_of(1, 'd', 30ms)},
        now);
    EXPECT_EQ(peer.waiting(), 4u);
    EXPECT_EQ(peer.next_due(), now + 20ms);
    peer.queue_due(now + 19ms);
    peer.flush(now);
    EXPECT_EQ(read_all(), "a");
    EXPECT_EQ(peer.waiting(), 3u);
    peer.queue_due(now + 20ms);
    EXPECT_EQ(peer.next_due(), now + 30ms);
    peer.queue_due(now + 1h);
    EXPECT_EQ(peer.next_due(), std::nullopt);
    peer.flush(now);
    EXPECT_EQ(read_all(), "bcd");
    EXPECT_EQ(peer.waiting(), 0u);
}

TEST_F(PeerConnection, HasRoomForOneAnswerOverTheLimit) {
    peer.queue_replies({reply_of(20 * mebibyte, 'a'), reply_of(20 * mebibyte, 'a', 1h)}, now);
    EXPECT_TRUE(peer.has_room({.output = 0}));
    peer.queue_replies({reply_of(1000, 'b')}, now);
    EXPECT_TRUE(peer.has_room({.output = 1000}));
    EXPECT_FALSE(peer.has_room({.output = 999}));
}

TEST_F(PeerConnection, ForgetsTheLongestAnswerOnceItIsRead) {
    peer.queue_replies({reply_of(4 * mebibyte, 'a')}, now);
    while (peer.has_output()) {
        peer.flush(now);
        read_all();
    }
    peer.queue_replies({reply_of(1, 'a')}, now);
    peer.queue_replies({reply_of(1000, 'a')}, now);
    peer.queue_replies({reply_of(1000, 'a')}, now);
    EXPECT_FALSE(peer.has_room({.output = 1000}));
    EXPECT_TRUE(peer.has_room({.output = 1001}));
}

TEST_F(PeerConnection, IsClosedWhenThePeerHasReadNothingForTooLong) {
    const sim::server_limits limits{.output = 0, .unread = 10s};
    peer.note_whole_frame();
    peer.queue_replies({reply_of(4 * mebibyte, 'a')}, now + 1s);
    EXPECT_EQ(peer.closing_time(limits), std::nullopt) << "one answer may wait";
    peer.queue_replies({reply_of(4 * mebibyte, 'a')}, now + 1s);
    EXPECT_EQ(peer.closing_time(limits), now + 11s);
    peer.flush(now + 2s);
    EXPECT_EQ(peer.closing_time(limits), now + 12s) << "the socket took some of it";
    peer.flush(now + 3s);
    peer.queue_replies({reply_of(1, 'b')}, now + 4s);
    EXPECT_EQ(peer.closing_time(limits), now + 12s);
    read_all();
    peer.flush(now + 5s);
    EXPECT_EQ(peer.closing_time(limits), now + 15s);
    EXPECT_FALSE(peer.why_close(limits, now + 15s - 1ms));
    ASSERT_TRUE(peer.why_close(limits, now + 15s));
    EXPECT_EQ(peer.why_close(limits, now + 15s)->why, "it does not read its messages");
    while (peer.has_output()) {
        read_all();
        peer.flush(now + 6s);
    }
    EXPECT_EQ(peer.closing_time(limits), std::nullopt);
}

TEST_F(PeerConnection, IsClosedWhenAMessageMissesItsRestForTooLong) {
    const sim::server_limits limits{.unfinished = 60s};
    EXPECT_EQ(peer.closing_time(limits), now + 60s) << "nothing has come of a first message";
    peer.note_whole_frame();
    EXPECT_EQ(peer.closing_time(limits), std::nullopt);
    ASSERT_EQ(send(ends.far.get(), "KYT1", 4, 0), 4);
    EXPECT_EQ(peer.read_some(now + 1s), 4u);
    EXPECT_EQ(peer.closing_time(limits), now + 61s);
    EXPECT_EQ(peer.read_some(now + 2s), 0u);
    EXPECT_EQ(peer.closing_time(limits), now + 61s);
    peer.restart_silence(now + 3s);
    EXPECT_EQ(peer.closing_time(limits), now + 63s);
    EXPECT_EQ(peer.why_close(limits, now + 63s)->why, "it has not finished its message");
}

TEST_F(PeerConnection, KeepsNothingForAPeerThatIsGone) {
    ends.far.reset();
    peer.queue_replies({reply_of(1, 'a'), reply_of(1, 'b', 1h)}, now);
    peer.flush(now);
    EXPECT_EQ(peer.waiting(), 0u);
    peer.queue_replies({reply_of(1, 'a'), reply_of(1, 'b', 1h)}, now);
    EXPECT_EQ(peer.waiting(), 0u);
    EXPECT_EQ(peer.next_due(), std::nullopt);
}
