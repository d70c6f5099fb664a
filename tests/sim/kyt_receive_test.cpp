#include "tests/sim/kyt_fixture.h"
#include "tests/support/process.h"
#include "tests/support/streams.h"

#include <chrono>
#include <future>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <thread>

namespace {

using namespace sim_test;
using testing::HasSubstr;
using clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

class KytReceive : public kyt_test {
protected:
    void SetUp() override {
        kyt_test::SetUp();
        end = connect();
    }

    sim::file_descriptor end;
    message_ptr received;
};

TEST_F(KytReceive, HandsOverSapOpcodeLengthAndPayload) {
    sim::frame_head head = head_of(sim::frame_kind::message, 0x12345678, 3);
    head.sap = 0x21222324;
    write_all(end.get(), bytes_of(head) + bytes{9, 8, 7});
    ASSERT_EQ(receive(received), 1);
    EXPECT_EQ(kyt_sim_message_sap(received.get()), 0x21222324u);
    EXPECT_EQ(kyt_sim_message_opcode(received.get()), 0x12345678u);
    EXPECT_EQ(kyt_sim_message_length(received.get()), 3u);
    EXPECT_EQ(payload_of(received), (bytes{9, 8, 7}));
}

TEST_F(KytReceive, HasNoPayloadForAnEmptyMessage) {
    write_all(end.get(), message(7, {}));
    ASSERT_EQ(receive(received), 1);
    EXPECT_EQ(kyt_sim_message_length(received.get()), 0u);
    EXPECT_EQ(kyt_payload_get(received.get()), nullptr);
}

TEST_F(KytReceive, LetsAMessageLiveLongerThanItsQueue) {
    write_all(end.get(), message(7, {1, 2}));
    ASSERT_EQ(receive(received), 1);
    kyt_sim_queue_close(queue);
    EXPECT_EQ(payload_of(received), (bytes{1, 2}));
}

TEST_F(KytReceive, KeepsTheOrder) {
    write_all(end.get(), message(1, {1}) + message(2, {2}) + message(3, {3}));
    for (std::uint8_t number = 1; number <= 3; ++number) {
        ASSERT_EQ(receive(received), 1);
        EXPECT_EQ(payload_of(received), bytes{number});
    }
    EXPECT_EQ(receive(received), 0);
}

TEST_F(KytReceive, TakesTheLargestMessage) {
    const bytes payload = pattern(sim::frame_max_payload);
    auto writer =
        std::async(std::launch::async, [&] { write_all(end.get(), message(7, payload)); });
    ASSERT_EQ(receive(received, patience_ms), 1);
    writer.get();
    EXPECT_TRUE(payload_of(received) == payload);
}

TEST_F(KytReceive, ReturnsAtOnceWithATimeoutOfZero) {
    EXPECT_EQ(receive(received, 0), 0);
    EXPECT_EQ(received, nullptr);
}

TEST_F(KytReceive, WaitsForItsTimeoutThroughSignals) {
    const signal_rain rain;
    const auto start = clock::now();
    EXPECT_EQ(receive(received, 40), 0);
    EXPECT_GE(clock::now() - start, milliseconds(40));
    EXPECT_GT(signals_seen, 0);
}

TEST_F(KytReceive, WaitsForEverWithANegativeTimeout) {
    auto writer = std::async(std::launch::async, [this] {
        std::this_thread::sleep_for(milliseconds(20));
        write_all(end.get(), message(7, {1}));
    });
    const signal_rain rain;
    EXPECT_EQ(receive(received, -1), 1);
}

TEST_F(KytReceive, KeepsAMessageThatHasArrivedInPart) {
    const bytes data = message(7, pattern(300));
    const std::array<std::size_t, 5> cuts = {0, 3, 104, 250, data.size()};
    for (std::size_t piece = 1; piece < cuts.size(); ++piece) {
        EXPECT_EQ(receive(received, 1), 0);
        write_all(end.get(), part(data, cuts[piece - 1], cuts[piece] - cuts[piece - 1]));
    }
    ASSERT_EQ(receive(received, 0), 1);
    EXPECT_EQ(payload_of(received), pattern(300));
}

// A connection that is of no more use is closed, and the next send makes another.
class KytReceiveLoses : public KytReceive {
protected:
    std::string expect_loss() {
        testing::internal::CaptureStderr();
        EXPECT_EQ(receive(received, patience_ms), -1);
        EXPECT_EQ(received, nullptr);
        EXPECT_EQ(receive(received, 0), -1);
        std::string said = testing::internal::GetCapturedStderr();
        const sim::file_descriptor next = connect();
        write_all(next.get(), message(8, {2}));
        EXPECT_EQ(receive(received, 0), 1);
        EXPECT_EQ(payload_of(received), bytes{2});
        return said;
    }

