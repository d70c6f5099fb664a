#include "tests/sim/kyt_fixture.h"

#include <nerb.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

namespace {

using namespace sim_test;
using testing::HasSubstr;

constexpr std::size_t head_size = sizeof(sim::frame_head);

bytes words(const std::vector<std::uint32_t> &values) {
    bytes made(values.size() * 4);
    std::memcpy(made.data(), values.data(), made.size());
    return made;
}

std::uint32_t address_of(const void *what) {
    return static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(what));
}

// An entry of an allocation or modification, as libvell lays it out; the words that are not sent
// are not zero.
bytes ltl_entry(std::uint32_t key1, std::uint32_t key2, std::uint16_t count,
                const void *interfaces) {
    return words({key1, key2, 0xeeeeeeee}) +
           bytes{static_cast<std::uint8_t>(count & 0xff), static_cast<std::uint8_t>(count >> 8),
                 0xee, 0xee} +
           words({address_of(interfaces), 0xeeeeeeee});
}

constexpr std::array<std::uint32_t, 3> ports = {0x68030700, 0x1800000c, 0x1400000a};

// Two entries, the second without interfaces.
bytes two_entries() {
    return bytes{2, 0} + ltl_entry(0x11121314, 0x15161718, 3, ports.data()) +
           ltl_entry(0x21222324, 0x25262728, 0, nullptr);
}

// Two VLANs, the second without updates, and bytes after them that are not theirs.
bytes flood_payload() {
    return words({2,                                                             //
                  0x31323334, 0xa1a2a3a4, 0xa5a6a7a8, 0x41424344, 0xa9aaabac, 2, //
                  0x51525354, 1, 0x55565758, 2,                                  //
                  0x61626364, 0xb1b2b3b4, 0xb5b6b7b8, 0x71727374, 0xb9babbbc, 0, //
                  0xeeeeeeee});
}

class NerbRequests : public kyt_test {
protected:
    // What a call that succeeds sends: the whole frame.
    bytes frame_of(const std::function<std::uint32_t()> &call) {
        const kyt_sim_counts before = counts();
        EXPECT_EQ(call(), 0u);
        EXPECT_EQ(counts().sent, before.sent + 1);
        EXPECT_EQ(counts().open_references, before.open_references) << "dropped at once";
        EXPECT_EQ(counts().wrong_drops, before.wrong_drops);
        end = there.accept();
        bytes frame = read_up_to(end.get(), head_size);
        if (frame.size() == head_size) {
            frame = frame + read_up_to(end.get(), frame[8] + 256u * frame[9]);
        }
        EXPECT_TRUE(is_quiet(end.get()));
        return frame;
    }
    bytes payload_sent_by(const std::function<std::uint32_t()> &call) {
        const bytes frame = frame_of(call);
        return frame.size() < head_size ? bytes()
                                        : part(frame, head_size, frame.size() - head_size);
    }
    // What it returns when nothing must be sent.
    std::uint32_t failure_of(const std::function<std::uint32_t()> &call) {
        const kyt_sim_counts before = counts();
        const std::uint32_t result = call();
        EXPECT_EQ(counts().sent, before.sent);
        EXPECT_EQ(counts().open_references, before.open_references);
        EXPECT_EQ(counts().wrong_drops, before.wrong_drops);
        EXPECT_TRUE(there.nobody_has_come());
        return result;
    }

    sim::file_descriptor end;
};

// A head of which only length and opcode differ.
bytes head(std::uint8_t length, std::uint8_t opcode) {
    return bytes{'K',    'Y',  'T', '1',              // magic
                 1,      0,    0,   0,                // kind: request
                 length, 0,    0,   0,                //
                 0,      0,    0,   0xfe,             // node
                 230,    0,    0,   0,                // SAP
                 opcode, 0x5f, 1,   0,    0, 0, 0, 0, // opcode 0x15f90 and more, flags
                 1,      0,    0,   0} +
           bytes(72, 0); // options
}

TEST_F(NerbRequests, AskForAllocations) {
    const bytes payload = two_entries();
    const bytes expected = {0x04, 0x03, 0x02, 0x01, 2,    0,    0,    0, // cookie, 2 entries
                            0x14, 0x13, 0x12, 0x11, 0x18, 0x17, 0x16, 0x15,
                            3,    0,    0,    0, // keys, 3 interfaces
                            0x00, 0x07, 0x03, 0x68, 0x0c, 0x00, 0x00, 0x18,
                            0x0a, 0x00, 0x00, 0x14, // Eth3/7, Po12, Vlan10
                            0x24, 0x23, 0x22, 0x21, 0x28, 0x27, 0x26, 0x25,
                            0,    0,    0,    0}; // keys, no interface
    EXPECT_EQ(frame_of([&] {
                  return nerb_send_batched_mcast_alloc_req(queue, payload.data(), 0x01020304);
              }),
              head(44, 0x91) + expected);
}

