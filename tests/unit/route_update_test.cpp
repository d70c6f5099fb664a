// Sending IPv4 route messages that the client built, and the IPv6 route notice.
#include "library_test.h"

#include <algorithm>
#include <iterator>

namespace {

using fake::platform;

constexpr ClientState acknowledged = {.id = 0xe7, .queue = 0x14131211, .uuid = 5};
constexpr TlvCursor some_cursor = {.address = 0x71, .size = 0x72};

// Every state that is not acknowledged.
constexpr ClientState refused_states[] = {{.id = 0, .queue = 0, .uuid = 384},
                                          {.id = 0, .queue = 7, .uuid = 384},
                                          {.id = 9, .queue = 0, .uuid = 5}};

class Ipv4UpdateTest : public LibraryTest {
protected:
    static constexpr std::size_t length = 61;

    Ipv4UpdateTest() {
        platform().callers_reference = &reference_;
        set_client_state(acknowledged);
        set_tlv_cursor(some_cursor);
    }

    std::uint32_t send() {
        return vell_send_v4_mroute_update(message(), length, 0x2221, 0x3231, &reference_);
    }

    std::uint8_t *message() { return buffer_.data() + offset_; }

    // The buffer when the head was written, and what of it goes out.
    bytes written() const {
        auto raw = patched(before_, offset_, {0xe7});
        return patched(raw, offset_ + 2, {0x21, 0x22, 0x31, 0x32});
    }

    fake::Send update() const {
        return sent({.queue = 0x14131211,
                     .sap = 214,
                     .opcode = 75831,
                     .option_word1 = 1,
                     .payload = part(written(), offset_, length),
                     .reference = fake::Reference::callers});
    }

    std::size_t offset_ = 0;
    const bytes before_ = pattern(80);
    bytes buffer_ = before_;
    kyt_msg_ref reference_ = {};
};

TEST_F(Ipv4UpdateTest, WritesIdCountAndMarkerIntoTheHeadAndSendsTheRestAsItIs) {
    EXPECT_EQ(send(), 1U);
    EXPECT_CALLS(update());
    EXPECT_EQ(buffer_, written());
    EXPECT_EQ(platform().payload_address, message());
}

TEST_F(Ipv4UpdateTest, SendsTheExpectedBytes) {
    std::uint8_t message[] = {0xa1, 0xa2, 0xa3, 0xa4, 0xa5, 0xa6, 0xa7, 0xa8, 0xa9, 0xaa};
    EXPECT_EQ(vell_send_v4_mroute_update(message, 10, 0x2221, 0x3231, &reference_), 1U);
    auto expected = update();
    expected.payload = {0xe7, 0xa2, 0x21, 0x22, 0x31, 0x32, 0xa7, 0xa8, 0xa9, 0xaa};
    EXPECT_CALLS(expected);
}

TEST_F(Ipv4UpdateTest, SendsFromOddAddresses) {
    for (const std::size_t offset : {1U, 2U, 3U}) {
        SCOPED_TRACE(offset);
        offset_ = offset;
        buffer_ = before_;
        EXPECT_EQ(send(), 1U);
        EXPECT_CALLS(update());
        EXPECT_EQ(buffer_, written());
    }
}

TEST_F(Ipv4UpdateTest, LeavesTheReferenceOfASentMessageToTheCaller) {
    EXPECT_EQ(send(), 1U);
    EXPECT_CALLS(update());
    ASSERT_EQ(platform().sent.size(), 1U);
    EXPECT_FALSE(platform().sent[0].released);
    EXPECT_TRUE(std::equal(std::begin(reference_.opaque), std::end(reference_.opaque),
                           std::begin(platform().sent[0].content.opaque)));
}

TEST_F(Ipv4UpdateTest, ResetsTheTlvCursorAfterTheSend) {
    TlvCursor at_send;
    platform().kyt_send.runs([&] { at_send = tlv_cursor(); });
    EXPECT_EQ(send(), 1U);
    EXPECT_EQ(at_send, some_cursor);
    EXPECT_EQ(tlv_cursor(), TlvCursor{});
    EXPECT_CALLS(update());
}

TEST_F(Ipv4UpdateTest, ResetsTheTlvCursorAfterAFailedSendAllTheSameAndSaysNothing) {
    platform().kyt_send.returns(-1);
    EXPECT_EQ(send(), 0U);
    EXPECT_CALLS(update());
    EXPECT_EQ(tlv_cursor(), TlvCursor{});
    EXPECT_EQ(client_state(), acknowledged);
    EXPECT_EQ(buffer_, written());
    for (const auto byte : reference_.opaque)
        EXPECT_EQ(byte, 0);
}

TEST_F(Ipv4UpdateTest, TakesEveryResultButMinus1ForSuccess) {
    for (const auto result : successful_results) {
        SCOPED_TRACE(result);
        set_tlv_cursor(some_cursor);
        platform().kyt_send.returns(result);
        EXPECT_EQ(send(), 1U);
        EXPECT_CALLS(update());
        EXPECT_EQ(tlv_cursor(), TlvCursor{});
    }
}

TEST_F(Ipv4UpdateTest, WithoutAnAcknowledgedClientSendsNothingAndLeavesTheTlvCursor) {
    for (const auto &state : refused_states) {
        set_client_state(state);
        EXPECT_EQ(send(), 0U);
        EXPECT_NO_CALLS();
        EXPECT_EQ(buffer_, before_);
        EXPECT_EQ(tlv_cursor(), some_cursor);
        EXPECT_EQ(client_state(), state);
    }
}

TEST_F(Ipv4UpdateTest, BeforeTheAcknowledgmentSendsNothing) {
    set_client_state({});
    register_client(7, 5);
    EXPECT_EQ(send(), 0U);
    EXPECT_NO_CALLS();
    EXPECT_EQ(tlv_cursor(), some_cursor);

    acknowledge(9);
    platform().callers_reference = &reference_;
    EXPECT_EQ(send(), 1U);
    auto expected = update();
    expected.queue = 7;
    expected.payload[0] = 9;
    EXPECT_CALLS(expected);
}

TEST_F(Ipv4UpdateTest, PassesCountAndMarkerAtTheirLimits) {
    EXPECT_EQ(vell_send_v4_mroute_update(message(), 8, 0xffff, 0, &reference_), 1U);
    auto expected = update();
    expected.payload = patched(part(before_, 0, 8), 0, {0xe7});
    expected.payload = patched(expected.payload, 2, {0xff, 0xff, 0, 0});
    EXPECT_CALLS(expected);
}

TEST_F(Ipv4UpdateTest, LeavesTheListsOpen) {
    vell_mrib_add_oifs_begin();
    const auto *const open = vell_oifs;
    EXPECT_EQ(send(), 1U);
    EXPECT_EQ(vell_oifs, open);
    EXPECT_CALLS(update());
}

class Ipv6NoticeTest : public LibraryTest {
protected:
    Ipv6NoticeTest() {
        set_client_state(acknowledged);
        set_tlv_cursor(some_cursor);
    }

