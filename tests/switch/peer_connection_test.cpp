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
    sim::peer_connection peer{std::move(ends.near), 4711};
    const clock_type::time_point now = clock_type::now();

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
    peer.flush();
    EXPECT_EQ(read_all(), "a");
    EXPECT_EQ(peer.waiting(), 3u);
    peer.queue_due(now + 20ms);
    EXPECT_EQ(peer.next_due(), now + 30ms);
    peer.queue_due(now + 1h);
    EXPECT_EQ(peer.next_due(), std::nullopt);
    peer.flush();
    EXPECT_EQ(read_all(), "bcd");
    EXPECT_EQ(peer.waiting(), 0u);
}

TEST_F(PeerConnection, IsNotOverItsLimitByOneAnswer) {
    peer.queue_replies({reply_of(20 * mebibyte, 'a'), reply_of(20 * mebibyte, 'a')}, now);
    EXPECT_FALSE(peer.over_limit());
    peer.queue_replies({reply_of(mebibyte, 'b')}, now);
    EXPECT_FALSE(peer.over_limit()) << "a mebibyte beside it may wait";
    peer.queue_replies({reply_of(1, 'c')}, now);
    EXPECT_TRUE(peer.over_limit());
}

TEST_F(PeerConnection, IsOverItsLimitByManyAnswers) {
    for (std::size_t i = 0; i <= mebibyte / 1024; ++i) {
        EXPECT_FALSE(peer.over_limit());
        peer.queue_replies({reply_of(1024, 'a')}, now);
    }
    EXPECT_FALSE(peer.over_limit()) << "the longest does not count";
    peer.queue_replies({reply_of(1, 'a')}, now);
    EXPECT_TRUE(peer.over_limit());
}

TEST_F(PeerConnection, CountsLateReplies) {
    peer.queue_replies({reply_of(mebibyte, 'a', 1h)}, now);
    peer.queue_replies({reply_of(mebibyte, 'b', 1h)}, now);
    EXPECT_FALSE(peer.over_limit());
    EXPECT_EQ(peer.waiting(), 2 * mebibyte);
    peer.queue_replies({reply_of(1, 'c', 1h)}, now);
    EXPECT_TRUE(peer.over_limit());
}

TEST_F(PeerConnection, ForgetsTheLongestAnswerOnceItIsRead) {
    peer.queue_replies({reply_of(4 * mebibyte, 'a')}, now);
    std::size_t read = 0;
    while (peer.has_output()) {
        peer.flush();
        read += read_all().size();
    }
    EXPECT_EQ(read + read_all().size(), 4 * mebibyte);
    peer.queue_replies({reply_of(1, 'a')}, now);
    peer.queue_replies({reply_of(mebibyte, 'a')}, now);
    peer.queue_replies({reply_of(mebibyte, 'a')}, now);
    EXPECT_TRUE(peer.over_limit());
}

TEST_F(PeerConnection, KeepsNothingForAPeerThatIsGone) {
    ends.far.reset();
    peer.queue_replies({reply_of(1, 'a'), reply_of(1, 'b', 1h)}, now);
    peer.flush();
    EXPECT_EQ(peer.waiting(), 0u);
    peer.queue_replies({reply_of(1, 'a'), reply_of(1, 'b', 1h)}, now);
    EXPECT_EQ(peer.waiting(), 0u);
    EXPECT_EQ(peer.next_due(), std::nullopt);
}
