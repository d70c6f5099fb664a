#include "l2_message.h"

#include <gtest/gtest.h>

namespace feed {
namespace {

using bytes = std::vector<std::uint8_t>;

struct sent_message {
    bytes content;
    std::uint16_t records;
};

// Takes the messages that are sent, up to the one that fails.
struct message_log {
    std::vector<sent_message> messages;
    std::size_t fail_at = 1000000;

    l2_sender sender() {
        return [this](std::span<std::uint8_t> message, std::uint16_t records) {
            if (messages.size() == fail_at)
                return false;
            messages.push_back({bytes(message.begin(), message.end()), records});
            return true;
        };
    }
};

l2_change change_of(const char *group, const char *source, std::vector<l2_port> ports) {
    l2_change change;
    change.entry.key.vlan = 10;
    change.entry.key.group = *parse_net_address(group);
    if (source != nullptr)
        change.entry.key.source = *parse_net_address(source);
    change.entry.bridge = 2;
    change.entry.ports = std::move(ports);
    return change;
}

// The one message of one record, behind the head.
bytes record_of(const l2_change &change) {
    message_log log;
    l2_messages messages(65536, false, log.sender());
    EXPECT_TRUE(messages.add(change));
    EXPECT_TRUE(messages.finish());
    EXPECT_EQ(log.messages.size(), 1u);
    const bytes &content = log.messages.at(0).content;
    EXPECT_EQ(bytes(content.begin(), content.begin() + 8), bytes(8, 0));
    return {content.begin() + 8, content.end()};
}

// In host byte order: the library turns it over.

TEST(L2Message, AnIpv4RecordWithASourceHasEveryFieldInItsPlace) {
    l2_change change = change_of("239.17.34.51", "10.20.30.40", {{0x51525354, 0}, {0x61626364, 4}});
    change.entry.bridge = 0x11121314;
    change.entry.key.vlan = 0x0fa1;
    change.entry.permanent = true;
    const bytes expected = {// type, 7 reserved bytes, the length, which the library writes
                            21, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
                            // bridge, two words, VLAN, a word, permanent
                            0x14, 0x13, 0x12, 0x11, 0, 0, 0, 0, 0, 0, 0, 0, 0xa1, 0x0f, 0, 0, 0, 0,
                            0, 0, 1, 0,
                            // group: kind 4, the number 0xef112233
                            4, 0, 0, 0, 0x33, 0x22, 0x11, 0xef, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
                            // source: kind 4, the number 0x0a141e28
                            4, 0, 0, 0, 0x28, 0x1e, 0x14, 0x0a, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
                            // two ports: kind 2, flags, two words, index
                            2, 0, 0, 0, //
                            2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x54, 0x53, 0x52, 0x51,
                            0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 2, 0, 0, 0, 4, 0, 0, 0, 0, 0, 0, 0,
                            0, 0, 0, 0, 0x64, 0x63, 0x62, 0x61, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
                            // the fixed part's last two bytes, behind the ports
                            0, 0};
    EXPECT_EQ(record_of(change), expected);
}

TEST(L2Message, AnIpv4RecordForAnySourceHasASourceOfZeros) {
    const bytes expected = {21, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, //
                            2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 10, 0, 0, 0, 0, 0, 0, 0, 0, 0,
                            // group and source, both of kind 4
                            4, 0, 0, 0, 1, 2, 1, 239, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, //
                            4, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,   //
                            0, 0, 0, 0, 0, 0};
    EXPECT_EQ(record_of(change_of("239.1.2.1", nullptr, {})), expected);
}

TEST(L2Message, AnIpv6RecordHasItsAddressesAsTheyAre) {
    l2_change change = change_of("ff3e:1213:1415:1617:1819:1a1b:1c1d:1e1f",
                                 "2001:2223:2425:2627:2829:2a2b:2c2d:2e2f", {{7, 0}});
    change.operation = l2_operation::remove;
    const bytes expected = {22, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, //
                            2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 10, 0, 0, 0, 0, 0, 0, 0, 0, 0,
                            // group and source, both of kind 8
                            8, 0, 0, 0, 0xff, 0x3e, 0x12, 0x13, 0x14, 0x15, 0x16, 0x17, 0x18, 0x19,
                            0x1a, 0x1b, 0x1c, 0x1d, 0x1e, 0x1f, //
                            8, 0, 0, 0, 0x20, 0x01, 0x22, 0x23, 0x24, 0x25, 0x26, 0x27, 0x28, 0x29,
                            0x2a, 0x2b, 0x2c, 0x2d, 0x2e, 0x2f, //
                            1, 0, 0, 0,                         //
                            2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 7, 0, 0, 0, 0, 0, 0, 0,
                            0, 0, 0, 0, 0, 0, 0, 0, //
                            0, 0};
    EXPECT_EQ(record_of(change), expected);
}

TEST(L2Message, AnIpv6RecordForAnySourceHasASourceOfZeros) {
    const bytes record = record_of(change_of("ff0e::1", nullptr, {}));
    EXPECT_EQ(bytes(record.begin() + 34, record.begin() + 38), (bytes{8, 0, 0, 0}));
    EXPECT_EQ(bytes(record.begin() + 38, record.begin() + 54),
              (bytes{0xff, 0x0e, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1}));
    EXPECT_EQ(bytes(record.begin() + 54, record.begin() + 58), (bytes{8, 0, 0, 0}));
    EXPECT_EQ(bytes(record.begin() + 58, record.begin() + 74), bytes(16, 0));
    EXPECT_EQ(record.size(), 80u);
}

TEST(L2Message, AMacRecordHasSixBytesOfAddressAndNoSource) {
    const bytes expected = {21, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, //
                            2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 10, 0, 0, 0, 0, 0, 0, 0, 0, 0,
                            // group and source, both of kind 2
                            2, 0, 0, 0, 0x01, 0x1b, 0x19, 0x2a, 0x3b, 0x4c, 0, 0, 0, 0, 0, 0, 0, 0,
                            0, 0,                                                       //
                            2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, //
                            0, 0, 0, 0, 0, 0};
    EXPECT_EQ(record_of(change_of("01:1b:19:2a:3b:4c", nullptr, {})), expected);
}

constexpr std::size_t record_bytes(std::size_t ports) {
    return 80 + 32 * ports;
}

TEST(L2Message, IsSentWhenTheNextRecordDoesNotFit) {
    message_log log;
    l2_messages messages(8 + 2 * record_bytes(1), false, log.sender());
    for (std::uint32_t port = 1; port <= 5; ++port)
        ASSERT_TRUE(messages.add(change_of("239.1.1.1", nullptr, {{port, 0}})));
    EXPECT_EQ(log.messages.size(), 2u);
    ASSERT_TRUE(messages.finish());
    ASSERT_EQ(log.messages.size(), 3u);
    EXPECT_EQ(log.messages[0].records, 2);
    EXPECT_EQ(log.messages[1].records, 2);
    EXPECT_EQ(log.messages[2].records, 1);
    EXPECT_EQ(log.messages[0].content.size(), 8 + 2 * record_bytes(1));
    EXPECT_EQ(log.messages[2].content.size(), 8 + record_bytes(1));
    EXPECT_EQ(log.messages[1].content[8 + 78 + 16], 3);
    EXPECT_EQ(log.messages[1].content[8 + record_bytes(1) + 78 + 16], 4);
    EXPECT_EQ(messages.messages_sent(), 3u);
    EXPECT_EQ(messages.records_sent(), 5u);
}

TEST(L2Message, ARecordLargerThanAMessageMayBeGetsOneOfItsOwn) {
    message_log log;
    l2_messages messages(200, false, log.sender());
    ASSERT_TRUE(messages.add(change_of("239.1.1.1", nullptr, {})));
    ASSERT_TRUE(messages.add(change_of("239.1.1.2", nullptr, std::vector<l2_port>(1000))));
    ASSERT_TRUE(messages.add(change_of("239.1.1.3", nullptr, {})));
    ASSERT_TRUE(messages.finish());
    ASSERT_EQ(log.messages.size(), 3u);
    EXPECT_EQ(log.messages[1].content.size(), 8 + record_bytes(1000));
}

TEST(L2Message, StartsZeroedEachTime) {
    message_log log;
    l2_messages messages(8 + record_bytes(2), false, log.sender());
    ASSERT_TRUE(
        messages.add(change_of("ff3e::1", "2001:db8::1", {{0xffffffff, 4}, {0xffffffff, 4}})));
    ASSERT_TRUE(messages.add(change_of("01:00:5e:00:00:01", nullptr, {{1, 0}})));
    ASSERT_TRUE(messages.finish());
    ASSERT_EQ(log.messages.size(), 2u);
    const bytes &second = log.messages[1].content;
    EXPECT_EQ(bytes(second.begin() + 8 + 44, second.begin() + 8 + 54),
              bytes(10, 0)); // behind the MAC address
    EXPECT_EQ(bytes(second.begin() + 8 + 58, second.begin() + 8 + 74), bytes(16, 0)); // the source
    EXPECT_EQ(bytes(second.end() - 2, second.end()), bytes(2, 0));
}

// The flags of the heads of three messages.
std::vector<int> head_flags(bool markers, std::uint32_t message_bytes) {
    message_log log;
    l2_messages messages(message_bytes, markers, log.sender());
    for (std::uint32_t port = 1; port <= 3; ++port)
        EXPECT_TRUE(messages.add(change_of("239.1.1.1", nullptr, {{port, 0}})));
    EXPECT_TRUE(messages.finish());
    std::vector<int> flags;
    for (const sent_message &message : log.messages)
        flags.push_back(message.content[6] + 256 * message.content[7]);
    return flags;
}

TEST(L2Message, TheFirstOneAsksForTheBeginMarkerAndTheLastOneForTheEndMarker) {
    EXPECT_EQ(head_flags(true, 1), (std::vector<int>{1, 0, 2}));
    EXPECT_EQ(head_flags(true, 65536), (std::vector<int>{3}));
    EXPECT_EQ(head_flags(true, 8 + 2 * record_bytes(1)), (std::vector<int>{1, 2}));
    EXPECT_EQ(head_flags(false, 1), (std::vector<int>{0, 0, 0}));
    EXPECT_EQ(head_flags(false, 65536), (std::vector<int>{0}));
}

TEST(L2Message, HoldsAsManyRecordsAsItsCountCanSay) {
    message_log log;
    l2_messages messages(16u << 20, true, log.sender());
    for (int i = 0; i < 65536; ++i)
        ASSERT_TRUE(messages.add(change_of("239.1.1.1", nullptr, {})));
    ASSERT_TRUE(messages.finish());
    ASSERT_EQ(log.messages.size(), 2u);
    EXPECT_EQ(log.messages[0].records, 65535);
    EXPECT_EQ(log.messages[1].records, 1);
}

TEST(L2Message, NothingToSendIsNoMessage) {
    message_log log;
    l2_messages messages(65536, true, log.sender());
    EXPECT_TRUE(messages.finish());
    EXPECT_TRUE(log.messages.empty());
}

TEST(L2Message, AFailedSendIsNotCounted) {
    message_log log;
    log.fail_at = 1;
    l2_messages messages(1, true, log.sender());
    EXPECT_TRUE(messages.add(change_of("239.1.1.1", nullptr, {})));
    EXPECT_TRUE(messages.add(change_of("239.1.1.2", nullptr, {})));
    EXPECT_FALSE(messages.add(change_of("239.1.1.3", nullptr, {})));
    EXPECT_EQ(messages.messages_sent(), 1u);
    EXPECT_EQ(messages.records_sent(), 1u);
    EXPECT_FALSE(messages.finish());
}

} // namespace
} // namespace feed
