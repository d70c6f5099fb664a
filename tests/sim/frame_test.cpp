#include "sim/wire/frame.h"
#include "tests/sim/frames.h"
#include "tests/support/streams.h"

#include <chrono>
#include <future>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <tuple>
#include <utility>

namespace {

using namespace sim_test;
using sim::deadline;
using sim::frame;
using sim::frame_kind;
using sim::frame_reader;
using sim::frame_status;
using testing::Ge;
using testing::HasSubstr;
using clock = std::chrono::steady_clock;

long long ms_since(clock::time_point start) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(clock::now() - start).count();
}

TEST(CheckFrameHead, TakesEachOfTheExpectedKinds) {
    const std::vector<frame_kind> kinds = {frame_kind::request, frame_kind::question};
    EXPECT_EQ(sim::check_frame_head(head_of(frame_kind::request, 1, 0), kinds), "");
    EXPECT_EQ(
        sim::check_frame_head(head_of(frame_kind::question, 1, sim::frame_max_payload), kinds), "");
}

TEST(CheckFrameHead, SaysWhatIsWrong) {
    auto head = head_of(frame_kind::message, 1, 0);
    EXPECT_EQ(sim::check_frame_head(head, {frame_kind::request}),
              "frame kind 2 does not belong here");
    head = head_of(frame_kind::request, 1, sim::frame_max_payload + 1);
    EXPECT_EQ(sim::check_frame_head(head, {frame_kind::request}),
              "frame length 16777217 exceeds 16777216 bytes");
    head = head_of(static_cast<frame_kind>(0), 1, 0);
    EXPECT_EQ(sim::check_frame_head(head, {frame_kind::request}),
              "frame kind 0 does not belong here");
    head.magic = 0x3254594b;
    EXPECT_EQ(sim::check_frame_head(head, {frame_kind::request}),
              "frame magic is 0x3254594b, not 0x3154594b");
}

TEST(SendFrame, WritesTheHeadAndThePayloadAsTheyAre) {
    const auto [here, there] = make_stream_pair();
    const sim::frame_head head{
        sim::frame_magic, frame_kind::request, 3,          0x04030201,
        0x08070605,       0x0c0b0a09,          0x100f0e0d, {0x14131211, 0x18171615}};
    ASSERT_EQ(sim::send_frame(here.get(), head, "abc", -1).status, frame_status::done);
    const bytes expected =
        bytes{'K', 'Y', 'T', '1', 1,  0,  0,  0,  3,  0,  0,  0,  1,  2,  3,  4,  5,  6,
              7,   8,   9,   10,  11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23, 24} +
        bytes(68, 0) + bytes{'a', 'b', 'c'};
    EXPECT_EQ(read_up_to(there.get(), expected.size()), expected);
    EXPECT_TRUE(is_quiet(there.get()));
}

TEST(SendFrame, NeedsNoPayloadWhenThereIsNone) {
    const auto [here, there] = make_stream_pair();
    const auto head = head_of(frame_kind::request, 7, 0);
    ASSERT_EQ(sim::send_frame(here.get(), head, nullptr, -1).status, frame_status::done);
    EXPECT_EQ(read_up_to(there.get(), sizeof head), bytes_of(head));
    EXPECT_TRUE(is_quiet(there.get()));
}

TEST(SendFrame, SendsTheLargestFrameInWhateverPiecesItIsTakenAndUnderSignals) {
    const auto [here, there] = make_stream_pair();
    const bytes payload = pattern(sim::frame_max_payload);
    const auto head = head_of(frame_kind::request, 7, payload.size());
    const int fd = there.get();
    auto reader = std::async(std::launch::async,
                             [=] { return read_up_to(fd, sizeof head + sim::frame_max_payload); });
    const signal_rain rain;
    ASSERT_EQ(sim::send_frame(here.get(), head, payload.data(), patience_ms).status,
              frame_status::done);
    EXPECT_TRUE(reader.get() == bytes_of(head) + payload);
}

TEST(SendFrame, GivesUpWhenThePeerTakesNothing) {
    const auto [here, there] = make_stream_pair();
    const bytes payload = pattern(4u << 20);
    const signal_rain rain;
    const auto start = clock::now();
    const auto result = sim::send_frame(here.get(), head_of(frame_kind::request, 7, payload.size()),
                                        payload.data(), 30);
    EXPECT_EQ(result.status, frame_status::timed_out);
    EXPECT_EQ(result.reason, "the other end has stopped reading");
    EXPECT_THAT(ms_since(start), Ge(30));
}

TEST(SendFrame, FindsThePeerClosedWithoutASignal) {
    auto [here, there] = make_stream_pair();
    there.reset();
    const auto result = sim::send_frame(here.get(), head_of(frame_kind::request, 7, 3), "abc", -1);
    EXPECT_EQ(result.status, frame_status::closed);
    EXPECT_EQ(result.reason, "the other end has closed the connection");
}

