#include "tests/sim/kyt_fixture.h"
#include "tests/support/streams.h"

#include <chrono>
#include <future>
#include <gtest/gtest.h>
#include <thread>

namespace {

using namespace sim_test;

using KytSend = kyt_test;

constexpr std::size_t head_size = sizeof(sim::frame_head);

TEST_F(KytSend, SendsExactlyTheBytesOfTheRequest) {
    const std::array<std::uint32_t, KYT_SEND_OPTION_WORDS> words = {
        1,          0x34333231, 0x38373635, 0x3c3b3a39, 0x403f3e3d, 0x44434241, 0x48474645,
        0x4c4b4a49, 0x504f4e4d, 0x54535251, 0x58575655, 0x5c5b5a59, 0x605f5e5d, 0x64636261,
        0x68676665, 0x6c6b6a69, 0x706f6e6d, 0x74737271, 0x78777675};
    const bytes payload = {0xa1, 0xa2, 0xa3, 0xa4, 0xa5};
    kyt_msg_ref reference;
    ASSERT_EQ(kyt_send(queue, node, 0x13121110, 0x17161514, payload.data(), 5, &reference,
                       0x1b1a1918, words.data()),
              0);
    const sim::file_descriptor end = there.accept();

    bytes expected = {'K',  'Y',  'T',  '1',                          // magic
                      1,    0,    0,    0,                            // kind: request
                      5,    0,    0,    0,                            // length
                      0,    0,    0,    0xfe,                         // node
                      0x10, 0x11, 0x12, 0x13, 0x14, 0x15, 0x16, 0x17, // sap, opcode
                      0x18, 0x19, 0x1a, 0x1b,                         // flags
                      1,    0,    0,    0}; // options, counting up from here
    for (std::uint8_t byte = 0x31; byte < 0x79; ++byte)
        expected.push_back(byte);
    expected = expected + payload;
    EXPECT_EQ(read_up_to(end.get(), expected.size()), expected);
    EXPECT_TRUE(is_quiet(end.get()));
    kyt_drop(queue, &reference);
}

TEST_F(KytSend, MakesOneConnectionForAllItsMessages) {
    const sim::file_descriptor end = connect();
    for (std::uint8_t byte = 10; byte < 13; ++byte) {
        EXPECT_EQ(send({byte}), 0);
        EXPECT_EQ(read_up_to(end.get(), head_size + 1).back(), byte);
    }
    EXPECT_TRUE(there.nobody_has_come());
}

TEST_F(KytSend, NeedsNoPayloadWhenTheLengthIsZero) {
    kyt_msg_ref reference;
    ASSERT_EQ(kyt_send(queue, node, 212, 1, nullptr, 0, &reference, 0, options.data()), 0);
    const sim::file_descriptor end = there.accept();
    EXPECT_EQ(read_up_to(end.get(), head_size).size(), head_size);
    EXPECT_TRUE(is_quiet(end.get()));
    kyt_drop(queue, &reference);
}

TEST_F(KytSend, IsDoneWithThePayloadWhenItReturns) {
    bytes payload = pattern(1000);
    ASSERT_EQ(send(payload), 0);
    std::fill(payload.begin(), payload.end(), 0xee);
    const sim::file_descriptor end = there.accept();
    EXPECT_EQ(part(read_up_to(end.get(), head_size + 1000), head_size, 1000), pattern(1000));
}

TEST_F(KytSend, SendsTheLargestPayloadToASwitchThatReadsInSmallPieces) {
    const sim::file_descriptor end = connect();
    const bytes payload = pattern(sim::frame_max_payload);
    const int fd = end.get();
    auto reader = std::async(std::launch::async, [fd] {
        bytes all;
        while (all.size() < head_size + sim::frame_max_payload) {
            const bytes piece = read_up_to(
                fd, std::min<std::size_t>(65537, head_size + sim::frame_max_payload - all.size()));
            if (piece.empty())
                break;
            all.insert(all.end(), piece.begin(), piece.end());
        }
        return all;
    });
    const signal_rain rain;
    EXPECT_EQ(send(payload), 0);
    const bytes all = reader.get();
    ASSERT_EQ(all.size(), head_size + payload.size());
    EXPECT_TRUE(part(all, head_size, all.size() - head_size) == payload);
}

TEST_F(KytSend, HasPatienceWithASwitchThatReadsSlowlyButReads) {
    const sim::file_descriptor end = connect();
    const scoped_environment timeout("VELLSIM_SEND_TIMEOUT_MS", "400");
    const int fd = end.get();
    auto reader = std::async(std::launch::async, [fd] {
        std::size_t all = 0;
        for (bytes piece{0}; !piece.empty() && all < head_size + (2u << 20); all += piece.size()) {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            piece = read_up_to(fd, std::min<std::size_t>(65536, head_size + (2u << 20) - all));
        }
        return all;
    });
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(send(pattern(2u << 20)), 0);
    EXPECT_GT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(400));
    EXPECT_EQ(reader.get(), head_size + (2u << 20));
}

TEST_F(KytSend, FillsAReferenceAtAnOddAddress) {
    alignas(8) std::array<std::uint8_t, sizeof(kyt_msg_ref) + 2> room;
    room.fill(0x77);
    auto *reference = reinterpret_cast<kyt_msg_ref *>(room.data() + 1);
    const std::uint64_t before = counts().open_references;
    ASSERT_EQ(kyt_send(queue, node, 212, 1, nullptr, 0, reference, 0, options.data()), 0);
    EXPECT_EQ(room.front(), 0x77);
    EXPECT_EQ(room.back(), 0x77);
    EXPECT_EQ(counts().open_references, before + 1);
    kyt_drop(queue, reference);
    EXPECT_EQ(counts().open_references, before);
}

TEST_F(KytSend, IsNotDisturbedByMessagesThatWaitToBeReceived) {
    const sim::file_descriptor end = connect();
    write_all(end.get(), message(41, {1}) + part(message(42, {2}), 0, 50));
    EXPECT_EQ(send({4}), 0);
    EXPECT_EQ(read_up_to(end.get(), head_size + 1).back(), 4);
    message_ptr received;
    EXPECT_EQ(receive(received), 1);
    EXPECT_EQ(payload_of(received), bytes{1});
    write_all(end.get(), part(message(42, {2}), 50, head_size + 1 - 50));
    EXPECT_EQ(receive(received), 1);
    EXPECT_EQ(payload_of(received), bytes{2});
}

} // namespace