TEST_F(NerbRequests, AskForModifications) {
    const bytes payload = bytes{1, 0} + ltl_entry(0x4000, 7, 2, ports.data());
    EXPECT_EQ(frame_of([&] { return nerb_send_batched_mcast_mod_req(queue, payload.data(), 9); }),
              head(28, 0x92) + words({9, 1, 0x4000, 7, 2, 0x68030700, 0x1800000c}));
}

TEST_F(NerbRequests, AskForReleases) {
    const bytes entries =
        words({0x81828384, 0x85868788, 0x898a8b8c, 0x91929394, 0x95969798, 0x999a9b9c});
    EXPECT_EQ(
        frame_of([&] { return nerb_send_batched_mcast_dealloc_msg(queue, 2, entries.data(), 9); }),
        head(32, 0x93) + words({9, 2}) + entries);
}

TEST_F(NerbRequests, AskForFloodUpdates) {
    const bytes payload = flood_payload();
    int context = 0;
    EXPECT_EQ(
        frame_of([&] { return nerb_send_flood_ltl_update_req(queue, payload.data(), &context); }),
        head(72, 0x94) + words({address_of(&context)}) + part(payload, 0, 68));
}

TEST_F(NerbRequests, MayHaveNoEntries) {
    const bytes none = {0, 0, 0, 0};
    EXPECT_EQ(
        payload_sent_by([&] { return nerb_send_batched_mcast_alloc_req(queue, none.data(), 9); }),
        words({9, 0}));
    kyt_sim_queue_close(queue);
    queue = kyt_sim_queue_open();
    EXPECT_EQ(
        payload_sent_by([&] { return nerb_send_flood_ltl_update_req(queue, none.data(), &queue); }),
        words({address_of(&queue), 0}));
    kyt_sim_queue_close(queue);
    queue = kyt_sim_queue_open();
    EXPECT_EQ(payload_sent_by(
                  [&] { return nerb_send_batched_mcast_dealloc_msg(queue, 0, none.data(), 9); }),
              words({9, 0}));
}

TEST_F(NerbRequests, TakeAllInterfacesThatSixteenBitsCount) {
    std::vector<std::uint32_t> many(65535);
    for (std::size_t i = 0; i < many.size(); ++i) {
        many[i] = static_cast<std::uint32_t>(0x04000001 + i);
    }
    const bytes payload = bytes{1, 0} + ltl_entry(1, 2, 65535, many.data());
    std::uint32_t result = 99;
    const sim::file_descriptor other = connect();
    std::thread sender(
        [&] { result = nerb_send_batched_mcast_alloc_req(queue, payload.data(), 9); });
    const bytes frame = read_up_to(other.get(), head_size + 20 + 4 * 65535);
    sender.join();
    EXPECT_EQ(result, 0u);
    ASSERT_EQ(frame.size(), head_size + 20 + 4 * 65535);
    EXPECT_TRUE(part(frame, head_size, frame.size() - head_size) ==
                words({9, 1, 1, 2, 65535}) + words(many));
}

// Payloads may lie at odd addresses, and so may the interface lists.
TEST_F(NerbRequests, MayLieAnywhereInMemory) {
    const bytes shifted_ports = bytes{0xee} + words({0x68030700, 0x1800000c});
    const bytes payload = bytes{0xee} + bytes{1, 0} + ltl_entry(1, 2, 2, shifted_ports.data() + 1);
    const std::uint8_t *odd = payload.data() + 1;
    EXPECT_EQ(payload_sent_by([&] { return nerb_send_batched_mcast_alloc_req(queue, odd, 9); }),
              words({9, 1, 1, 2, 2, 0x68030700, 0x1800000c}));
    kyt_sim_queue_close(queue);
    queue = kyt_sim_queue_open();
    const bytes flood = bytes{0xee} + flood_payload();
    EXPECT_EQ(payload_sent_by(
                  [&] { return nerb_send_flood_ltl_update_req(queue, flood.data() + 1, &queue); }),
              words({address_of(&queue)}) + part(flood, 1, 68));
}