TEST(SendFrame, SaysWhyASocketThatIsNoneFails) {
    const auto result = sim::send_frame(-1, head_of(frame_kind::request, 7, 0), nullptr, -1);
    EXPECT_EQ(result.status, frame_status::broken);
    EXPECT_EQ(result.reason, "Bad file descriptor");
}

TEST(FrameReader, PutsAFrameTogetherByteByByte) {
    const auto [here, there] = make_stream_pair();
    const bytes data = message(42, {7, 8, 9});
    frame_reader reader{frame_kind::message};
    frame whole;
    for (std::size_t at = 0; at + 1 < data.size(); ++at) {
        write_all(there.get(), part(data, at, 1));
        ASSERT_EQ(reader.read(here.get(), whole).status, frame_status::timed_out) << at;
    }
    write_all(there.get(), part(data, data.size() - 1, 1));
    ASSERT_EQ(reader.read(here.get(), whole).status, frame_status::done);
    EXPECT_EQ(whole.head.opcode, 42u);
    EXPECT_EQ(whole.payload, (bytes{7, 8, 9}));
}

TEST(FrameReader, TakesFramesThatArriveTogetherOneByOne) {
    const auto [here, there] = make_stream_pair();
    write_all(there.get(), message(1, {}) + message(2, {20}) + message(3, {30, 31}));
    frame_reader reader{frame_kind::message};
    frame whole;
    for (std::uint32_t opcode = 1; opcode <= 3; ++opcode) {
        ASSERT_EQ(reader.read(here.get(), whole).status, frame_status::done);
        EXPECT_EQ(whole.head.opcode, opcode);
        EXPECT_EQ(whole.payload.size(), opcode - 1);
    }
    EXPECT_EQ(reader.read(here.get(), whole).status, frame_status::timed_out);
}

// The peer sends this and is gone. One that leaves bytes unread is reported as a reset, not as an
// end.
auto stream_of_gone_peer(const bytes &sent, bool is_reset) {
    auto [here, there] = make_stream_pair();
    if (is_reset) {
        write_all(here.get(), {1, 2, 3});
    }
    write_all(there.get(), sent);
    return std::move(here);
}

TEST(FrameReader, FindsTheEndBetweenTwoFrames) {
    for (const bool is_reset : {false, true}) {
        const auto here = stream_of_gone_peer(message(1, {10}), is_reset);
        frame_reader reader{frame_kind::message};
        frame whole;
        EXPECT_EQ(reader.read(here.get(), whole).status, frame_status::done);
        EXPECT_EQ(reader.read(here.get(), whole).status, frame_status::closed) << is_reset;
    }
}

TEST(FrameReader, SaysWhereAFrameWasCutOff) {
    const bytes data = message(1, {10, 11, 12});
    for (const auto &[length, is_reset, text] :
         {std::tuple<std::size_t, bool, const char *>(1, false, "after 1 of at least 104 bytes"),
          {103, false, "after 103 of at least 104 bytes"},
          {104, false, "after 104 of 107 bytes"},
          {105, true, "after 105 of 107 bytes"},
          {106, false, "after 106 of 107 bytes"}}) {
        const auto here = stream_of_gone_peer(part(data, 0, length), is_reset);
        frame_reader reader{frame_kind::message};
        frame whole;
        const auto result = reader.read(here.get(), whole);
        EXPECT_EQ(result.status, frame_status::broken);
        EXPECT_THAT(result.reason, HasSubstr(text));
    }
}

TEST(FrameReader, RefusesABadHeadAndGoesOnRefusing) {
    const auto [here, there] = make_stream_pair();
    write_all(there.get(), bytes(sizeof(sim::frame_head), 0x55) + message(1, {}));
    frame_reader reader{frame_kind::message};
    frame whole;
    for (int attempt = 0; attempt < 2; ++attempt) {
        const auto result = reader.read(here.get(), whole);
        EXPECT_EQ(result.status, frame_status::broken);
        EXPECT_EQ(result.reason, "frame magic is 0x55555555, not 0x3154594b");
    }
}

TEST(FrameReader, RefusesALengthBeforeItMakesRoomForIt) {
    const auto [here, there] = make_stream_pair();
    write_all(there.get(), bytes_of(head_of(frame_kind::message, 1, 0xffffffff)));
    frame_reader reader{frame_kind::message};
    frame whole;
    EXPECT_EQ(reader.read(here.get(), whole).status, frame_status::broken);
}