    static std::uint32_t send() {
        return vell_send_v6_mroute_update(0x24232221, 0x34333231, 0x4241);
    }

    static fake::Send notice() {
        return sent({.queue = 0x14131211,
                     .sap = 214,
                     .opcode = 75779,
                     .option_word1 = 1,
                     .payload = {0xe7, 0, 0x41, 0x42, 0, 0, 0, 0, 0x21, 0x22, 0x23, 0x24, 0x31,
                                 0x32, 0x33, 0x34}});
    }

    static fake::Calls not_registered(std::uint32_t uuid) {
        return logged(
            {.level = error,
             .uuid = uuid,
             .format = "%s(%d):ERROR: Client not registered\n",
             .text = "vell_send_v6_mroute_update(700):ERROR: Client not registered\n",
             .client_text = "vell_send_v6_mroute_update(700):ERROR: Client not registered\n"});
    }
};

TEST_F(Ipv6NoticeTest, CarriesItsThreeValuesAndReleasesTheReference) {
    EXPECT_EQ(send(), 1U);
    EXPECT_CALLS(notice(), released(0x14131211));
    EXPECT_EQ(client_state(), acknowledged);
    EXPECT_EQ(tlv_cursor(), some_cursor);
}

TEST_F(Ipv6NoticeTest, CarriesValuesAtTheirLimits) {
    EXPECT_EQ(vell_send_v6_mroute_update(0xffffffff, 0, 0xffff), 1U);
    auto expected = notice();
    expected.payload = {0xe7, 0, 0xff, 0xff, 0, 0, 0, 0, 0xff, 0xff, 0xff, 0xff, 0, 0, 0, 0};
    EXPECT_CALLS(expected, released(0x14131211));
}

TEST_F(Ipv6NoticeTest, SaysNothingWhenTheSendFailsAndReleasesNothing) {
    platform().kyt_send.returns(-1);
    EXPECT_EQ(send(), 0U);
    EXPECT_CALLS(notice());
    EXPECT_EQ(client_state(), acknowledged);
    EXPECT_EQ(tlv_cursor(), some_cursor);
}

TEST_F(Ipv6NoticeTest, TakesEveryResultButMinus1ForSuccess) {
    for (const auto result : successful_results) {
        SCOPED_TRACE(result);
        fake::reset_platform();
        platform().kyt_send.returns(result);
        EXPECT_EQ(send(), 1U);
        EXPECT_CALLS(notice(), released(0x14131211));
    }
}

TEST_F(Ipv6NoticeTest, WithoutAnAcknowledgedClientIsRefusedWithError700) {
    for (const auto &state : refused_states) {
        set_client_state(state);
        EXPECT_EQ(send(), 0U);
        EXPECT_CALLS(not_registered(state.uuid));
        EXPECT_EQ(client_state(), state);
        EXPECT_EQ(tlv_cursor(), some_cursor);
    }
}

TEST_F(Ipv6NoticeTest, IsRefusedWithError700WhenOnlyTheQueueWasGiven) {
    set_client_state({});
    vell_register_kyt_q(7);
    EXPECT_EQ(send(), 0U);
    EXPECT_CALLS(not_registered(384));
}

} // namespace