TEST_F(NerbRequests, AreDoneWithThePayloadWhenTheyReturn) {
    std::array<std::uint32_t, 3> list = ports;
    bytes payload = bytes{1, 0} + ltl_entry(1, 2, 3, list.data());
    EXPECT_EQ(payload_sent_by([&] {
                  const std::uint32_t result =
                      nerb_send_batched_mcast_mod_req(queue, payload.data(), 9);
                  list.fill(0xeeeeeeee);
                  std::ranges::fill(payload, 0xee);
                  return result;
              }),
              words({9, 1, 1, 2, 3, 0x68030700, 0x1800000c, 0x1400000a}));
}

TEST_F(NerbRequests, NeedAPayload) {
    EXPECT_EQ(failure_of([&] { return nerb_send_batched_mcast_alloc_req(queue, nullptr, 9); }), 2u);
    EXPECT_EQ(failure_of([&] { return nerb_send_batched_mcast_mod_req(queue, nullptr, 9); }), 2u);
    EXPECT_EQ(failure_of([&] { return nerb_send_batched_mcast_dealloc_msg(queue, 1, nullptr, 9); }),
              2u);
    EXPECT_EQ(failure_of([&] { return nerb_send_batched_mcast_dealloc_msg(queue, 0, nullptr, 9); }),
              2u);
    EXPECT_EQ(failure_of([&] { return nerb_send_flood_ltl_update_req(queue, nullptr, &queue); }),
              2u);
}

TEST_F(NerbRequests, NeedTheInterfacesThatTheyCount) {
    const bytes payload =
        bytes{2, 0} + ltl_entry(1, 2, 3, ports.data()) + ltl_entry(3, 4, 1, nullptr);
    EXPECT_EQ(
        failure_of([&] { return nerb_send_batched_mcast_alloc_req(queue, payload.data(), 9); }),
        2u);
    EXPECT_EQ(failure_of([&] { return nerb_send_batched_mcast_mod_req(queue, payload.data(), 9); }),
              2u);
}

TEST_F(NerbRequests, FailWhenTheyCannotBeSent) {
    const bytes payload = two_entries();
    const bytes flood = flood_payload();
    const bytes entry = words({1, 2, 3});
    there.stop();
    for (const std::uint32_t from : {queue, 0u, queue + 1000}) {
        const kyt_sim_counts before = counts();
        testing::internal::CaptureStderr();
        EXPECT_EQ(nerb_send_batched_mcast_alloc_req(from, payload.data(), 9), 1u);
        EXPECT_EQ(nerb_send_batched_mcast_mod_req(from, payload.data(), 9), 1u);
        EXPECT_EQ(nerb_send_batched_mcast_dealloc_msg(from, 1, entry.data(), 9), 1u);
        EXPECT_EQ(nerb_send_flood_ltl_update_req(from, flood.data(), &queue), 1u);
        testing::internal::GetCapturedStderr();
        EXPECT_EQ(counts().sent, before.sent);
        EXPECT_EQ(counts().open_references, before.open_references);
        EXPECT_EQ(counts().wrong_drops, before.wrong_drops) << "there is no reference to release";
    }
}

TEST_F(NerbRequests, FailWhenTheyAreLongerThanAMessageMayBe) {
    const std::vector<std::uint32_t> entries(3 * 1'400'000);
    testing::internal::CaptureStderr();
    EXPECT_EQ(failure_of([&] {
                  return nerb_send_batched_mcast_dealloc_msg(queue, 1'400'000, entries.data(), 9);
              }),
              1u);
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("longer than 16777216"));
}

TEST_F(NerbRequests, FailWhenNoProcessHasSoMuchMemory) {
    const bytes entry = words({1, 2, 3});
    EXPECT_EQ(failure_of([&] {
                  return nerb_send_batched_mcast_dealloc_msg(queue, 0xffffffff, entry.data(), 9);
              }),
              3u);
    EXPECT_EQ(failure_of([&] {
                  return nerb_send_batched_mcast_dealloc_msg(queue, 0x0aaaaaab, entry.data(), 9);
              }),
              3u);
    const bytes flood = words({1, 10, 0, 0, 0, 0, 0xffffffff});
    EXPECT_EQ(
        failure_of([&] { return nerb_send_flood_ltl_update_req(queue, flood.data(), &queue); }),
        3u);
}

} // namespace
