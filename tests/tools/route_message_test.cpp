#include "route_message.h"

#include <vell.h>

#include <gtest/gtest.h>

namespace feed {
namespace {

using bytes = std::vector<std::uint8_t>;

struct sent_message {
    bytes content;
    std::uint16_t routes;
};

// Takes the messages that are sent, up to the one that fails.
struct message_log {
    std::vector<sent_message> messages;
    std::size_t fail_at = 1000000;

    message_sender sender() {
        return [this](std::span<std::uint8_t> message, std::uint16_t routes) {
            if (messages.size() == fail_at)
                return false;
            messages.push_back({bytes(message.begin(), message.end()), routes});
            return true;
        };
    }
};

route some_route(std::uint32_t source, std::size_t oifs) {
    route result;
    result.opcode = 1;
    result.key = {253, source, 32, 0xef010101, 32};
    for (std::uint32_t i = 1; i <= oifs; ++i)
        result.oifs.push_back(i);
    return result;
}

// A record's bytes: 40 of head, 4 of TLV array head, 8 of TLV head and count, 8 for each interface.
constexpr std::size_t record_bytes(std::size_t oifs) {
    return oifs == 0 ? 44 : 52 + 8 * oifs;
}

TEST(RouteMessage, HasEveryFieldInItsPlace) {
    route first;
    first.opcode = 1;
    first.key = {0x11121314, 0x21222324, 31, 0xe1323334, 30};
    first.flags = {.download = true, .local_group = true};
    first.epoch = 0x41424344;
    first.rpf_if = 0x51525354;
    first.oifs = {0x61626364, 0x71727374};
    route second;
    second.opcode = 2;
    second.key = {0x81828384, 0, 0, 0xe9929394, 32};
    second.flags = {.download_done = true, .wildcard_route = true, .drop_route = true};
    second.rpf_if = 0xa1a2a3a4;

    message_log log;
    route_messages messages(65536, log.sender());
    ASSERT_TRUE(messages.add(first));
    ASSERT_TRUE(messages.add(second));
    ASSERT_TRUE(messages.finish());

    const bytes expected = {
        // the head, which the send fills in
        0, 0, 0, 0, 0, 0, 0, 0,
        // first: opcode, flags (download 0x80, local_group 0x8), mask lengths, epoch
        1, 0, 0, 0, 0x88, 0, 0, 0, 0, 0, 0, 0, 31, 30, 0, 0, 0x44, 0x43, 0x42, 0x41,
        // source, group, RPF interface, DF ordinal, table
        0x24, 0x23, 0x22, 0x21, 0x34, 0x33, 0x32, 0xe1, 0x54, 0x53, 0x52, 0x51, 0, 0, 0, 0, 0x14,
        0x13, 0x12, 0x11,
        // one TLV of 6 words: type 0, length 20, two interfaces of kind 0
        1, 0, 6, 0, 0, 0, 20, 0, 2, 0, 0, 0, 0x64, 0x63, 0x62, 0x61, 0, 0, 0, 0, 0x74, 0x73, 0x72,
        0x71, 0, 0, 0, 0,
        // second: opcode, flags (drop_route 0x4, download_done 0x100, wildcard_route 0x800), mask
        // lengths, epoch
        2, 0, 0, 0, 0x04, 0x09, 0, 0, 0, 0, 0, 0, 0, 32, 0, 0, 0, 0, 0, 0,
        // source, group, RPF interface, DF ordinal, table
        0, 0, 0, 0, 0x94, 0x93, 0x92, 0xe9, 0xa4, 0xa3, 0xa2, 0xa1, 0, 0, 0, 0, 0x84, 0x83, 0x82,
        0x81,
        // no TLV
        0, 0, 0, 0};
    ASSERT_EQ(log.messages.size(), 1u);
    EXPECT_EQ(log.messages[0].content, expected);
    EXPECT_EQ(log.messages[0].routes, 2);
}

TEST(RouteMessage, StartsEveryRouteWithATlvArrayOfItsOwn) {
    message_log log;
    route_messages messages(65536, log.sender());
    ASSERT_TRUE(messages.add(some_route(1, 2)));
    EXPECT_NE(p_current_tlv_addr, 0u);
    EXPECT_NE(current_tlv_size, 0u);
    ASSERT_TRUE(messages.add(some_route(2, 0)));
    EXPECT_EQ(p_current_tlv_addr, 0u);
    EXPECT_EQ(current_tlv_size, 0u);
}

TEST(RouteMessage, IsSentWhenTheNextRouteMayNotFit) {
    message_log log;
    // A route of 2 interfaces is counted as 8 * 2 + 56 + 12 bytes: after two of 68 there is no room
    // for a third.
    route_messages messages(8 + 68 + 84, log.sender());
    for (std::uint32_t i = 0; i < 5; ++i)
        ASSERT_TRUE(messages.add(some_route(i, 2)));
    EXPECT_EQ(log.messages.size(), 2u);
    ASSERT_TRUE(messages.finish());
    ASSERT_EQ(log.messages.size(), 3u);
    EXPECT_EQ(log.messages[0].routes, 2);
    EXPECT_EQ(log.messages[1].routes, 2);
    EXPECT_EQ(log.messages[2].routes, 1);
    EXPECT_EQ(log.messages[0].content.size(), 8 + 2 * record_bytes(2));
    EXPECT_EQ(log.messages[2].content.size(), 8 + record_bytes(2));
    EXPECT_EQ(messages.messages_sent(), 3u);
    EXPECT_EQ(messages.records_sent(), 5u);
}

TEST(RouteMessage, ARouteLargerThanAMessageMayBeGetsOneOfItsOwn) {
    message_log log;
    route_messages messages(200, log.sender());
    ASSERT_TRUE(messages.add(some_route(1, 1)));
    ASSERT_TRUE(messages.add(some_route(2, 8191)));
    ASSERT_TRUE(messages.add(some_route(3, 1)));
    ASSERT_TRUE(messages.finish());
    ASSERT_EQ(log.messages.size(), 3u);
    EXPECT_EQ(log.messages[0].content.size(), 8 + record_bytes(1));
    EXPECT_EQ(log.messages[1].content.size(), 8 + record_bytes(8191));
    EXPECT_EQ(log.messages[2].content.size(), 8 + record_bytes(1));
}

TEST(RouteMessage, StartsZeroedEachTime) {
    message_log log;
    route_messages messages(8 + 68 + 12, log.sender());
    ASSERT_TRUE(messages.add(some_route(0xffffffff, 3)));
    ASSERT_TRUE(messages.add(some_route(0xffffffff, 0)));
    ASSERT_TRUE(messages.finish());
    ASSERT_EQ(log.messages.size(), 2u);
    const bytes &second = log.messages[1].content;
    ASSERT_EQ(second.size(), 8 + record_bytes(0));
    // The TLV array's head stands where the first message held one TLV.
    EXPECT_EQ(bytes(second.end() - 4, second.end()), bytes(4, 0));
}

TEST(RouteMessage, HoldsAsManyRoutesAsItsCountCanSay) {
    message_log log;
    route_messages messages(16u << 20, log.sender());
    for (std::uint32_t i = 0; i < 65536; ++i)
        ASSERT_TRUE(messages.add(some_route(i, 0)));
    ASSERT_TRUE(messages.finish());
    ASSERT_EQ(log.messages.size(), 2u);
    EXPECT_EQ(log.messages[0].routes, 65535);
    EXPECT_EQ(log.messages[1].routes, 1);
}

TEST(RouteMessage, NothingToSendIsNoMessage) {
    message_log log;
    route_messages messages(65536, log.sender());
    EXPECT_TRUE(messages.finish());
    EXPECT_TRUE(log.messages.empty());
}

TEST(RouteMessage, AFailedSendIsNotCounted) {
    message_log log;
    log.fail_at = 1;
    route_messages messages(1, log.sender());
    EXPECT_TRUE(messages.add(some_route(1, 1)));
    EXPECT_TRUE(messages.add(some_route(2, 1)));
    EXPECT_FALSE(messages.add(some_route(3, 1)));
    EXPECT_EQ(messages.messages_sent(), 1u);
    EXPECT_EQ(messages.records_sent(), 1u);
    EXPECT_FALSE(messages.finish());
}

} // namespace
} // namespace feed
