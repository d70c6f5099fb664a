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

TEST_F(PeerConnection, IsNotOverALimitByOneAnswer) {
    peer.queue_replies({reply_of(20 * mebibyte, 'a'), reply_of(20 * mebibyte, 'a', 1h)}, now);
    EXPECT_FALSE(peer.is_over(0));
    peer.queue_replies({reply_of(1000, 'b')}, now);
    EXPECT_FALSE(peer.is_over(1000));
    EXPECT_TRUE(peer.is_over(999));
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
    EXPECT_TRUE(peer.is_over(1000));
    EXPECT_FALSE(peer.is_over(1001));
}

TEST_F(PeerConnection, KnowsSinceWhenThePeerHasReadNothing) {
    EXPECT_EQ(peer.unread_since(), std::nullopt);
    peer.queue_replies({reply_of(4 * mebibyte, 'a')}, now + 1s);
    EXPECT_EQ(peer.unread_since(), now + 1s);
    peer.flush(now + 2s);
    EXPECT_EQ(peer.unread_since(), now + 2s) << "the socket took some of it";
    peer.flush(now + 3s);
    peer.queue_replies({reply_of(1, 'b')}, now + 4s);
    EXPECT_EQ(peer.unread_since(), now + 2s);
    read_all();
    peer.flush(now + 5s);
    EXPECT_EQ(peer.unread_since(), now + 5s);
    while (peer.has_output()) {
        read_all();
        peer.flush(now + 6s);
    }
    EXPECT_EQ(peer.unread_since(), std::nullopt);
}

TEST_F(PeerConnection, KnowsSinceWhenAMessageIsMissingItsRest) {
    EXPECT_EQ(peer.unfinished_since(), now) << "nothing has come of a first message";
    peer.note_whole_frame();
    EXPECT_EQ(peer.unfinished_since(), std::nullopt);
    ASSERT_EQ(send(ends.far.get(), "KYT1", 4, 0), 4);
    EXPECT_EQ(peer.read_some(now + 1s), 4u);
    EXPECT_EQ(peer.unfinished_since(), now + 1s);
    EXPECT_EQ(peer.read_some(now + 2s), 0u);
    EXPECT_EQ(peer.unfinished_since(), now + 1s);
    peer.restart_silence(now + 3s);
    EXPECT_EQ(peer.unfinished_since(), now + 3s);
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