TEST(FrameReader, ShowsFramesInPlace) {
    const bytes data = message(1, {10}) + message(2, {}) + part(message(3, {30, 31}), 0, 50);
    frame_reader reader{frame_kind::message};
    reader.receive(std::as_bytes(std::span(data)));
    for (std::uint32_t opcode = 1; opcode <= 2; ++opcode) {
        ASSERT_EQ(reader.look(), frame_reader::state::whole);
        EXPECT_EQ(reader.front().head.opcode, opcode);
        EXPECT_EQ(reader.front().payload.size(), 2 - opcode);
        reader.drop_frame();
    }
    EXPECT_EQ(reader.look(), frame_reader::state::incomplete);
    EXPECT_EQ(reader.held(), 50u);
    EXPECT_EQ(reader.end_reason("it left"),
              "it left within a frame, after 50 of at least 104 bytes");
    const bytes rest = part(message(3, {30, 31}), 50, 56);
    reader.receive(std::as_bytes(std::span(rest)));
    ASSERT_EQ(reader.look(), frame_reader::state::whole);
    EXPECT_EQ(reader.front().payload[1], std::byte{31});
    reader.drop_frame();
    EXPECT_EQ(reader.held(), 0u);
    EXPECT_EQ(reader.end_reason("it left"), "it left");
}

TEST(FrameReader, IsBrokenByALengthBeforeThePayloadComes) {
    for (const auto &[length, expected] :
         {std::pair(sim::frame_max_payload, frame_reader::state::incomplete),
          {sim::frame_max_payload + 1, frame_reader::state::broken}}) {
        const bytes head = bytes_of(head_of(frame_kind::message, 1, length));
        frame_reader reader{frame_kind::message};
        reader.receive(std::as_bytes(std::span(head)));
        EXPECT_EQ(reader.look(), expected) << length;
        EXPECT_EQ(reader.held(), sizeof(sim::frame_head)) << "nothing is kept for what may come";
    }
}

TEST(FrameReader, SaysWhyTheSwitchClosesTheConnection) {
    const auto [here, there] = make_stream_pair();
    const std::string why = "there is no room\x1b[2J";
    write_all(there.get(), message(1, {10}) + closing(why));
    frame_reader reader{frame_kind::message, frame_kind::closing};
    frame whole;
    EXPECT_EQ(reader.read(here.get(), whole).status, frame_status::done);
    const auto result = reader.read(here.get(), whole);
    EXPECT_EQ(result.status, frame_status::dismissed);
    EXPECT_EQ(result.reason, "the other end has closed the connection: there is no room\\x1b[2J");
}

TEST(ReceiveFrame, SaysWhyASocketThatIsNoneFails) {
    frame_reader reader{frame_kind::message};
    frame whole;
    const auto result = sim::receive_frame(-1, reader, deadline::after_ms(-1), whole);
    EXPECT_EQ(result.status, frame_status::broken);
    EXPECT_EQ(result.reason, "Bad file descriptor");
}

TEST(ReceiveFrame, WaitsUntilTheDeadlineAndNotLess) {
    const auto [here, there] = make_stream_pair();
    frame_reader reader{frame_kind::message};
    frame whole;
    const auto start = clock::now();
    EXPECT_EQ(sim::receive_frame(here.get(), reader, deadline::after_ms(20), whole).status,
              frame_status::timed_out);
    EXPECT_THAT(ms_since(start), Ge(20));
}

TEST(ReceiveFrame, GoesOnAfterASignalWithTheTimeThatIsLeft) {
    const auto [here, there] = make_stream_pair();
    frame_reader reader{frame_kind::message};
    frame whole;
    const signal_rain rain;
    const auto start = clock::now();
    EXPECT_EQ(sim::receive_frame(here.get(), reader, deadline::after_ms(50), whole).status,
              frame_status::timed_out);
    EXPECT_THAT(ms_since(start), Ge(50));
    EXPECT_GT(signals_seen, 0);
}

TEST(ReceiveFrame, KeepsAnUnfinishedFrameForTheNextCall) {
    const auto [here, there] = make_stream_pair();
    const bytes data = message(9, {1, 2, 3, 4});
    frame_reader reader{frame_kind::message};
    frame whole;
    write_all(there.get(), part(data, 0, 105));
    EXPECT_EQ(sim::receive_frame(here.get(), reader, deadline::after_ms(1), whole).status,
              frame_status::timed_out);
    write_all(there.get(), part(data, 105, data.size() - 105));
    EXPECT_EQ(sim::receive_frame(here.get(), reader, deadline::after_ms(0), whole).status,
              frame_status::done);
    EXPECT_EQ(whole.payload, (bytes{1, 2, 3, 4}));
}

TEST(ReceiveFrame, TakesTheLargestFrameUnderSignals) {
    const auto [here, there] = make_stream_pair();
    const bytes payload = pattern(sim::frame_max_payload);
    const int fd = there.get();
    auto writer = std::async(std::launch::async, [&payload, fd] {
        const auto head = head_of(frame_kind::message, 5, payload.size());
        return sim::send_frame(fd, head, payload.data(), patience_ms).status;
    });
    frame_reader reader{frame_kind::message};
    frame whole;
    const signal_rain rain;
    ASSERT_EQ(sim::receive_frame(here.get(), reader, deadline::after_ms(patience_ms), whole).status,
              frame_status::done);
    EXPECT_EQ(writer.get(), frame_status::done);
    EXPECT_TRUE(whole.payload == payload);
}

} // namespace