    std::string lost(const std::string &reason) const {
        return "libkyt: queue " + std::to_string(queue) +
               " has lost its connection to the switch: " + reason + "\n";
    }
};

TEST_F(KytReceiveLoses, TheConnectionThatTheSwitchHasClosed) {
    end.reset();
    EXPECT_EQ(expect_loss(), "");
}

TEST_F(KytReceiveLoses, NoMessageThatCameBeforeTheEnd) {
    write_all(end.get(), message(7, {1}));
    end.reset();
    ASSERT_EQ(receive(received, 0), 1);
    EXPECT_EQ(payload_of(received), bytes{1});
    expect_loss();
}

TEST_F(KytReceiveLoses, TheConnectionThatEndsWithinAMessage) {
    write_all(end.get(), part(message(7, {1, 2, 3}), 0, 105));
    end.reset();
    EXPECT_EQ(
        expect_loss(),
        lost("the other end has closed the connection within a frame, after 105 of 107 bytes"));
}

TEST_F(KytReceiveLoses, TheConnectionThatTheSwitchClosesForAReason) {
    write_all(end.get(), closing("it is full"));
    end.reset();
    EXPECT_EQ(expect_loss(), lost("the other end has closed the connection: it is full"));
}

TEST_F(KytReceiveLoses, TheConnectionThatBringsAWrongMagic) {
    bytes data = message(7, {1});
    data[0] = 'X';
    write_all(end.get(), data + message(7, {1}));
    EXPECT_EQ(expect_loss(), lost("frame magic is 0x31545958, not 0x3154594b"));
    EXPECT_TRUE(at_end(end.get()));
}

TEST_F(KytReceiveLoses, TheConnectionThatBringsAnotherKindOfFrame) {
    write_all(end.get(), bytes_of(head_of(sim::frame_kind::request, 7, 0)));
    EXPECT_EQ(expect_loss(), lost("frame kind 1 does not belong here"));
}

TEST_F(KytReceiveLoses, TheConnectionThatBringsAnExcessiveLength) {
    write_all(end.get(),
              bytes_of(head_of(sim::frame_kind::message, 7, sim::frame_max_payload + 1)));
    EXPECT_EQ(expect_loss(), lost("frame length 16777217 exceeds 16777216 bytes"));
}

TEST(KytReceiveRefuses, AQueueThatIsNone) {
    kyt_sim_message *message = nullptr;
    EXPECT_EQ(kyt_sim_receive(0, 0, &message), -1);
    EXPECT_EQ(message, nullptr);
}

TEST_F(KytReceive, RefusesToReceiveIntoNothingAndLosesNothing) {
    write_all(end.get(), message(7, {1}));
    EXPECT_EQ(kyt_sim_receive(queue, 0, nullptr), -1);
    EXPECT_EQ(receive(received), 1);
}

TEST(KytMessage, MayBeNull) {
    EXPECT_EQ(kyt_payload_get(nullptr), nullptr);
    EXPECT_EQ(kyt_sim_message_sap(nullptr), 0u);
    EXPECT_EQ(kyt_sim_message_opcode(nullptr), 0u);
    EXPECT_EQ(kyt_sim_message_length(nullptr), 0u);
    kyt_sim_message_free(nullptr);
}

TEST_F(KytReceive, RefusesWhatIsNotAMessageOfItsOwn) {
    write_all(end.get(), message(7, {1}));
    ASSERT_EQ(receive(received), 1);
    const auto child = run_in_child([this] {
        std::array<std::uint32_t, 64> other{};
        other.fill(0xffffffff);
        auto *foreign = reinterpret_cast<kyt_sim_message *>(other.data());
        kyt_sim_message_free(foreign);
        const bool is_empty =
            kyt_payload_get(foreign) == nullptr && kyt_sim_message_sap(foreign) == 0 &&
            kyt_sim_message_opcode(foreign) == 0 && kyt_sim_message_length(foreign) == 0;
        auto *freed = received.release();
        kyt_sim_message_free(freed);
        kyt_sim_message_free(freed);
        return is_empty && kyt_payload_get(freed) == nullptr ? 0 : 1;
    });
    EXPECT_EQ(child.exit_code, 0);
    EXPECT_EQ(child.err, "libkyt: kyt_sim_message_free: this is not a message that kyt_sim_receive "
                         "has handed out, or it was freed before\n");
}

} // namespace
